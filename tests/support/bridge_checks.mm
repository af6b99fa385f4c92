#import "tests/support/bridge_checks.h"

#import <Foundation/Foundation.h>

#include <cstring>

#define CHECK(...) check(static_cast<bool>(__VA_ARGS__), #__VA_ARGS__, context)

namespace {

void use_as_foundation(const BridgeObjects& made, BridgeCheck check, void* context) {
  NSString* string = (NSString*)made.string;
  CHECK([string length] == 5);
  CHECK([string isEqual:@"Gr\u00FC\u00DFe"]);
  CHECK([@"Gr\u00FC\u00DFe" isEqual:string]);
  CHECK([string hash] == [@"Gr\u00FC\u00DFe" hash]);
  CHECK([[string uppercaseString] hasPrefix:@"GR"]);
  CHECK([[NSString stringWithFormat:@"<%@>", string] isEqual:@"<Gr\u00FC\u00DFe>"]);
  CHECK(std::strcmp([string UTF8String], "Gr\xC3\xBC\xC3\x9F\x65") == 0);
  CHECK([string isKindOfClass:[NSString class]]);

  NSMutableString* text = (NSMutableString*)made.text;
  [text appendString:@"c"];
  [text insertString:string atIndex:0];
  CHECK([text isEqual:@"Gr\u00FC\u00DFeabc"]);
  NSString* copy = [[text copy] autorelease];
  [text setString:@""];
  CHECK([copy isEqual:@"Gr\u00FC\u00DFeabc"]);

  CHECK([(NSData*)made.data isEqual:[NSData dataWithBytes:"\1\2\3" length:3]]);
  CHECK([(NSNumber*)made.integer intValue] == 42);
  CHECK([(NSNumber*)made.integer isEqual:[NSNumber numberWithInt:42]]);
  CHECK([[NSNumber numberWithInt:42] isEqual:(NSNumber*)made.integer]);
  CHECK([(NSNumber*)made.real doubleValue] == 0.5);
  CHECK([[(NSNumber*)made.real description] isEqual:@"0.5"]);
  CHECK([(NSNumber*)made.yes boolValue]);
  CHECK([(NSDate*)made.date timeIntervalSinceReferenceDate] == 1000);
  CHECK([(NSDate*)made.date isEqualToDate:[NSDate dateWithTimeIntervalSinceReferenceDate:1000]]);

  NSArray* array = (NSArray*)made.array;
  CHECK([array count] == 2 && [[array objectAtIndex:0] isEqual:string]);
  CHECK([array containsObject:[NSNumber numberWithInt:42]]);
  CHECK([array isEqual:[NSArray arrayWithObjects:string, [NSNumber numberWithInt:42], nil]]);
  bool raised = false;
  @try {
    [array objectAtIndex:2];
  } @catch (NSException* exception) {
    raised = [[exception name] isEqual:NSRangeException];
  }
  CHECK(raised);
  NSUInteger visited = 0;
  for (id object in array) visited += object != nil;
  CHECK(visited == 2);

  NSDictionary* dictionary = (NSDictionary*)made.dictionary;
  CHECK([[dictionary objectForKey:@"Gr\u00FC\u00DFe"] intValue] == 42);
  CHECK([[dictionary allKeys] count] == 1);
  NSMutableDictionary* changed = (NSMutableDictionary*)made.changed;
  [changed setObject:@"value" forKey:@"key"];
  [changed setObject:string forKey:string];
  CHECK([changed count] == 2);
  CHECK(CFDictionaryGetValue(made.changed, made.string) == made.string);
  [changed removeObjectForKey:@"key"];
  CHECK(CFDictionaryGetCount(made.changed) == 1);

  NSURL* url = (NSURL*)made.url;
  CHECK([[url path] isEqual:@"/tmp/a b"]);
  CHECK([url isFileURL] && [url isKindOfClass:[NSURL class]]);
  CHECK([[url absoluteString] hasSuffix:@"/tmp/a%20b"]);
  CHECK([[[url URLByAppendingPathComponent:@"c"] path] isEqual:@"/tmp/a b/c"]);
  CHECK([[NSString stringWithFormat:@"%@", url] length] > 0);
  NSError* error = (NSError*)made.error;
  CHECK([error code] == 3840 && [[error domain] isEqual:NSCocoaErrorDomain]);
  CHECK([[[error userInfo] objectForKey:@"NSLocalizedDescription"] hasPrefix:@"there is nothing"]);
}

void use_with_core_foundation(BridgeCheck check, void* context) {
  CFStringRef string = (CFStringRef) @"Gr\u00FC\u00DFe";
  char bytes[16];
  CHECK(CFGetTypeID(string) == CFStringGetTypeID());
  CHECK(CFStringGetCString(string, bytes, sizeof bytes, kCFStringEncodingUTF8));
  CHECK(std::strcmp(bytes, "Gr\xC3\xBC\xC3\x9F\x65") == 0);
  CFStringRef own = CFStringCreateWithCString(nullptr, bytes, kCFStringEncodingUTF8);
  CHECK(CFEqual(string, own) && CFEqual(own, string) && CFHash(string) == CFHash(own));
  NSMutableString* held = [[NSMutableString alloc] initWithString:(NSString*)string];
  CFMutableDictionaryRef holder = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(holder, held, held);
  CHECK([held retainCount] == 3 && CFDictionaryGetValue(holder, own) == held);
  CFRelease(holder);
  CHECK([held retainCount] == 1);
  [held release];
  CFRelease(own);

  // What the compiler lays out, in this library and in those that are not loaded yet.
  static CFStringRef const literal = CFSTR("Gr\u00FC\u00DFe");
  NSString* as_text = (NSString*)literal;
  CHECK([as_text isEqual:@"Gr\u00FC\u00DFe"] && [@"Gr\u00FC\u00DFe" isEqual:as_text]);
  CHECK([as_text hash] == [@"Gr\u00FC\u00DFe" hash] && [as_text isKindOfClass:[NSString class]]);
  CHECK([[NSString stringWithFormat:@"<%@>", (NSString*)CFSTR("plain")] isEqual:@"<plain>"]);
  CHECK([[[as_text copy] autorelease] isEqual:(NSString*)string] && CFEqual(literal, string));
  NSMutableDictionary* named = [NSMutableDictionary dictionary];
  [named setObject:@"value" forKey:as_text];
  CHECK([[named objectForKey:@"Gr\u00FC\u00DFe"] isEqual:@"value"]);

  CFMutableStringRef text = (CFMutableStringRef)[NSMutableString stringWithString:@"a"];
  CFStringAppend(text, string);
  CHECK([(NSString*)text isEqual:@"aGr\u00FC\u00DFe"]);

  CFDataRef data = (CFDataRef)[NSData dataWithBytes:"xyz" length:3];
  CHECK(CFDataGetLength(data) == 3 && CFDataGetBytePtr(data)[2] == 'z');

  CFNumberRef number = (CFNumberRef)[NSNumber numberWithInt:-7];
  SInt32 integer = 0;
  Float64 real = 0;
  CHECK(CFNumberGetValue(number, kCFNumberSInt32Type, &integer) && integer == -7);
  CHECK(CFNumberGetValue(number, kCFNumberFloat64Type, &real) && real == -7);
  number = (CFNumberRef)[NSNumber numberWithDouble:0.1];
  CHECK(CFNumberIsFloatType(number));
  CHECK(CFNumberGetValue(number, kCFNumberFloat64Type, &real) && real == 0.1);
  CFTypeRef yes = [NSNumber numberWithBool:YES];
  CHECK(CFGetTypeID(yes) == CFBooleanGetTypeID() && CFBooleanGetValue((CFBooleanRef)yes));
  CHECK(CFEqual(yes, kCFBooleanTrue));

  CFArrayRef array = (CFArrayRef)[NSArray arrayWithObjects:@"a", @"b", nil];
  CHECK(CFArrayGetCount(array) == 2);
  CHECK(CFEqual(CFArrayGetValueAtIndex(array, 1), CFSTR("b")));
  CFMutableArrayRef changed = (CFMutableArrayRef)[NSMutableArray array];
  CFArrayAppendValue(changed, CFSTR("x"));
  CFArrayInsertValueAtIndex(changed, 0, string);
  CHECK([(NSArray*)changed count] == 2 && [[(NSArray*)changed lastObject] isEqual:@"x"]);

  CFMutableDictionaryRef dictionary = (CFMutableDictionaryRef)[NSMutableDictionary dictionary];
  CFDictionarySetValue(dictionary, CFSTR("key"), string);
  CHECK([[(NSDictionary*)dictionary objectForKey:@"key"] isEqual:@"Gr\u00FC\u00DFe"]);
  CHECK(CFDictionaryGetValue(dictionary, CFSTR("key")) != nullptr);
  CFDataRef written =
      CFPropertyListCreateData(nullptr, dictionary, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  CHECK(written && CFDataGetLength(written) > 0);
  if (written) CFRelease(written);

  CFURLRef url = (CFURLRef)[NSURL fileURLWithPath:@"/tmp/a b"];
  UInt8 path[64];
  CHECK(CFURLGetFileSystemRepresentation(url, true, path, sizeof path));
  CHECK(std::strcmp(reinterpret_cast<char*>(path), "/tmp/a b") == 0);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) CFDictionaryRef
vesk_test_bridge(const BridgeObjects* made, BridgeCheck check, void* context) {
  NSMutableDictionary* kept = [[NSMutableDictionary alloc] init];
  @autoreleasepool {
    @try {
      use_as_foundation(*made, check, context);
      use_with_core_foundation(check, context);
    } @catch (NSException* exception) {
      check(false, [[exception description] UTF8String], context);
    }
    [kept setObject:(NSString*)made->string forKey:@"kept"];
    // Through a pool and back: its last reference may be the pool's.
    [[(NSString*)made->string retain] autorelease];
  }
  return (CFDictionaryRef)kept;
}
