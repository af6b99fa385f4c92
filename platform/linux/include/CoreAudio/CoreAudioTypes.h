#pragma once

#include <CoreAudioTypes/CoreAudioBaseTypes.h>
