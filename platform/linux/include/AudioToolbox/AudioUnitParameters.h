#pragma once

/* Parameter ids that have a meaning beyond one vendor's unit. */

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Group scope of instruments: MIDI controllers by number, then the other channel messages. */
CA_VALUES(AudioUnitParameterID){kAUGroupParameterID_ModWheel = 1,
                                kAUGroupParameterID_Breath = 2,
                                kAUGroupParameterID_Foot = 4,
                                kAUGroupParameterID_DataEntry = 6,
                                kAUGroupParameterID_Volume = 7,
                                kAUGroupParameterID_Pan = 10,
                                kAUGroupParameterID_Expression = 11,
                                kAUGroupParameterID_Sustain = 64,
                                kAUGroupParameterID_Sostenuto = 66,
                                kAUGroupParameterID_AllSoundOff = 120,
                                kAUGroupParameterID_ResetAllControllers = 121,
                                kAUGroupParameterID_AllNotesOff = 123,
                                kAUGroupParameterID_KeyPressure = 160,
                                kAUGroupParameterID_ChannelPressure = 208,
                                kAUGroupParameterID_PitchBend = 224};

#ifdef __cplusplus
}
#endif
