#import "platform/ns_bridge.h"

#include <limits.h>

#include <vector>

namespace vesk::platform {

NSString* ns_string(CFStringRef string) {
  if (!string) return nil;
  std::vector<char> bytes(static_cast<std::size_t>(CFStringGetMaximumSizeForEncoding(
                              CFStringGetLength(string), kCFStringEncodingUTF8)) +
                          1);
  if (!CFStringGetCString(string, bytes.data(), static_cast<CFIndex>(bytes.size()),
                          kCFStringEncodingUTF8)) {
    return nil;
  }
  return [NSString stringWithUTF8String:bytes.data()];
}

NSURL* ns_url(CFURLRef url) {
  if (!url) return nil;
  UInt8 path[PATH_MAX];
  if (!CFURLGetFileSystemRepresentation(url, true, path, sizeof path)) return nil;
  NSString* text = [NSString stringWithUTF8String:reinterpret_cast<const char*>(path)];
  return text ? [NSURL fileURLWithPath:text] : nil;
}

}  // namespace vesk::platform
