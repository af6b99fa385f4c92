#pragma once

/* MIDI packets as Audio Units exchange them. No devices, no endpoints. */

#include <MacTypes.h>
#include <os/base.h>

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

/* Lists are built in the caller's memory: Init, then Add for each event in the order of time, each
 * with the packet that the call before returned. Any thread; real-time safe. */

/// Makes the list empty and returns where its first packet will be.
OS_EXPORT MIDIPacket* MIDIPacketListInit(MIDIPacketList* pktlist) OS_REALTIME_API;

/// Adds `nData` bytes, a whole message without running status or a part of a system exclusive one,
/// to a list of at most `listSize` bytes, its head included (65536 at most count).
///
/// What has the time of `curPacket` goes into the same packet; system exclusive data has packets of
/// its own. Returns the packet for the next call, or NULL where the event does not fit or
/// `curPacket` is NULL; the list is then as it was.
OS_EXPORT MIDIPacket* MIDIPacketListAdd(MIDIPacketList* pktlist, ByteCount listSize,
                                        MIDIPacket* curPacket, MIDITimeStamp time, ByteCount nData,
                                        const Byte* data) OS_REALTIME_API;

/// The packet behind `pkt`. Ask only for as many as the list has. It begins where `pkt` ends, at an
/// odd address too, but on Arm processors at the next multiple of four.
__attribute__((no_sanitize("alignment"))) static inline MIDIPacket* MIDIPacketNext(
    const MIDIPacket* pkt) {
#if TARGET_CPU_ARM || TARGET_CPU_ARM64
  return (MIDIPacket*)(((uintptr_t)&pkt->data[pkt->length] + 3) & ~(uintptr_t)3);
#else
  return (MIDIPacket*)(uintptr_t)&pkt->data[pkt->length];
#endif
}

/// The same for lists of Universal MIDI Packets: `wordCount` words, at most 64 to a packet.
OS_EXPORT MIDIEventPacket* MIDIEventListInit(MIDIEventList* evtlist,
                                             MIDIProtocolID protocol) OS_REALTIME_API;
OS_EXPORT MIDIEventPacket* MIDIEventListAdd(MIDIEventList* evtlist, ByteCount listSize,
                                            MIDIEventPacket* curPacket, MIDITimeStamp time,
                                            ByteCount wordCount,
                                            const UInt32* words) OS_REALTIME_API;
static inline MIDIEventPacket* MIDIEventPacketNext(const MIDIEventPacket* pkt) {
  return (MIDIEventPacket*)(uintptr_t)&pkt->words[pkt->wordCount];
}

#ifdef __cplusplus
}
#endif
