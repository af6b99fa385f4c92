#pragma once

/* Sources include it for the channel layouts. The calls that ask the system about formats are not
 * here: there are no codecs to ask about. */

#include <CoreAudioTypes/CoreAudioTypes.h>
