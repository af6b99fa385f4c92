#include <vector>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

namespace {

struct Array : Object {
  static constexpr Type type_of = Type::array;
  Array(std::uint16_t flags_, const CFArrayCallBacks* callbacks_)
      : Object(type_of, flags_), callbacks(callbacks_ ? *callbacks_ : CFArrayCallBacks{}) {}
  ~Array() {
    for (const void* value : values) release(value);
  }

  const void* retain(const void* value) const {
    return callbacks.retain ? callbacks.retain(nullptr, value) : value;
  }
  void release(const void* value) const {
    if (callbacks.release) callbacks.release(nullptr, value);
  }
  bool are_equal(const void* first, const void* second) const {
    return first == second || (callbacks.equal && callbacks.equal(first, second));
  }

  const CFArrayCallBacks callbacks;
  std::vector<const void*> values;
};

bool equal_arrays(const Object* object, CFTypeRef other_ref) {
  const auto* array = static_cast<const Array*>(object);
  const auto other = static_cast<CFArrayRef>(other_ref);
  if (CFArrayGetCount(other) != static_cast<CFIndex>(array->values.size())) return false;
  for (std::size_t i = 0; i < array->values.size(); ++i)
    if (!array->are_equal(array->values[i], CFArrayGetValueAtIndex(other, static_cast<CFIndex>(i))))
      return false;
  return true;
}

CFHashCode hash_array(const Object* object) {
  return static_cast<CFHashCode>(CFArrayGetCount(as_ref<CFArrayRef>(object)));
}

Array* make_array(const void** values, CFIndex count, const CFArrayCallBacks* callbacks,
                  Flags flags) {
  if (count < 0 || (count > 0 && !values)) return nullptr;
  auto* array = make<Array>(0, static_cast<std::uint16_t>(flags), callbacks);
  array->values.reserve(static_cast<std::size_t>(count));
  for (CFIndex i = 0; i < count; ++i) array->values.push_back(array->retain(values[i]));
  return array;
}

/// A copy with the callbacks of the original; those of a foreign array are the usual ones.
Array* copy_array(CFArrayRef ref, Flags flags) {
  if (!ref) return nullptr;
  const Array* original = own<Array>(ref);
  std::vector<const void*> values(static_cast<std::size_t>(CFArrayGetCount(ref)));
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i] = CFArrayGetValueAtIndex(ref, static_cast<CFIndex>(i));
  return make_array(values.data(), static_cast<CFIndex>(values.size()),
                    original ? &original->callbacks : &kCFTypeArrayCallBacks, flags);
}

/// The one operation that all changes come down to: the elements of `range` give way to `added`,
/// if there is one. They are let go last, since that may run code which looks at the array.
void replace(CFMutableArrayRef ref, CFRange range, const void** added) {
  const CFIndex size = CFArrayGetCount(ref);
  if (!ref || range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return;
  }
  if (auto* table = foreign(ref)) return table->array_replace(ref, range, added, added ? 1 : 0);
  Array* array = own_changeable<Array>(ref);
  if (!array) return;
  const auto first = array->values.begin() + range.location;
  const std::vector<const void*> old(first, first + range.length);
  const void* kept = added ? array->retain(*added) : nullptr;
  const auto gap = array->values.erase(first, first + range.length);
  if (added) array->values.insert(gap, kept);
  for (const void* value : old) array->release(value);
}

}  // namespace

const TypeOperations array_operations{"CFArray", destroy<Array>, equal_arrays, hash_array, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retain_object, release_object, nullptr, CFEqual};

CFTypeID CFArrayGetTypeID(void) {
  return static_cast<CFTypeID>(Type::array);
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callbacks) {
  Array* array = make_array(values, count, callbacks, plain);
  return array ? as_ref<CFArrayRef>(array) : nullptr;
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef ref) {
  const Array* original = own<Array>(ref);
  if (original && !original->is_changeable()) return static_cast<CFArrayRef>(CFRetain(ref));
  Array* array = copy_array(ref, plain);
  return array ? as_ref<CFArrayRef>(array) : nullptr;
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callbacks) {
  return as_ref<CFMutableArrayRef>(make_array(nullptr, 0, callbacks, changeable));
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex, CFArrayRef ref) {
  Array* array = copy_array(ref, changeable);
  return array ? as_ref<CFMutableArrayRef>(array) : nullptr;
}

CFIndex CFArrayGetCount(CFArrayRef ref) {
  if (auto* table = foreign(ref)) return table->array_count(ref);
  const Array* array = own<Array>(ref);
  return array ? static_cast<CFIndex>(array->values.size()) : 0;
}

const void* CFArrayGetValueAtIndex(CFArrayRef ref, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(ref)) return nullptr;
  if (auto* table = foreign(ref)) return table->array_value(ref, index);
  return own<Array>(ref)->values[static_cast<std::size_t>(index)];
}

void CFArrayAppendValue(CFMutableArrayRef ref, const void* value) {
  replace(ref, CFRangeMake(CFArrayGetCount(ref), 0), &value);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef ref, CFIndex index, const void* value) {
  replace(ref, CFRangeMake(index, 0), &value);
}

void CFArraySetValueAtIndex(CFMutableArrayRef ref, CFIndex index, const void* value) {
  replace(ref, CFRangeMake(index, index == CFArrayGetCount(ref) ? 0 : 1), &value);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef ref, CFIndex index) {
  replace(ref, CFRangeMake(index, 1), nullptr);
}

void CFArrayRemoveAllValues(CFMutableArrayRef ref) {
  replace(ref, CFRangeMake(0, CFArrayGetCount(ref)), nullptr);
}
