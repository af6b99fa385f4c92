#pragma once

/* Bundles: folders NAME.component (or another suffix) with the shared object NAME, and in Resources
 * beside other files an Info-gnustep.plist, whose CFBundleIdentifier names the bundle. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

/// The folder that the running program lies in, Get rule.
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);
/// A bundle whose shared object this process has loaded, Get rule: a unit or a view finds its own.
/// NULL when none has that identifier.
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier);

CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef);
/// The file NAME.TYPE (`type` may be NULL) in Resources or its folder `subfolder` (may be NULL);
/// NULL when it is not there.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef, CFStringRef name, CFStringRef type,
                                           CFStringRef subfolder);

CF_EXTERN_C_END
