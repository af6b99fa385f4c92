#pragma once

#include <AudioToolbox/AudioUnitParameters.h>
