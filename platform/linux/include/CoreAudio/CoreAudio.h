#pragma once

/* The types; there are no devices to talk to. */

#include <CoreAudioTypes/CoreAudioTypes.h>
