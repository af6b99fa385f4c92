#include <algorithm>
#include <functional>
#include <string_view>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

namespace {

// What empty data points to, so that nobody meets a null pointer.
UInt8 no_bytes[1];

struct Data : Object {
  static constexpr Type type_of = Type::data;
  Data(std::uint16_t flags_, const UInt8* start, CFIndex count)
      : Object(type_of, flags_), bytes(start, start + count) {}
  std::vector<UInt8> bytes;
};

std::string_view view(CFDataRef data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
          static_cast<std::size_t>(CFDataGetLength(data))};
}

bool equal_data(const Object* object, CFTypeRef other) {
  return view(as_ref<CFDataRef>(object)) == view(static_cast<CFDataRef>(other));
}

CFHashCode hash_data(const Object* object) {
  return std::hash<std::string_view>()(view(as_ref<CFDataRef>(object)));
}

}  // namespace

const TypeOperations data_operations{"CFData", destroy<Data>, equal_data, hash_data, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFDataGetTypeID(void) {
  return static_cast<CFTypeID>(Type::data);
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex count) {
  if (count < 0 || (count > 0 && !bytes)) return nullptr;
  return as_ref<CFDataRef>(make<Data>(0, static_cast<std::uint16_t>(plain), bytes, count));
}

CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef ref) {
  if (!ref) return nullptr;
  const Data* data = own<Data>(ref);
  if (data && !data->is_changeable()) return static_cast<CFDataRef>(CFRetain(ref));
  return CFDataCreate(allocator, CFDataGetBytePtr(ref), CFDataGetLength(ref));
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) {
  return as_ref<CFMutableDataRef>(
      make<Data>(0, static_cast<std::uint16_t>(changeable), nullptr, CFIndex{0}));
}

CFIndex CFDataGetLength(CFDataRef ref) {
  if (auto* table = foreign(ref)) return table->data_length(ref);
  const Data* data = own<Data>(ref);
  return data ? static_cast<CFIndex>(data->bytes.size()) : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef ref) {
  const UInt8* bytes = nullptr;
  if (auto* table = foreign(ref))
    bytes = table->data_bytes(ref);
  else if (const Data* data = own<Data>(ref))
    bytes = data->bytes.data();
  return bytes ? bytes : no_bytes;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef ref) {
  auto* table = foreign(ref);
  UInt8* bytes = table ? table->data_mutable_bytes(ref) : nullptr;
  // Units read the bytes of a restored state through this call.
  return bytes ? bytes : const_cast<UInt8*>(CFDataGetBytePtr(ref));
}

void CFDataGetBytes(CFDataRef ref, CFRange range, UInt8* buffer) {
  const CFIndex length = CFDataGetLength(ref);
  if (!buffer || range.location < 0 || range.length < 0 || range.location > length ||
      range.length > length - range.location) {
    return;
  }
  std::copy_n(CFDataGetBytePtr(ref) + range.location, range.length, buffer);
}

void CFDataSetLength(CFMutableDataRef ref, CFIndex length) {
  if (length < 0) return;
  if (auto* table = foreign(ref)) return table->data_set_length(ref, length);
  if (Data* data = own_changeable<Data>(ref)) data->bytes.resize(static_cast<std::size_t>(length));
}

void CFDataAppendBytes(CFMutableDataRef ref, const UInt8* bytes, CFIndex count) {
  if (count <= 0 || !bytes) return;
  if (foreign(ref)) {
    const CFIndex length = CFDataGetLength(ref);
    CFDataSetLength(ref, length + count);
    if (CFDataGetLength(ref) == length + count)
      std::copy_n(bytes, count, CFDataGetMutableBytePtr(ref) + length);
    return;
  }
  Data* data = own_changeable<Data>(ref);
  if (!data) return;
  // The new bytes may lie in the data itself, whose buffer moves.
  const std::vector<UInt8> copy(bytes, bytes + count);
  data->bytes.insert(data->bytes.end(), copy.begin(), copy.end());
}
