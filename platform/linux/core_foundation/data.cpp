#include <cstdlib>
#include <cstring>
#include <functional>

#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/values.hpp"

namespace vesk::platform::cf {

namespace {

// What empty data points to, so that nobody meets a null pointer.
UInt8 no_bytes[1];

bool equal_data(const Object* object, CFTypeRef other) {
  const CFDataRef first = as_ref<CFDataRef>(object);
  const CFDataRef second = static_cast<CFDataRef>(other);
  const CFIndex length = CFDataGetLength(first);
  return length == CFDataGetLength(second) &&
         std::memcmp(CFDataGetBytePtr(first), CFDataGetBytePtr(second),
                     static_cast<std::size_t>(length)) == 0;
}

CFHashCode hash_data(const Object* object) {
  const CFDataRef data = as_ref<CFDataRef>(object);
  const UInt8* bytes = CFDataGetBytePtr(data);
  const CFIndex length = CFDataGetLength(data);
  CFHashCode hash = 0xcbf29ce484222325u;
  // `no_bytes` is of length 0. NOLINTNEXTLINE(clang-analyzer-security.ArrayBound)
  for (CFIndex i = 0; i < length && i < 256; ++i) hash = (hash ^ bytes[i]) * 0x100000001b3u;
  return hash ^ static_cast<CFHashCode>(length);
}

CFStringRef describe_data(const Object* object) {
  constexpr char digits[] = "0123456789abcdef";
  const auto* data = static_cast<const Data*>(object);
  std::string text = "<";
  for (std::size_t i = 0; i < data->length && i < 64; ++i) {
    text += digits[data->bytes[i] >> 4];
    text += digits[data->bytes[i] & 15];
  }
  text += data->length > 64 ? "...>" : ">";
  return make_ascii_string(text);
}

/// Room for `capacity` bytes; false when there is none.
bool reserve(Data& data, std::size_t capacity) {
  if (capacity <= data.capacity) return true;
  std::size_t grown = data.capacity + data.capacity / 2;
  if (grown < capacity) grown = capacity;
  // `no_bytes` is not to be freed. NOLINTNEXTLINE(clang-analyzer-unix.Malloc)
  void* bytes = std::realloc(data.frees_bytes ? data.bytes : nullptr, grown);
  if (!bytes) return false;
  data.bytes = static_cast<UInt8*>(bytes);
  data.capacity = grown;
  data.frees_bytes = true;
  return true;
}

Data* make_data(const UInt8* bytes, CFIndex count, Flags flags) {
  if (count < 0 || (count > 0 && !bytes)) return nullptr;
  auto* data = make<Data>(0, static_cast<std::uint16_t>(flags));
  data->bytes = no_bytes;
  if (count == 0) return data;
  if (!reserve(*data, static_cast<std::size_t>(count))) {
    CFRelease(data);
    return nullptr;
  }
  std::memcpy(data->bytes, bytes, static_cast<std::size_t>(count));
  data->length = static_cast<std::size_t>(count);
  return data;
}

/// `range` within `length`, or false.
bool is_inside(CFRange range, CFIndex length) {
  return range.location >= 0 && range.length >= 0 && range.location <= length &&
         range.length <= length - range.location;
}

}  // namespace

Data::~Data() {
  if (frees_bytes) std::free(bytes);
}

const TypeOperations data_operations{"CFData", destroy<Data>, equal_data, hash_data, describe_data};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFDataGetTypeID(void) {
  return static_cast<CFTypeID>(Type::data);
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex count) {
  Data* data = make_data(bytes, count, plain);
  return data ? as_ref<CFDataRef>(data) : nullptr;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                      CFAllocatorRef deallocator) {
  if (count < 0 || (count > 0 && !bytes)) return nullptr;
  auto* data = make<Data>(0, static_cast<std::uint16_t>(plain));
  data->bytes = bytes ? const_cast<UInt8*>(bytes) : no_bytes;
  data->length = data->capacity = static_cast<std::size_t>(count);
  data->frees_bytes = bytes && deallocator != kCFAllocatorNull;
  return as_ref<CFDataRef>(data);
}

CFDataRef CFDataCreateCopy(CFAllocatorRef allocator, CFDataRef ref) {
  if (!ref) return nullptr;
  // Borrowed bytes may end before the copy does.
  const Data* data = own<Data>(ref);
  if (data && !data->is_changeable() && (data->frees_bytes || data->length == 0))
    return static_cast<CFDataRef>(CFRetain(ref));
  return CFDataCreate(allocator, CFDataGetBytePtr(ref), CFDataGetLength(ref));
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) {
  return as_ref<CFMutableDataRef>(make_data(nullptr, 0, changeable));
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex, CFDataRef ref) {
  if (!ref) return nullptr;
  Data* data = make_data(CFDataGetBytePtr(ref), CFDataGetLength(ref), changeable);
  return data ? as_ref<CFMutableDataRef>(data) : nullptr;
}

CFIndex CFDataGetLength(CFDataRef ref) {
  if (auto* table = foreign(ref)) return table->data_length(ref);
  const Data* data = own<Data>(ref);
  return data ? static_cast<CFIndex>(data->length) : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef ref) {
  if (auto* table = foreign(ref)) {
    const UInt8* bytes = table->data_bytes(ref);
    return bytes ? bytes : no_bytes;
  }
  const Data* data = own<Data>(ref);
  return data ? data->bytes : no_bytes;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef ref) {
  if (auto* table = foreign(ref)) return table->data_mutable_bytes(ref);
  Data* data = own_changeable<Data>(ref);
  return data ? data->bytes : nullptr;
}

void CFDataGetBytes(CFDataRef ref, CFRange range, UInt8* buffer) {
  if (!buffer || !is_inside(range, CFDataGetLength(ref))) return;
  std::memcpy(buffer, CFDataGetBytePtr(ref) + range.location,
              static_cast<std::size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef ref, CFIndex length) {
  if (auto* table = foreign(ref)) return table->data_set_length(ref, length);
  Data* data = own_changeable<Data>(ref);
  if (!data || length < 0) return;
  const auto wanted = static_cast<std::size_t>(length);
  if (wanted > data->length) {
    if (!reserve(*data, wanted)) return;
    std::memset(data->bytes + data->length, 0, wanted - data->length);
  }
  data->length = wanted;
}

void CFDataIncreaseLength(CFMutableDataRef ref, CFIndex extra) {
  CFIndex length;
  if (!__builtin_add_overflow(CFDataGetLength(ref), extra, &length)) CFDataSetLength(ref, length);
}

void CFDataAppendBytes(CFMutableDataRef ref, const UInt8* bytes, CFIndex count) {
  CFDataReplaceBytes(ref, CFRangeMake(CFDataGetLength(ref), 0), bytes, count);
}

void CFDataReplaceBytes(CFMutableDataRef ref, CFRange range, const UInt8* bytes, CFIndex count) {
  const CFIndex length = CFDataGetLength(ref);
  UInt8* old = CFDataGetMutableBytePtr(ref);
  CFIndex changed;
  if (!old || count < 0 || (count > 0 && !bytes) || !is_inside(range, length) ||
      __builtin_add_overflow(length - range.length, count, &changed)) {
    return;
  }
  // The new bytes may lie in the data itself, whose buffer moves.
  std::string copy;
  if (count > 0 && std::less_equal<>()(old, bytes) && std::less<>()(bytes, old + length)) {
    copy.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    bytes = reinterpret_cast<const UInt8*>(copy.data());
  }
  if (changed > length) CFDataSetLength(ref, changed);
  if (CFDataGetLength(ref) < changed) return;
  UInt8* target = CFDataGetMutableBytePtr(ref);
  if (!target) return;
  const CFIndex tail = range.location + range.length;
  std::memmove(target + range.location + count, target + tail,
               static_cast<std::size_t>(length - tail));
  if (count > 0) std::memcpy(target + range.location, bytes, static_cast<std::size_t>(count));
  if (changed < length) CFDataSetLength(ref, changed);
}

void CFDataDeleteBytes(CFMutableDataRef ref, CFRange range) {
  CFDataReplaceBytes(ref, range, nullptr, 0);
}
