#pragma once

/* What units take from here: CoreFoundation, the plain types, and two names of the time when they
 * were Component Manager components. */

#include <AssertMacros.h>
#include <CoreFoundation/CoreFoundation.h>
#include <MacTypes.h>

typedef SInt32 ComponentResult;
