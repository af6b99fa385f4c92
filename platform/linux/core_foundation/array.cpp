#include <algorithm>
#include <vector>

#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

const void* retain_object(CFAllocatorRef, const void* value) {
  return value ? CFRetain(value) : nullptr;
}
void release_object(CFAllocatorRef, const void* value) {
  if (value) CFRelease(value);
}

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

CFStringRef describe_array(const Object* object) {
  const auto* array = static_cast<const Array*>(object);
  std::string text = "(";
  for (const void* value : array->values) {
    if (text.size() > 1) text += ", ";
    Owner<CFStringRef> description(
        array->callbacks.copyDescription ? array->callbacks.copyDescription(value) : nullptr);
    text += description ? utf8(description.get()) : "?";
  }
  return make_string_from_utf8(text + ")");
}

/// `range` as positions inside `count`, cut to it.
std::pair<CFIndex, CFIndex> within(CFRange range, CFIndex count) {
  const CFIndex start = std::clamp<CFIndex>(range.location, 0, count);
  return {start, start + std::clamp<CFIndex>(range.length, 0, count - start)};
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
  CFArrayGetValues(ref, CFRangeMake(0, static_cast<CFIndex>(values.size())), values.data());
  return make_array(values.data(), static_cast<CFIndex>(values.size()),
                    original ? &original->callbacks : &kCFTypeArrayCallBacks, flags);
}

/// The one operation that all changes come down to. Old values are let go last, since that may
/// run code which looks at the array.
void replace(CFMutableArrayRef ref, CFIndex location, CFIndex length, const void** values,
             CFIndex count) {
  const CFIndex size = CFArrayGetCount(ref);
  if (!ref || location < 0 || length < 0 || location > size || length > size - location) return;
  if (auto* table = foreign(ref))
    return table->array_replace(ref, CFRangeMake(location, length), values, count);
  Array* array = own_changeable<Array>(ref);
  if (!array) return;
  const auto first = array->values.begin() + location;
  const std::vector<const void*> old(first, first + length);
  std::vector<const void*> added(values, values + count);
  for (const void*& value : added) value = array->retain(value);
  array->values.insert(array->values.erase(first, first + length), added.begin(), added.end());
  for (const void* value : old) array->release(value);
}

}  // namespace

const TypeOperations array_operations{"CFArray", destroy<Array>, equal_arrays, hash_array,
                                      describe_array};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retain_object, release_object, CFCopyDescription,
                                                CFEqual};

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

void CFArrayGetValues(CFArrayRef ref, CFRange range, const void** values) {
  if (!values) return;
  const auto [start, end] = within(range, CFArrayGetCount(ref));
  for (CFIndex i = start; i < end; ++i) values[i - start] = CFArrayGetValueAtIndex(ref, i);
}

Boolean CFArrayContainsValue(CFArrayRef ref, CFRange range, const void* value) {
  return CFArrayGetFirstIndexOfValue(ref, range, value) != kCFNotFound;
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef ref, CFRange range, const void* value) {
  const auto [start, end] = within(range, CFArrayGetCount(ref));
  const Array* array = own<Array>(ref);
  for (CFIndex i = start; i < end; ++i) {
    const void* element = CFArrayGetValueAtIndex(ref, i);
    if (array ? array->are_equal(element, value) : CFEqual(element, value)) return i;
  }
  return kCFNotFound;
}

CFIndex CFArrayGetCountOfValue(CFArrayRef ref, CFRange range, const void* value) {
  auto [start, end] = within(range, CFArrayGetCount(ref));
  CFIndex count = 0;
  while (true) {
    start = CFArrayGetFirstIndexOfValue(ref, CFRangeMake(start, end - start), value);
    if (start == kCFNotFound) return count;
    ++count;
    ++start;
  }
}

void CFArrayApplyFunction(CFArrayRef ref, CFRange range, CFArrayApplierFunction function,
                          void* context) {
  const auto [start, end] = within(range, CFArrayGetCount(ref));
  for (CFIndex i = start; function && i < end; ++i)
    function(CFArrayGetValueAtIndex(ref, i), context);
}

void CFArrayAppendValue(CFMutableArrayRef ref, const void* value) {
  replace(ref, CFArrayGetCount(ref), 0, &value, 1);
}

void CFArrayAppendArray(CFMutableArrayRef ref, CFArrayRef other, CFRange range) {
  const auto [start, end] = within(range, CFArrayGetCount(other));
  std::vector<const void*> values(static_cast<std::size_t>(end - start));
  CFArrayGetValues(other, CFRangeMake(start, end - start), values.data());
  replace(ref, CFArrayGetCount(ref), 0, values.data(), end - start);
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef ref, CFIndex index, const void* value) {
  replace(ref, index, 0, &value, 1);
}

void CFArraySetValueAtIndex(CFMutableArrayRef ref, CFIndex index, const void* value) {
  // The index behind the last element appends, as documented.
  replace(ref, index, index == CFArrayGetCount(ref) ? 0 : 1, &value, 1);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef ref, CFIndex index) {
  if (index < CFArrayGetCount(ref)) replace(ref, index, 1, nullptr, 0);
}

void CFArrayRemoveAllValues(CFMutableArrayRef ref) {
  replace(ref, 0, CFArrayGetCount(ref), nullptr, 0);
}

void CFArraySortValues(CFMutableArrayRef ref, CFRange range, CFComparatorFunction compare,
                       void* context) {
  Array* array = own_changeable<Array>(ref);
  if (!array || !compare) return;
  const auto [start, end] = within(range, CFArrayGetCount(ref));
  // Sorting by a heap stays inside the range however inconsistent the comparison is.
  const auto first_value = array->values.begin() + start, last_value = array->values.begin() + end;
  std::partial_sort(first_value, last_value, last_value,
                    [compare, context](const void* first, const void* second) {
                      return compare(first, second, context) == kCFCompareLessThan;
                    });
}
