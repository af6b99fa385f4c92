#import "windows/editor_view.hpp"

#include <AudioToolbox/AUCocoaUIView.h>
#include <AudioToolbox/AudioToolbox.h>
#include <Block.h>
#import <CoreAudioKit/CoreAudioKit.h>
#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>

#include "platform/ns_bridge.h"

namespace vesk::host {
namespace {

constexpr NSSize requested_cocoa_size = {800, 600};
constexpr NSSize fallback_extension_size = {600, 400};
constexpr NSTimeInterval controller_wait_seconds = 2.0;
constexpr NSTimeInterval run_loop_slice_seconds = 0.01;
constexpr UInt32 reference_size = 8;
constexpr UInt32 smallest_cocoa_ui_size = 2 * reference_size;

/// The unit's Cocoa UI description: a bundle location, then class names. Owns all of them.
class CocoaUI {
 public:
  explicit CocoaUI(AudioUnit unit) {
    UInt32 size = 0;
    if (AudioUnitGetPropertyInfo(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global, 0, &size,
                                 nullptr) != noErr ||
        size < smallest_cocoa_ui_size) {
      return;
    }
    // Zeroed: a unit that answers with less than it announced leaves nothing to be released twice.
    std::unique_ptr<CFTypeRef[], decltype(&std::free)> entries(
        static_cast<CFTypeRef*>(std::calloc(1, size)), &std::free);
    UInt32 read_size = size;
    if (!entries || AudioUnitGetProperty(unit, kAudioUnitProperty_CocoaUI, kAudioUnitScope_Global,
                                         0, entries.get(), &read_size) != noErr) {
      return;
    }
    entries_ = std::move(entries);
    count_ = std::min(read_size, size) / reference_size;
  }

  ~CocoaUI() {
    for (UInt32 entry = 0; entry < count_; ++entry)
      if (entries_[entry]) CFRelease(entries_[entry]);
  }

  CocoaUI(const CocoaUI&) = delete;
  CocoaUI& operator=(const CocoaUI&) = delete;

  CFURLRef bundle_location() const { return static_cast<CFURLRef>(entry(0)); }
  CFStringRef first_class_name() const { return static_cast<CFStringRef>(entry(1)); }

 private:
  CFTypeRef entry(UInt32 index) const { return index < count_ ? entries_[index] : nullptr; }

  std::unique_ptr<CFTypeRef[], decltype(&std::free)> entries_{nullptr, &std::free};
  UInt32 count_ = 0;
};

/// What the completion leaves for the wait. Shared by both, since either may be the last.
///
/// `claimed` lets the first call of the completion alone store a controller; `done`, stored with
/// release after it and read with acquire before it is taken, makes the hand-over race-free.
struct Delivery {
  std::atomic<bool> claimed{false};
  Strong<NSViewController> controller;
  std::atomic<bool> done{false};
};

void wait_for(const Delivery& delivery) {
  NSDate* deadline = [NSDate dateWithTimeIntervalSinceNow:controller_wait_seconds];
  while (!delivery.done.load(std::memory_order_acquire)) {
    if ([deadline timeIntervalSinceNow] <= 0) return;
    [[NSRunLoop currentRunLoop]
           runMode:NSDefaultRunLoopMode
        beforeDate:[NSDate dateWithTimeIntervalSinceNow:run_loop_slice_seconds]];
  }
}

bool is_empty(NSSize size) { return NSIsEmptyRect(NSMakeRect(0, 0, size.width, size.height)); }

}  // namespace

Strong<NSView> cocoa_view(ComponentInstanceRecord* unit) {
  const CocoaUI description(unit);
  if (!description.bundle_location() || !description.first_class_name()) return {};
  NSBundle* bundle = [NSBundle bundleWithURL:platform::ns_url(description.bundle_location())];
  Class factory_class = [bundle classNamed:platform::ns_string(description.first_class_name())];
  if (![factory_class conformsToProtocol:@protocol(AUCocoaUIBase)]) return {};
  const auto factory = Strong<NSObject>::adopt([[factory_class alloc] init]);
  return Strong<NSView>::retain(
      [(id<AUCocoaUIBase>)factory.get() uiViewForAudioUnit:unit withSize:requested_cocoa_size]);
}

Strong<NSViewController> extension_controller(ComponentInstanceRecord* unit) {
  const auto delivery = std::make_shared<Delivery>();
  void (^completion)(NSViewController*) = Block_copy(^(NSViewController* controller) {
    if (delivery->claimed.exchange(true, std::memory_order_relaxed)) return;
    delivery->controller = Strong<NSViewController>::retain(controller);
    delivery->done.store(true, std::memory_order_release);
  });
  const OSStatus status =
      AudioUnitSetProperty(unit, kAudioUnitProperty_RequestViewController, kAudioUnitScope_Global,
                           0, &completion, sizeof completion);
  if (status == noErr) wait_for(*delivery);
  Block_release(completion);
  if (status != noErr || !delivery->done.load(std::memory_order_acquire)) return {};
  return delivery->controller;
}

EditorView editor_view(ComponentInstanceRecord* unit) {
  EditorView editor;
  editor.view = cocoa_view(unit);
  if (editor.view) return editor;

  editor.controller = extension_controller(unit);
  editor.view = Strong<NSView>::retain([editor.controller.get() view]);
  if (editor.view && NSIsEmptyRect([editor.view.get() frame])) {
    const NSSize preferred = [editor.controller.get() preferredContentSize];
    [editor.view.get() setFrameSize:is_empty(preferred) ? fallback_extension_size : preferred];
  }
  if (!editor.view) editor.view = panel_view(unit).view;
  return editor;
}

EditorView panel_view(ComponentInstanceRecord* unit) {
  EditorView panel;
  panel.view = Strong<NSView>::adopt([[AUGenericView alloc]
      initWithAudioUnit:unit
           displayFlags:AUViewTitleDisplayFlag | AUViewPropertiesDisplayFlag |
                        AUViewParametersDisplayFlag]);
  return panel;
}

}  // namespace vesk::host
