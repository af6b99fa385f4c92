// What the toolkit's other classes lack, and what they must not do inside a host.

#include "platform/linux/app_kit/class_additions.hpp"

#import <AppKit/AppKit.h>
#import <CoreAudioKit/AUViewController.h>
#include <objc/runtime.h>

#include <cstdint>
#include <initializer_list>
#include <map>
#include <mutex>

@interface NSViewController (VeskDealloc)
- (void)vesk_deallocWithSize;
@end

@interface NSObject (VeskConformance)
+ (BOOL)vesk_conformsToProtocol:(Protocol*)protocol;
@end

@implementation NSApplication (VeskActivationPolicy)

// A host never shows more than its windows, so every policy is kept by doing nothing.
- (BOOL)setActivationPolicy:(NSApplicationActivationPolicy)policy {
  return policy >= NSApplicationActivationPolicyRegular &&
         policy <= NSApplicationActivationPolicyProhibited;
}

- (NSApplicationActivationPolicy)activationPolicy {
  return NSApplicationActivationPolicyAccessory;
}

@end

namespace {

/// The sizes that somebody set, until their controllers end. A category has no room for them. A
/// unit may make its controller, and let go of it, on a thread of its own.
class PreferredSizes {
 public:
  NSSize of(const void* controller) const {
    const std::lock_guard lock(mutex_);
    const auto found = sizes_.find(controller);
    return found == sizes_.end() ? NSZeroSize : found->second;
  }
  void set(const void* controller, NSSize size) {
    const std::lock_guard lock(mutex_);
    sizes_[controller] = size;
  }
  void forget(const void* controller) {
    const std::lock_guard lock(mutex_);
    sizes_.erase(controller);
  }

 private:
  mutable std::mutex mutex_;
  std::map<const void*, NSSize> sizes_;
};

/// Never destroyed: such a thread may outlive what is destroyed at the process's end.
PreferredSizes& preferred_sizes() {
  static auto& sizes = *new PreferredSizes;
  return sizes;
}

}  // namespace

@implementation NSViewController (VeskPreferredContentSize)

+ (void)load {
  method_exchangeImplementations(class_getInstanceMethod(self, @selector(dealloc)),
                                 class_getInstanceMethod(self, @selector(vesk_deallocWithSize)));
}

- (NSSize)preferredContentSize {
  return preferred_sizes().of(self);
}

- (void)setPreferredContentSize:(NSSize)size {
  preferred_sizes().set(self, size);
}

/// Exchanged with `dealloc`: what looks like a call of itself is one of the original.
- (void)vesk_deallocWithSize {
  preferred_sizes().forget(self);
  [self vesk_deallocWithSize];
}

@end

@implementation AUViewController

- (void)beginRequestWithExtensionContext:(NSExtensionContext*)context {
}

@end

/// The compiler hands a protocol to the runtime only where a class in the same source adopts it.
/// Another one is no object yet, and every class denies that it conforms to it. Here it is made
/// one.
@implementation NSObject (VeskProtocols)

+ (void)load {
  method_exchangeImplementations(class_getClassMethod(self, @selector(conformsToProtocol:)),
                                 class_getClassMethod(self, @selector(vesk_conformsToProtocol:)));
}

/// Exchanged with `conformsToProtocol:`: what looks like a call of itself is one of the original.
+ (BOOL)vesk_conformsToProtocol:(Protocol*)protocol {
  // Not handed over yet: the compiler's version number stands where its class belongs.
  constexpr std::uintptr_t highest_version = 16;
  auto* first_word = reinterpret_cast<std::uintptr_t*>(protocol);
  if (protocol && *first_word <= highest_version)
    *first_word = reinterpret_cast<std::uintptr_t>(objc_getClass("Protocol"));
  return [self vesk_conformsToProtocol:protocol];
}

@end

/// Notifications between processes would start a daemon that outlives the host and holds on to its
/// standard error. A host has nobody to notify.
@implementation NSDistributedNotificationCenter (VeskInert)

- (void)addObserver:(id)observer
              selector:(SEL)selector
                  name:(NSString*)name
                object:(NSString*)object
    suspensionBehavior:(NSNotificationSuspensionBehavior)behavior {
}

- (void)postNotificationName:(NSString*)name
                      object:(NSString*)object
                    userInfo:(NSDictionary*)info
          deliverImmediately:(BOOL)immediately {
}

- (void)removeObserver:(id)observer name:(NSString*)name object:(NSString*)object {
}

- (void)setSuspended:(BOOL)suspended {
}

@end

namespace {

id do_nothing(id, SEL, ...) { return nil; }

/// Methods that are not there need no silence.
void silence(const char* class_name, std::initializer_list<const char*> methods) {
  Class the_class = objc_getClass(class_name);
  for (const char* name : methods) {
    const Method method =
        the_class ? class_getInstanceMethod(the_class, sel_getUid(name)) : nullptr;
    if (method) method_setImplementation(method, do_nothing);
  }
}

}  // namespace

namespace vesk::platform {

void keep_to_this_process() {
  // Offering services to other applications registers a port under the program's name, and looking
  // for theirs starts a program that searches the disk and prints.
  silence("GSServicesManager", {"loadServices", "rebuildServices", "registerAsServiceProvider"});
  silence("NSWorkspace", {"findApplications"});
  // Every selection in a text field goes to the pasteboard server, a program that is started for
  // it, waited for and never ended. Without one nothing is copied.
  const Method server = class_getClassMethod([NSPasteboard class], sel_getUid("_pbs"));
  if (server) method_setImplementation(server, do_nothing);
}

}  // namespace vesk::platform
