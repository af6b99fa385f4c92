#pragma once

/* Instruments: MIDI and notes into an Audio Unit. Errors as for the calls of AUComponent.h. */

#include <AudioToolbox/AUComponent.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

struct MIDIEventList;

typedef AudioComponentInstance MusicDeviceComponent;
typedef UInt32 MusicDeviceInstrumentID;
typedef UInt32 MusicDeviceGroupID;
typedef UInt32 NoteInstanceID;

CA_VALUES(UInt32){kMusicNoteEvent_UseGroupInstrument = 0xFFFFFFFFu,
                  kMusicNoteEvent_Unused = 0xFFFFFFFFu};

/* Offsets become bit fields once kMusicDeviceProperty_DualSchedulingMode is 1. */
CA_VALUES(UInt32){kMusicDeviceSampleFrameMask_SampleOffset = 0xFFFFFF,
                  kMusicDeviceSampleFrameMask_IsScheduled = 0x01000000};

typedef struct MusicDeviceStdNoteParams {
  UInt32 argCount; /* 2 */
  Float32 mPitch;  /* MIDI note number, fractions allowed */
  Float32 mVelocity;
} MusicDeviceStdNoteParams;

typedef struct NoteParamsControlValue {
  AudioUnitParameterID mID;
  AudioUnitParameterValue mValue;
} NoteParamsControlValue;

/* `argCount` - 2 control values follow the velocity. */
typedef struct MusicDeviceNoteParams {
  UInt32 argCount;
  Float32 mPitch;
  Float32 mVelocity;
  NoteParamsControlValue mControls[1];
} MusicDeviceNoteParams;

/// Sends one MIDI message of up to three bytes, for the next render.
///
/// `inOffsetSampleFrame` is the frame of that render at which it takes effect, 0 from any thread
/// but the render thread. No running status; data bytes that a message lacks are 0.
OSStatus MusicDeviceMIDIEvent(MusicDeviceComponent inUnit, UInt32 inStatus, UInt32 inData1,
                              UInt32 inData2, UInt32 inOffsetSampleFrame) CA_REALTIME_API;

/// Sends a whole system exclusive message, 0xF0 and 0xF7 included.
OSStatus MusicDeviceSysEx(MusicDeviceComponent inUnit, const UInt8* inData,
                          UInt32 inLength) CA_REALTIME_API;

/// Starts a note and names it for MusicDeviceStopNote.
OSStatus MusicDeviceStartNote(MusicDeviceComponent inUnit, MusicDeviceInstrumentID inInstrument,
                              MusicDeviceGroupID inGroupID, NoteInstanceID* outNoteInstanceID,
                              UInt32 inOffsetSampleFrame,
                              const MusicDeviceNoteParams* inParams) CA_REALTIME_API;

OSStatus MusicDeviceStopNote(MusicDeviceComponent inUnit, MusicDeviceGroupID inGroupID,
                             NoteInstanceID inNoteInstanceID,
                             UInt32 inOffsetSampleFrame) CA_REALTIME_API;

enum {
  kMusicDeviceRange = 0x0100,
  kMusicDeviceMIDIEventSelect = 0x0101,
  kMusicDeviceSysExSelect = 0x0102,
  kMusicDevicePrepareInstrumentSelect = 0x0103,
  kMusicDeviceReleaseInstrumentSelect = 0x0104,
  kMusicDeviceStartNoteSelect = 0x0105,
  kMusicDeviceStopNoteSelect = 0x0106,
  kMusicDeviceMIDIEventListSelect = 0x0107
};

typedef OSStatus (*MusicDeviceMIDIEventProc)(void* self, UInt32 inStatus, UInt32 inData1,
                                             UInt32 inData2,
                                             UInt32 inOffsetSampleFrame) CA_REALTIME_API;
typedef OSStatus (*MusicDeviceSysExProc)(void* self, const UInt8* inData,
                                         UInt32 inLength) CA_REALTIME_API;
typedef OSStatus (*MusicDeviceMIDIEventListProc)(
    void* self, UInt32 inOffsetSampleFrame, const struct MIDIEventList* evtList) CA_REALTIME_API;
typedef OSStatus (*MusicDeviceStartNoteProc)(void* self, MusicDeviceInstrumentID inInstrument,
                                             MusicDeviceGroupID inGroupID,
                                             NoteInstanceID* outNoteInstanceID,
                                             UInt32 inOffsetSampleFrame,
                                             const MusicDeviceNoteParams* inParams) CA_REALTIME_API;
typedef OSStatus (*MusicDeviceStopNoteProc)(void* self, MusicDeviceGroupID inGroupID,
                                            NoteInstanceID inNoteInstanceID,
                                            UInt32 inOffsetSampleFrame) CA_REALTIME_API;
typedef OSStatus (*MusicDevicePrepareInstrumentProc)(void* self,
                                                     MusicDeviceInstrumentID inInstrument);
typedef OSStatus (*MusicDeviceReleaseInstrumentProc)(void* self,
                                                     MusicDeviceInstrumentID inInstrument);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
