#pragma once

/* The Objective-C half of the test of the bridge: a module of its own, as a plugin's view is. */

#include <CoreFoundation/CoreFoundation.h>

/* Objects of CoreFoundation's that were made before there was any Objective-C. */
typedef struct BridgeObjects {
  CFStringRef string;             /* "Grüße" */
  CFMutableStringRef text;        /* "ab" */
  CFDataRef data;                 /* 1 2 3 */
  CFNumberRef integer;            /* 42 */
  CFNumberRef real;               /* 0.5 */
  CFBooleanRef yes;               /* the constant */
  CFDateRef date;                 /* 1000 s */
  CFArrayRef array;               /* string, integer */
  CFDictionaryRef dictionary;     /* string -> integer */
  CFMutableDictionaryRef changed; /* empty */
  CFURLRef url;                   /* /tmp/a b */
  CFErrorRef error;               /* of an empty property list */
} BridgeObjects;

typedef void (*BridgeCheck)(bool holds, const char* what, void* context);

/* Uses the objects as Foundation's and Foundation's with CoreFoundation's calls; tells `check` of
 * everything. Returns a dictionary of Foundation's, +1, holding `string` under "kept". */
typedef CFDictionaryRef (*BridgeChecks)(const BridgeObjects*, BridgeCheck check, void* context);
#define VESK_BRIDGE_CHECKS "vesk_test_bridge"
