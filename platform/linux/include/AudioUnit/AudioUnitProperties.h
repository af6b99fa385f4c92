#pragma once

#include <AudioToolbox/AudioUnitProperties.h>
