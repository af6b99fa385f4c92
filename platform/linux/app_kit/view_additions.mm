// Where GNUstep's views behave otherwise than those that plugins are written for.

#import <AppKit/AppKit.h>
#include <objc/runtime.h>

namespace {

/// The view that is being put somewhere for the first time, with its class's way of being taken
/// out.
struct {
  NSView* view = nil;
  Method removal = nullptr;
  IMP implementation = nullptr;
} fresh;

void end_sparing() {
  if (fresh.view) method_setImplementation(fresh.removal, fresh.implementation);
  fresh.view = nil;
}

id remove_unless_fresh(id view, SEL selector, ...) {
  if (view != fresh.view) return fresh.implementation(view, selector);
  end_sparing();
  return nil;
}

/// Before the toolkit puts a view somewhere it takes it out of where it is, also out of nowhere.
/// Many views end what they are when they are taken out: while one of these lives, the first
/// removal of a view that is nowhere does nothing.
class FirstPlace {
 public:
  explicit FirstPlace(NSView* view) {
    constexpr auto removal_of = [](Class kind) {
      return class_getInstanceMethod(kind, @selector(removeFromSuperview));
    };
    const Method removal = removal_of([view class]);
    // The toolkit's own does no harm.
    if (!view || [view superview] || fresh.view || removal == removal_of([NSView class])) return;
    fresh = {view, removal, method_setImplementation(removal, remove_unless_fresh)};
  }
  ~FirstPlace() { end_sparing(); }
  FirstPlace(const FirstPlace&) = delete;
  FirstPlace& operator=(const FirstPlace&) = delete;
};

}  // namespace

@interface NSView (VeskPlaces)
- (void)vesk_addSubview:(NSView*)view
             positioned:(NSWindowOrderingMode)place
             relativeTo:(NSView*)other;
- (void)vesk_replaceSubview:(NSView*)old with:(NSView*)view;
@end

// Each exchanged with the method that it is named after, so that the call of itself in it is one
// of the original.
@implementation NSView (VeskPlaces)

+ (void)load {
  method_exchangeImplementations(
      class_getInstanceMethod(self, @selector(addSubview:positioned:relativeTo:)),
      class_getInstanceMethod(self, @selector(vesk_addSubview:positioned:relativeTo:)));
  method_exchangeImplementations(
      class_getInstanceMethod(self, @selector(replaceSubview:with:)),
      class_getInstanceMethod(self, @selector(vesk_replaceSubview:with:)));
}

- (void)vesk_addSubview:(NSView*)view
             positioned:(NSWindowOrderingMode)place
             relativeTo:(NSView*)other {
  const FirstPlace first(view);
  [self vesk_addSubview:view positioned:place relativeTo:other];
}

- (void)vesk_replaceSubview:(NSView*)old with:(NSView*)view {
  const FirstPlace first(view);
  [self vesk_replaceSubview:old with:view];
}

@end

@implementation NSView (VeskBacking)

- (CALayer*)layer {
  return nil;
}

- (void)viewDidChangeBackingProperties {
}

@end
