#pragma once

#include <AudioToolbox/AudioOutputUnit.h>
