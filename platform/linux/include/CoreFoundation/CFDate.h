#pragma once

/* Points in time: seconds from the first instant of 2001, UTC. */

#include <CoreFoundation/CFBase.h>

CF_EXTERN_C_BEGIN

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1970;
CF_EXPORT const CFTimeInterval kCFAbsoluteTimeIntervalSince1904;

/// Now, by the wall clock.
CF_EXPORT CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);

CF_EXPORT CFTypeID CFDateGetTypeID(void);
CF_EXPORT CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime);
CF_EXPORT CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef);
CF_EXPORT CFTimeInterval CFDateGetTimeIntervalSinceDate(CFDateRef, CFDateRef earlier);
CF_EXPORT CFComparisonResult CFDateCompare(CFDateRef, CFDateRef, void* context);

CF_EXTERN_C_END
