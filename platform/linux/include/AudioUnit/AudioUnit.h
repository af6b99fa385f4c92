#pragma once

#include <AudioToolbox/AudioUnit.h>
