#import "platform/ns_bridge.h"

namespace vesk::platform {

NSString* ns_string(CFStringRef string) { return (NSString*)string; }

NSURL* ns_url(CFURLRef url) { return (NSURL*)url; }

}  // namespace vesk::platform
