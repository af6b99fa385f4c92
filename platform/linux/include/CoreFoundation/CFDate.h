#pragma once

/* Points in time: seconds from the first instant of 2001, UTC. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

/// Now, by the wall clock.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

/* As an object, for property lists. */
CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef);

CF_EXTERN_C_END
