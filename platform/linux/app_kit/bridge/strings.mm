#import "platform/linux/app_kit/bridge/classes.h"

namespace {

CFStringRef string_of(id object) { return reinterpret_cast<CFStringRef>(object); }
CFDataRef data_of(id object) { return reinterpret_cast<CFDataRef>(object); }

unichar character_at(id string, NSUInteger index) {
  if (index >= static_cast<NSUInteger>(CFStringGetLength(string_of(string)))) {
    [NSException raise:NSRangeException
                format:@"character %lu of %lu", index,
                       static_cast<NSUInteger>(CFStringGetLength(string_of(string)))];
  }
  return CFStringGetCharacterAtIndex(string_of(string), static_cast<CFIndex>(index));
}

void get_characters(id string, unichar* characters, NSRange range) {
  if (NSMaxRange(range) > static_cast<NSUInteger>(CFStringGetLength(string_of(string))))
    [NSException raise:NSRangeException format:@"characters beyond the end"];
  CFStringGetCharacters(
      string_of(string),
      CFRangeMake(static_cast<CFIndex>(range.location), static_cast<CFIndex>(range.length)),
      reinterpret_cast<UniChar*>(characters));
}

}  // namespace

@implementation VeskCFString

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)length {
  return static_cast<NSUInteger>(CFStringGetLength(string_of(self)));
}

- (unichar)characterAtIndex:(NSUInteger)index {
  return character_at(self, index);
}

- (void)getCharacters:(unichar*)buffer range:(NSRange)range {
  get_characters(self, buffer, range);
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

@end

@implementation VeskCFMutableString

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)length {
  return static_cast<NSUInteger>(CFStringGetLength(string_of(self)));
}

- (unichar)characterAtIndex:(NSUInteger)index {
  return character_at(self, index);
}

- (void)getCharacters:(unichar*)buffer range:(NSRange)range {
  get_characters(self, buffer, range);
}

- (void)replaceCharactersInRange:(NSRange)range withString:(NSString*)string {
  CFStringReplace(
      reinterpret_cast<CFMutableStringRef>(self),
      CFRangeMake(static_cast<CFIndex>(range.location), static_cast<CFIndex>(range.length)),
      string_of(string));
}

- (id)copyWithZone:(NSZone*)zone {
  return (id)CFStringCreateCopy(nullptr, string_of(self));
}

@end

@implementation VeskCFData

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)length {
  return static_cast<NSUInteger>(CFDataGetLength(data_of(self)));
}

- (const void*)bytes {
  return CFDataGetBytePtr(data_of(self));
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

@end

@implementation VeskCFMutableData

VESK_COUNTED_BY_CORE_FOUNDATION

- (NSUInteger)length {
  return static_cast<NSUInteger>(CFDataGetLength(data_of(self)));
}

- (const void*)bytes {
  return CFDataGetBytePtr(data_of(self));
}

- (void*)mutableBytes {
  return CFDataGetMutableBytePtr(reinterpret_cast<CFMutableDataRef>(self));
}

- (void)setLength:(NSUInteger)length {
  CFDataSetLength(reinterpret_cast<CFMutableDataRef>(self), static_cast<CFIndex>(length));
}

- (id)copyWithZone:(NSZone*)zone {
  return (id)CFDataCreateCopy(nullptr, data_of(self));
}

@end
