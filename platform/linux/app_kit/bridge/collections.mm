#include <vector>

#import "platform/linux/app_kit/bridge/classes.h"

namespace {

CFArrayRef array_of(id object) { return reinterpret_cast<CFArrayRef>(object); }
CFMutableArrayRef changeable_array(id object) {
  return reinterpret_cast<CFMutableArrayRef>(object);
}
CFDictionaryRef dictionary_of(id object) { return reinterpret_cast<CFDictionaryRef>(object); }
CFMutableDictionaryRef changeable_dictionary(id object) {
  return reinterpret_cast<CFMutableDictionaryRef>(object);
}

NSUInteger count_of_array(id object) {
  return static_cast<NSUInteger>(CFArrayGetCount(array_of(object)));
}

/// `index`, or an exception when the array does not reach so far.
CFIndex checked(id array, NSUInteger index, NSUInteger end) {
  if (index >= end)
    [NSException raise:NSRangeException format:@"object %lu of %lu", index, count_of_array(array)];
  return static_cast<CFIndex>(index);
}

id object_at(id array, NSUInteger index) {
  const CFIndex place = checked(array, index, count_of_array(array));
  return (id)CFArrayGetValueAtIndex(array_of(array), place);
}

id object_for(id dictionary, id key) {
  return key ? (id)CFDictionaryGetValue(dictionary_of(dictionary), key) : nil;
}

/// Over the keys that are there now.
NSEnumerator* key_enumerator(id dictionary) {
  const CFIndex count = CFDictionaryGetCount(dictionary_of(dictionary));
  std::vector<const void*> keys(static_cast<std::size_t>(count));
  CFDictionaryGetKeysAndValues(dictionary_of(dictionary), keys.data(), nullptr);
  NSMutableArray* array = [NSMutableArray arrayWithCapacity:keys.size()];
  for (const void* key : keys) [array addObject:(id)key];
  return [array objectEnumerator];
}

}  // namespace

@implementation VeskCFArray

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)count {
  return count_of_array(self);
}

- (id)objectAtIndex:(NSUInteger)index {
  return object_at(self, index);
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

@end

@implementation VeskCFMutableArray

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)count {
  return count_of_array(self);
}

- (id)objectAtIndex:(NSUInteger)index {
  return object_at(self, index);
}

- (void)addObject:(id)object {
  CFArrayAppendValue(changeable_array(self), object);
}

- (void)insertObject:(id)object atIndex:(NSUInteger)index {
  CFArrayInsertValueAtIndex(changeable_array(self), checked(self, index, [self count] + 1), object);
}

- (void)replaceObjectAtIndex:(NSUInteger)index withObject:(id)object {
  CFArraySetValueAtIndex(changeable_array(self), checked(self, index, [self count]), object);
}

- (void)removeObjectAtIndex:(NSUInteger)index {
  CFArrayRemoveValueAtIndex(changeable_array(self), checked(self, index, [self count]));
}

- (void)removeLastObject {
  [self removeObjectAtIndex:[self count] - 1];
}

- (void)removeAllObjects {
  CFArrayRemoveAllValues(changeable_array(self));
}

- (id)copyWithZone:(NSZone*)zone {
  return (id)CFArrayCreateCopy(nullptr, array_of(self));
}

@end

@implementation VeskCFDictionary

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)count {
  return static_cast<NSUInteger>(CFDictionaryGetCount(dictionary_of(self)));
}

- (id)objectForKey:(id)key {
  return object_for(self, key);
}

- (NSEnumerator*)keyEnumerator {
  return key_enumerator(self);
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

@end

@implementation VeskCFMutableDictionary

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)count {
  return static_cast<NSUInteger>(CFDictionaryGetCount(dictionary_of(self)));
}

- (id)objectForKey:(id)key {
  return object_for(self, key);
}

- (NSEnumerator*)keyEnumerator {
  return key_enumerator(self);
}

- (void)setObject:(id)object forKey:(id)key {
  CFDictionarySetValue(changeable_dictionary(self), key, object);
}

- (void)removeObjectForKey:(id)key {
  CFDictionaryRemoveValue(changeable_dictionary(self), key);
}

- (id)copyWithZone:(NSZone*)zone {
  return (id)CFDictionaryCreateCopy(nullptr, dictionary_of(self));
}

@end
