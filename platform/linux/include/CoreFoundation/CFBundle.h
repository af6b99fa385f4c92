#pragma once

/* Bundles: folders NAME.component (or another suffix) with the shared object NAME and
 * Resources/, whose Info-gnustep.plist describes the bundle (NSExecutable or CFBundleExecutable
 * names the shared object, CFBundleIdentifier the bundle). */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

CF_EXPORT const CFStringRef kCFBundleInfoDictionaryVersionKey;
CF_EXPORT const CFStringRef kCFBundleExecutableKey;
CF_EXPORT const CFStringRef kCFBundleIdentifierKey;
CF_EXPORT const CFStringRef kCFBundleVersionKey;
CF_EXPORT const CFStringRef kCFBundleNameKey;

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

/// The folder that the running program lies in, Get rule.
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);
/// A bundle that this process has made with CFBundleCreate or whose shared object it has loaded,
/// Get rule; NULL when none has that identifier.
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier);
/// The bundle at a file URL; NULL when there is no such folder. A folder has one bundle object as
/// long as it is held.
CF_EXPORT CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef);

CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef);
CF_EXPORT CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef);
CF_EXPORT CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef, CFStringRef key);
CF_EXPORT UInt32 CFBundleGetVersionNumber(CFBundleRef);
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef);
/// The file NAME.TYPE (`type` may be NULL) in Resources or its folder `subfolder` (may be NULL);
/// NULL when it is not there.
CF_EXPORT CFURLRef CFBundleCopyResourceURL(CFBundleRef, CFStringRef name, CFStringRef type,
                                           CFStringRef subfolder);

/// Loads the shared object; it stays loaded for good, since plugin code does not stand unloading.
CF_EXPORT Boolean CFBundleLoadExecutable(CFBundleRef);
CF_EXPORT Boolean CFBundleIsExecutableLoaded(CFBundleRef);
/// The address of an exported symbol; loads the shared object. NULL when it has none.
CF_EXPORT void* CFBundleGetFunctionPointerForName(CFBundleRef, CFStringRef);
CF_EXPORT void* CFBundleGetDataPointerForName(CFBundleRef, CFStringRef);

CF_EXTERN_C_END
