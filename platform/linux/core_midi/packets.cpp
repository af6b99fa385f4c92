#include <CoreMIDI/MIDIServices.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

constexpr ByteCount largest_list = 65536;
constexpr Byte system_exclusive = 0xF0;
constexpr ByteCount words_of_packet = sizeof(MIDIEventPacket::words) / sizeof(UInt32);

/// Whether `[start, start + size)` lies within a list of `list_size` bytes.
template <typename List>
bool fits(const List* list, ByteCount list_size, const void* start,
          ByteCount size) OS_REALTIME_API {
  const auto offset =
      static_cast<ByteCount>(static_cast<const char*>(start) - reinterpret_cast<const char*>(list));
  const ByteCount room = std::min(list_size, largest_list);
  return offset <= room && size <= room - offset;
}

/// Data bytes at the head continue a message of the packet before.
bool is_system_exclusive(const Byte* data) OS_REALTIME_API {
  return data[0] == system_exclusive || data[0] < 0x80;
}

}  // namespace

MIDIPacket* MIDIPacketListInit(MIDIPacketList* list) OS_REALTIME_API {
  list->numPackets = 0;
  return list->packet;
}

// Packets may begin at odd addresses (MIDIPacketNext).
__attribute__((no_sanitize("alignment"))) MIDIPacket* MIDIPacketListAdd(
    MIDIPacketList* list, ByteCount list_size, MIDIPacket* packet, MIDITimeStamp time,
    ByteCount count, const Byte* data) OS_REALTIME_API {
  if (!packet || count > largest_list) return nullptr;
  const bool is_first = list->numPackets == 0;
  const bool joins = !is_first && count > 0 && packet->length > 0 && packet->timeStamp == time &&
                     !is_system_exclusive(packet->data) && !is_system_exclusive(data);
  if (joins) {
    if (!fits(list, list_size, packet->data + packet->length, count)) return nullptr;
    std::memcpy(packet->data + packet->length, data, count);
    packet->length = static_cast<UInt16>(packet->length + count);
    return packet;
  }
  MIDIPacket* const next = is_first ? packet : MIDIPacketNext(packet);
  if (!fits(list, list_size, next, offsetof(MIDIPacket, data) + count)) return nullptr;
  next->timeStamp = time;
  next->length = static_cast<UInt16>(count);
  if (count > 0) std::memcpy(next->data, data, count);
  ++list->numPackets;
  return next;
}

MIDIEventPacket* MIDIEventListInit(MIDIEventList* list, MIDIProtocolID protocol) OS_REALTIME_API {
  list->protocol = protocol;
  list->numPackets = 0;
  return list->packet;
}

MIDIEventPacket* MIDIEventListAdd(MIDIEventList* list, ByteCount list_size, MIDIEventPacket* packet,
                                  MIDITimeStamp time, ByteCount count,
                                  const UInt32* words) OS_REALTIME_API {
  if (!packet || count > words_of_packet) return nullptr;
  const ByteCount bytes = count * sizeof(UInt32);
  const bool is_first = list->numPackets == 0;
  if (!is_first && packet->timeStamp == time && count <= words_of_packet - packet->wordCount) {
    if (!fits(list, list_size, packet->words + packet->wordCount, bytes)) return nullptr;
    std::memcpy(packet->words + packet->wordCount, words, bytes);
    packet->wordCount += static_cast<UInt32>(count);
    return packet;
  }
  MIDIEventPacket* const next = is_first ? packet : MIDIEventPacketNext(packet);
  if (!fits(list, list_size, next, offsetof(MIDIEventPacket, words) + bytes)) return nullptr;
  next->timeStamp = time;
  next->wordCount = static_cast<UInt32>(count);
  if (count > 0) std::memcpy(next->words, words, bytes);
  ++list->numPackets;
  return next;
}
