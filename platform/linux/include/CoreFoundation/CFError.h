#pragma once

/* Errors as objects: a domain, a code and what is known about them. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFErrorDomain;

CF_EXPORT const CFErrorDomain kCFErrorDomainPOSIX;
CF_EXPORT const CFErrorDomain kCFErrorDomainOSStatus;
CF_EXPORT const CFErrorDomain kCFErrorDomainMach;
CF_EXPORT const CFErrorDomain kCFErrorDomainCocoa;

CF_EXPORT const CFStringRef kCFErrorLocalizedDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedFailureReasonKey;
CF_EXPORT const CFStringRef kCFErrorLocalizedRecoverySuggestionKey;
CF_EXPORT const CFStringRef kCFErrorDescriptionKey;
CF_EXPORT const CFStringRef kCFErrorUnderlyingErrorKey;
CF_EXPORT const CFStringRef kCFErrorURLKey;
CF_EXPORT const CFStringRef kCFErrorFilePathKey;

CF_EXPORT CFTypeID CFErrorGetTypeID(void);
/// `userInfo` may be NULL.
CF_EXPORT CFErrorRef CFErrorCreate(CFAllocatorRef, CFErrorDomain, CFIndex code,
                                   CFDictionaryRef userInfo);
CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef);
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef);
/// One sentence for people, never NULL.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef);
CF_EXPORT CFStringRef CFErrorCopyFailureReason(CFErrorRef);

CF_EXTERN_C_END
