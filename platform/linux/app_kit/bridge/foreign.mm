// CoreFoundation's calls, met by an object of Foundation's.

#import <Foundation/Foundation.h>

#include <cstring>
#include <vector>

#import "platform/linux/app_kit/bridge/bridge.hpp"

namespace vesk::platform {
namespace {

/// Foundation's object behind a reference of CoreFoundation's.
template <class Object = NSObject>
Object* ns(const void* reference) {
  return (Object*)const_cast<void*>(reference);
}

NSRange ns_range(CFRange range) {
  return NSMakeRange(static_cast<NSUInteger>(range.location),
                     static_cast<NSUInteger>(range.length));
}

bool is_a(const void* object, Class kind) { return [ns(object) isKindOfClass:kind]; }

/// Booleans have one class, of which these two are the only objects.
bool is_boolean(const void* object) {
  static Class boolean_class = [[NSNumber numberWithBool:YES] class];
  return [ns(object) class] == boolean_class;
}

CFTypeID type_id(CFTypeRef object) {
  if (is_a(object, [NSString class])) return CFStringGetTypeID();
  if (is_a(object, [NSNumber class]))
    return is_boolean(object) ? CFBooleanGetTypeID() : CFNumberGetTypeID();
  if (is_a(object, [NSDictionary class])) return CFDictionaryGetTypeID();
  if (is_a(object, [NSArray class])) return CFArrayGetTypeID();
  if (is_a(object, [NSData class])) return CFDataGetTypeID();
  if (is_a(object, [NSDate class])) return CFDateGetTypeID();
  if (is_a(object, [NSURL class])) return CFURLGetTypeID();
  if (is_a(object, [NSError class])) return CFErrorGetTypeID();
  return 0;
}

CFTypeRef retain(CFTypeRef object) { return [ns(object) retain]; }
void release(CFTypeRef object) { [ns(object) release]; }
CFIndex retain_count(CFTypeRef object) { return static_cast<CFIndex>([ns(object) retainCount]); }
Boolean equal(CFTypeRef first, CFTypeRef second) { return [ns(first) isEqual:ns(second)]; }
CFHashCode hash(CFTypeRef object) { return [ns(object) hash]; }

CFStringRef copy_description(CFTypeRef object) {
  return reinterpret_cast<CFStringRef>([[ns(object) description] copy]);
}

CFIndex string_length(CFStringRef string) {
  return static_cast<CFIndex>([ns<NSString>(string) length]);
}

void string_get_characters(CFStringRef string, CFRange range, UniChar* units) {
  [ns<NSString>(string) getCharacters:reinterpret_cast<unichar*>(units) range:ns_range(range)];
}

void string_replace(CFMutableStringRef string, CFRange range, const UniChar* units, CFIndex count) {
  if (!is_a(string, [NSMutableString class])) return;
  NSString* text = [[NSString alloc] initWithCharacters:reinterpret_cast<const unichar*>(units)
                                                 length:static_cast<NSUInteger>(count)];
  [ns<NSMutableString>(string) replaceCharactersInRange:ns_range(range) withString:text];
  [text release];
}

CFIndex data_length(CFDataRef data) { return static_cast<CFIndex>([ns<NSData>(data) length]); }

const UInt8* data_bytes(CFDataRef data) {
  return static_cast<const UInt8*>([ns<NSData>(data) bytes]);
}

UInt8* data_mutable_bytes(CFMutableDataRef data) {
  if (!is_a(data, [NSMutableData class])) return nullptr;
  return static_cast<UInt8*>([ns<NSMutableData>(data) mutableBytes]);
}

void data_set_length(CFMutableDataRef data, CFIndex length) {
  if (!is_a(data, [NSMutableData class])) return;
  [ns<NSMutableData>(data) setLength:static_cast<NSUInteger>(length)];
}

/// The letter that says how a number is kept.
char kept_as(const void* number) { return *[ns<NSNumber>(number) objCType]; }

CFNumberType number_type(CFNumberRef number) {
  switch (kept_as(number)) {
    case 'f':
      return kCFNumberFloat32Type;
    case 'd':
      return kCFNumberFloat64Type;
    case 'c':
      return kCFNumberSInt8Type;
    case 's':
    case 'C':
      return kCFNumberSInt16Type;
    case 'i':
    case 'S':
      return kCFNumberSInt32Type;
    default:
      return kCFNumberSInt64Type;
  }
}

Boolean number_is_unsigned(CFNumberRef number) {
  const char kept = kept_as(number);
  return (kept == 'Q' || kept == 'L') &&
         [ns<NSNumber>(number) unsignedLongLongValue] > static_cast<UInt64>(INT64_MAX);
}

/// Writes `value` as a `Number`; whether nothing of it was lost.
template <class Number>
Boolean put(NSNumber* number, void* value) {
  const Number converted = std::is_floating_point_v<Number>
                               ? static_cast<Number>([number doubleValue])
                               : static_cast<Number>([number longLongValue]);
  std::memcpy(value, &converted, sizeof converted);
  const bool is_real = kept_as(number) == 'd' || kept_as(number) == 'f';
  if (is_real) return static_cast<double>(converted) == [number doubleValue];
  return static_cast<long long>(converted) == [number longLongValue];
}

Boolean number_get(CFNumberRef reference, CFNumberType type, void* value) {
  NSNumber* number = ns<NSNumber>(reference);
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return put<SInt8>(number, value);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return put<SInt16>(number, value);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return put<SInt32>(number, value);
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return put<Float32>(number, value);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return put<Float64>(number, value);
    default:
      return put<SInt64>(number, value);
  }
}

Boolean boolean_value(CFBooleanRef boolean) { return [ns<NSNumber>(boolean) boolValue]; }

CFAbsoluteTime date_time(CFDateRef date) {
  return [ns<NSDate>(date) timeIntervalSinceReferenceDate];
}

CFIndex array_count(CFArrayRef array) { return static_cast<CFIndex>([ns<NSArray>(array) count]); }

const void* array_value(CFArrayRef array, CFIndex index) {
  return [ns<NSArray>(array) objectAtIndex:static_cast<NSUInteger>(index)];
}

void array_replace(CFMutableArrayRef reference, CFRange range, const void** values, CFIndex count) {
  if (!is_a(reference, [NSMutableArray class])) return;
  NSMutableArray* array = ns<NSMutableArray>(reference);
  [array removeObjectsInRange:ns_range(range)];
  for (CFIndex index = 0; index < count; ++index)
    [array insertObject:ns(values[index]) atIndex:static_cast<NSUInteger>(range.location + index)];
}

CFIndex dictionary_count(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>([ns<NSDictionary>(dictionary) count]);
}

Boolean dictionary_get(CFDictionaryRef dictionary, const void* key, const void** value) {
  const void* found = [ns<NSDictionary>(dictionary) objectForKey:(id)ns(key)];
  if (found && value) *value = found;
  return found != nullptr;
}

void dictionary_get_all(CFDictionaryRef reference, const void** keys, const void** values) {
  NSDictionary* dictionary = ns<NSDictionary>(reference);
  CFIndex index = 0;
  for (id key in [dictionary allKeys]) {
    if (keys) keys[index] = key;
    if (values) values[index] = [dictionary objectForKey:key];
    ++index;
  }
}

void dictionary_set(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  if (!is_a(dictionary, [NSMutableDictionary class])) return;
  [ns<NSMutableDictionary>(dictionary) setObject:ns(value) forKey:(id)ns(key)];
}

void dictionary_remove(CFMutableDictionaryRef dictionary, const void* key) {
  if (!is_a(dictionary, [NSMutableDictionary class])) return;
  [ns<NSMutableDictionary>(dictionary) removeObjectForKey:(id)ns(key)];
}

CFStringRef url_string(CFURLRef url) {
  return reinterpret_cast<CFStringRef>([ns<NSURL>(url) absoluteString]);
}

CFStringRef error_domain(CFErrorRef error) {
  return reinterpret_cast<CFStringRef>([ns<NSError>(error) domain]);
}

CFIndex error_code(CFErrorRef error) { return [ns<NSError>(error) code]; }

CFDictionaryRef error_copy_user_info(CFErrorRef error) {
  return reinterpret_cast<CFDictionaryRef>([[ns<NSError>(error) userInfo] copy]);
}

}  // namespace

const CFForeignObjects foundation_objects = {
    .type_id = type_id,
    .retain = retain,
    .release = release,
    .retain_count = retain_count,
    .equal = equal,
    .hash = hash,
    .copy_description = copy_description,
    .string_length = string_length,
    .string_get_characters = string_get_characters,
    .string_replace = string_replace,
    .data_length = data_length,
    .data_bytes = data_bytes,
    .data_mutable_bytes = data_mutable_bytes,
    .data_set_length = data_set_length,
    .number_type = number_type,
    .number_is_unsigned = number_is_unsigned,
    .number_get = number_get,
    .boolean_value = boolean_value,
    .date_time = date_time,
    .array_count = array_count,
    .array_value = array_value,
    .array_replace = array_replace,
    .dictionary_count = dictionary_count,
    .dictionary_get = dictionary_get,
    .dictionary_get_all = dictionary_get_all,
    .dictionary_set = dictionary_set,
    .dictionary_remove = dictionary_remove,
    .url_string = url_string,
    .error_domain = error_domain,
    .error_code = error_code,
    .error_copy_user_info = error_copy_user_info,
};

}  // namespace vesk::platform
