#pragma once

#include <AudioToolbox/AUComponent.h>
