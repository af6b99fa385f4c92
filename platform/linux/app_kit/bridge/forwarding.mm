#import "platform/linux/app_kit/bridge/classes.h"

@implementation VeskCFForwarding

VESK_COUNTED_BY_CORE_FOUNDATION

- (id)vesk_standIn {
  [self doesNotRecognizeSelector:_cmd];
  return nil;
}

- (id)copyWithZone:(NSZone*)zone {
  return [self retain];
}

- (NSMethodSignature*)methodSignatureForSelector:(SEL)selector {
  return [[self vesk_standIn] methodSignatureForSelector:selector];
}

- (void)forwardInvocation:(NSInvocation*)invocation {
  [invocation invokeWithTarget:[self vesk_standIn]];
}

- (BOOL)respondsToSelector:(SEL)selector {
  return [super respondsToSelector:selector] || [[self vesk_standIn] respondsToSelector:selector];
}

- (BOOL)isKindOfClass:(Class)kind {
  return [super isKindOfClass:kind] || [[self vesk_standIn] isKindOfClass:kind];
}

- (BOOL)isEqual:(id)other {
  return other == self || [[self vesk_standIn] isEqual:other];
}

- (NSUInteger)hash {
  return [[self vesk_standIn] hash];
}

- (NSString*)description {
  return [[self vesk_standIn] description];
}

@end

@implementation VeskCFURL

- (id)vesk_standIn {
  const CFURLRef url = reinterpret_cast<CFURLRef>(self);
  NSString* path = [(NSString*)CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle) autorelease];
  NSString* text = (NSString*)CFURLGetString(url);
  if ([text hasPrefix:@"file:"] && path)
    return [NSURL fileURLWithPath:path isDirectory:CFURLHasDirectoryPath(url)];
  return [NSURL URLWithString:text];
}

@end

@implementation VeskCFError

- (id)vesk_standIn {
  const CFErrorRef error = reinterpret_cast<CFErrorRef>(self);
  NSDictionary* info = [(NSDictionary*)CFErrorCopyUserInfo(error) autorelease];
  return [NSError errorWithDomain:(NSString*)CFErrorGetDomain(error)
                             code:CFErrorGetCode(error)
                         userInfo:info];
}

@end
