#pragma once

#include <AudioToolbox/AudioComponent.h>
