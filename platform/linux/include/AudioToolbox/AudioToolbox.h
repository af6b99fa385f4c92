#pragma once

/* All of the Audio Unit interface that this platform has. */

#include <AudioToolbox/AUComponent.h>
#include <AudioToolbox/AudioComponent.h>
#include <AudioToolbox/AudioFormat.h>
#include <AudioToolbox/AudioOutputUnit.h>
#include <AudioToolbox/AudioUnitParameters.h>
#include <AudioToolbox/AudioUnitProperties.h>
#include <AudioToolbox/AudioUnitUtilities.h>
#include <AudioToolbox/MusicDevice.h>
#include <CoreAudioTypes/CoreAudioTypes.h>
#include <CoreMIDI/MIDIServices.h>
