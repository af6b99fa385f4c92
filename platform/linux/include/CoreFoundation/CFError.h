#pragma once

/* Errors as objects, as the reader and the writer of property lists hand them out. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef CFStringRef CFErrorDomain;

CF_EXPORT CFTypeID CFErrorGetTypeID(void);
CF_EXPORT CFErrorDomain CFErrorGetDomain(CFErrorRef);
CF_EXPORT CFIndex CFErrorGetCode(CFErrorRef);
CF_EXPORT CFDictionaryRef CFErrorCopyUserInfo(CFErrorRef);
/// One sentence for people, never NULL.
CF_EXPORT CFStringRef CFErrorCopyDescription(CFErrorRef);

CF_EXTERN_C_END
