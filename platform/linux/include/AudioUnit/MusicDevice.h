#pragma once

#include <AudioToolbox/MusicDevice.h>
