// Where GNUstep's bundles know less than views rely on.

#import <AppKit/AppKit.h>
#include <dlfcn.h>
#include <objc/runtime.h>

#include <algorithm>
#include <filesystem>

namespace {

/// The folder that holds the code of `the_class`; empty where nobody knows.
std::filesystem::path folder_of(Class the_class) {
  Dl_info image;
  if (!the_class || dladdr(the_class, &image) == 0) return {};
  std::error_code error;
  return std::filesystem::canonical(image.dli_fname, error).parent_path();
}

bool is_within(const std::filesystem::path& folder, NSString* root_path) {
  std::error_code error;
  const auto root = std::filesystem::canonical([root_path fileSystemRepresentation], error);
  return !error && std::ranges::mismatch(root, folder).in1 == root.end();
}

}  // namespace

@interface NSBundle (VeskOpenedCode)
- (Class)vesk_classNamed:(NSString*)name;
+ (NSBundle*)vesk_bundleForClass:(Class)the_class;
@end

/// The original knows only what a bundle's own loading brings. Most Audio Units with views have
/// them in their own binary, which the loader of components has opened before.
///
/// Each is exchanged with the method that it is named after, so that the call of itself in it is
/// one of the original.
@implementation NSBundle (VeskOpenedCode)

+ (void)load {
  method_exchangeImplementations(class_getInstanceMethod(self, @selector(classNamed:)),
                                 class_getInstanceMethod(self, @selector(vesk_classNamed:)));
  method_exchangeImplementations(class_getClassMethod(self, @selector(bundleForClass:)),
                                 class_getClassMethod(self, @selector(vesk_bundleForClass:)));
}

- (Class)vesk_classNamed:(NSString*)name {
  if (Class found = [self vesk_classNamed:name]) return found;
  Class opened = NSClassFromString(name);
  return opened && is_within(folder_of(opened), [self bundlePath]) ? opened : Nil;
}

/// Where views look for their pictures. The original takes what it does not know for the program's.
+ (NSBundle*)vesk_bundleForClass:(Class)the_class {
  NSBundle* known = [self vesk_bundleForClass:the_class];
  if (known && known != [NSBundle mainBundle]) return known;
  const std::filesystem::path folder = folder_of(the_class);
  std::error_code error;
  if (!exists(folder / "Resources" / "Info-gnustep.plist", error)) return known;
  NSBundle* bundle = [NSBundle bundleWithPath:[NSString stringWithUTF8String:folder.c_str()]];
  return bundle ? bundle : known;
}

@end

@implementation NSBundle (VeskNibLoading)

- (BOOL)loadNibNamed:(NSString*)name owner:(id)owner topLevelObjects:(NSArray**)top_level_objects {
  NSNib* nib = [[[NSNib alloc] initWithNibNamed:name bundle:self] autorelease];
  return [nib instantiateWithOwner:owner topLevelObjects:top_level_objects];
}

@end
