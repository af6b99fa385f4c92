#pragma once

/* Older units include all of it and use what <CoreServices/CoreServices.h> has. */

#include <CoreServices/CoreServices.h>
