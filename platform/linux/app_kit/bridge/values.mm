#include <objc/objc.h>

#import "platform/linux/app_kit/bridge/classes.h"

namespace {

bool is_boolean(id object) { return CFGetTypeID(object) == CFBooleanGetTypeID(); }

bool is_real(id object) {
  return !is_boolean(object) && CFNumberIsFloatType(reinterpret_cast<CFNumberRef>(object));
}

double real_of(id object) {
  if (is_boolean(object)) return CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(object)) ? 1 : 0;
  double value = 0;
  CFNumberGetValue(reinterpret_cast<CFNumberRef>(object), kCFNumberFloat64Type, &value);
  return value;
}

SInt64 integer_of(id object) {
  if (is_boolean(object)) return CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(object)) ? 1 : 0;
  if (is_real(object)) return static_cast<SInt64>(real_of(object));
  SInt64 value = 0;
  CFNumberGetValue(reinterpret_cast<CFNumberRef>(object), kCFNumberSInt64Type, &value);
  return value;
}

/// The same number as Foundation makes it, for what is not a question of the value alone.
NSNumber* stand_in(id object) {
  if (is_boolean(object)) return [NSNumber numberWithBool:integer_of(object) != 0];
  if (is_real(object)) return [NSNumber numberWithDouble:real_of(object)];
  return [NSNumber numberWithLongLong:integer_of(object)];
}

}  // namespace

@implementation VeskCFNumber

VESK_COUNTED_BY_CORE_FOUNDATION

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

- (NSComparisonResult)compare:(NSNumber*)other {
  return [stand_in(self) compare:other];
}

- (BOOL)isEqualToNumber:(NSNumber*)other {
  return other == self || [stand_in(self) isEqualToNumber:other];
}

- (BOOL)isEqual:(id)other {
  return [other isKindOfClass:[NSNumber class]] && [self isEqualToNumber:other];
}

- (NSUInteger)hash {
  return [stand_in(self) hash];
}

- (NSString*)description {
  return [stand_in(self) description];
}

- (NSString*)descriptionWithLocale:(id)locale {
  return [stand_in(self) descriptionWithLocale:locale];
}

- (NSString*)stringValue {
  return [stand_in(self) stringValue];
}

- (const char*)objCType {
  if (is_boolean(self)) return @encode(BOOL);
  return is_real(self) ? @encode(double) : @encode(long long);
}

- (void)getValue:(void*)value {
  if (is_boolean(self))
    *static_cast<BOOL*>(value) = integer_of(self) != 0;
  else if (is_real(self))
    *static_cast<double*>(value) = real_of(self);
  else
    *static_cast<long long*>(value) = integer_of(self);
}

- (BOOL)boolValue {
  return is_real(self) ? real_of(self) != 0 : integer_of(self) != 0;
}
- (signed char)charValue {
  return static_cast<signed char>(integer_of(self));
}
- (unsigned char)unsignedCharValue {
  return static_cast<unsigned char>(integer_of(self));
}
- (short)shortValue {
  return static_cast<short>(integer_of(self));
}
- (unsigned short)unsignedShortValue {
  return static_cast<unsigned short>(integer_of(self));
}
- (int)intValue {
  return static_cast<int>(integer_of(self));
}
- (unsigned int)unsignedIntValue {
  return static_cast<unsigned int>(integer_of(self));
}
- (long)longValue {
  return integer_of(self);
}
- (unsigned long)unsignedLongValue {
  return static_cast<unsigned long>(integer_of(self));
}
- (long long)longLongValue {
  return integer_of(self);
}
- (unsigned long long)unsignedLongLongValue {
  return static_cast<unsigned long long>(integer_of(self));
}
- (NSInteger)integerValue {
  return integer_of(self);
}
- (NSUInteger)unsignedIntegerValue {
  return static_cast<NSUInteger>(integer_of(self));
}
- (float)floatValue {
  return static_cast<float>(real_of(self));
}
- (double)doubleValue {
  return real_of(self);
}

@end

@implementation VeskCFDate

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSTimeInterval)timeIntervalSinceReferenceDate {
  return CFDateGetAbsoluteTime(reinterpret_cast<CFDateRef>(self));
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

@end
