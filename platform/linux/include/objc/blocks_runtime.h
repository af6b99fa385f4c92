#pragma once

/* What GNUstep's headers ask for when blocks are on; the runtime of this platform has no blocks of
 * its own. */

#include <Block.h>
