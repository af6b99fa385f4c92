#pragma once

#include <AudioToolbox/AUCocoaUIView.h>
