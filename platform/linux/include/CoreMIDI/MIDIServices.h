#pragma once

/* MIDI packets as Audio Units exchange them. No devices, no endpoints. */

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Inside a unit's MIDI output: a frame offset. */
typedef UInt64 MIDITimeStamp;

__extension__ enum MIDIProtocolID : SInt32;
typedef enum MIDIProtocolID MIDIProtocolID;
__extension__ enum MIDIProtocolID : SInt32 { kMIDIProtocol_1_0 = 1, kMIDIProtocol_2_0 = 2 };

__extension__ enum MIDICVStatus : unsigned int;
typedef enum MIDICVStatus MIDICVStatus;
__extension__ enum MIDICVStatus : unsigned int {
  kMIDICVStatusNoteOff = 0x8,
  kMIDICVStatusNoteOn = 0x9,
  kMIDICVStatusPolyPressure = 0xA,
  kMIDICVStatusControlChange = 0xB,
  kMIDICVStatusProgramChange = 0xC,
  kMIDICVStatusChannelPressure = 0xD,
  kMIDICVStatusPitchBend = 0xE
};

#pragma pack(push, 4)

/* `length` bytes of one or more messages; a list's packets follow each other at their length. */
typedef struct MIDIPacket {
  MIDITimeStamp timeStamp;
  UInt16 length;
  Byte data[256];
} MIDIPacket;

typedef struct MIDIPacketList {
  UInt32 numPackets;
  MIDIPacket packet[1];
} MIDIPacketList;

/* `wordCount` 32-bit words of Universal MIDI Packets. */
typedef struct MIDIEventPacket {
  MIDITimeStamp timeStamp;
  UInt32 wordCount;
  UInt32 words[64];
} MIDIEventPacket;

typedef struct MIDIEventList {
  MIDIProtocolID protocol;
  UInt32 numPackets;
  MIDIEventPacket packet[1];
} MIDIEventList;

#pragma pack(pop)

#ifdef __cplusplus
}
#endif
