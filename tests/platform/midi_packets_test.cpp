#include <CoreMIDI/MIDIServices.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<Byte>;

struct Event {
  MIDITimeStamp time;
  Bytes data;
};

/// The list's packets as text: the time, then the bytes. They may begin at odd addresses.
__attribute__((no_sanitize("alignment"))) std::string text_of(const MIDIPacketList& list) {
  std::string text;
  const MIDIPacket* packet = &list.packet[0];
  for (UInt32 i = 0; i < list.numPackets; ++i, packet = MIDIPacketNext(packet)) {
    text += std::to_string(packet->timeStamp) + ":";
    for (UInt16 k = 0; k < packet->length; ++k) {
      char byte[4];
      std::snprintf(byte, sizeof byte, " %02x", packet->data[k]);
      text += byte;
    }
    text += "; ";
  }
  return text;
}

constexpr std::size_t head = offsetof(MIDIPacketList, packet);
constexpr std::size_t packet_head = offsetof(MIDIPacket, data);
constexpr Byte untouched = 0xEE;

TEST(MidiPackets, AreListedByTimeAndEndWhereTheListDoes) {
  const Bytes on = {0x90, 60, 100}, off = {0x80, 60, 0}, program = {0xC0, 5};
  const Bytes start = {0xF0, 1, 2}, rest = {3, 0xF7};
  constexpr std::size_t for_one = head + packet_head + 3, for_two = for_one + 2;  // joined
  const struct {
    const char* name;
    std::vector<Event> events;
    std::size_t size;
    std::string packets;
    std::size_t taken;
  } cases[] = {
      {"no event", {}, 64, "", 0},
      {"times of their own", {{1, on}, {2, off}}, 64, "1: 90 3c 64; 2: 80 3c 00; ", 2},
      {"one time", {{1, on}, {1, program}}, 64, "1: 90 3c 64 c0 05; ", 2},
      {"one time, again",
       {{1, on}, {2, off}, {1, on}},
       64,
       "1: 90 3c 64; 2: 80 3c 00; 1: 90 3c 64; ",
       3},
      {"system exclusive data stands alone",
       {{1, on}, {1, start}, {1, rest}, {1, off}},
       128,
       "1: 90 3c 64; 1: f0 01 02; 1: 03 f7; 1: 80 3c 00; ",
       4},
      {"an event of no bytes", {{1, {}}, {1, on}}, 64, "1:; 1: 90 3c 64; ", 2},
      {"just room for one", {{1, on}, {2, off}}, for_one, "1: 90 3c 64; ", 1},
      {"a byte too few for one", {{1, on}}, for_one - 1, "", 0},
      {"just room to join", {{1, on}, {1, program}}, for_two, "1: 90 3c 64 c0 05; ", 2},
      {"a byte too few to join", {{1, on}, {1, program}}, for_two - 1, "1: 90 3c 64; ", 1},
      {"no room for a packet's head", {{1, on}}, head + 4, "", 0},
      {"no room for the list's head", {{1, on}}, 2, "", 0},
      {"more than a list holds", {{1, Bytes(70000, 0x90)}}, 80000, "", 0},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    // A page behind the list shows what is written beyond it.
    alignas(MIDIPacketList) static Byte memory[80000 + 64];
    std::memset(memory, untouched, sizeof memory);
    auto* list = reinterpret_cast<MIDIPacketList*>(memory);
    MIDIPacket* packet = MIDIPacketListInit(list);
    std::size_t taken = 0;
    for (const Event& event : each.events) {
      MIDIPacket* const next = MIDIPacketListAdd(list, each.size, packet, event.time,
                                                 event.data.size(), event.data.data());
      if (!next) break;
      packet = next;
      ++taken;
    }
    EXPECT_EQ(taken, each.taken);
    EXPECT_EQ(text_of(*list), each.packets);
    for (std::size_t i = std::max(each.size, head); i < sizeof memory; ++i)
      ASSERT_EQ(memory[i], untouched) << "at " << i;
  }
  MIDIPacketList list;
  MIDIPacketListInit(&list);
  EXPECT_EQ(MIDIPacketListAdd(&list, sizeof list, nullptr, 0, on.size(), on.data()), nullptr)
      << "what a caller passes on that did not look";
}

TEST(MidiPackets, OfOneTimeFillAListOf64KiB) {
  std::vector<Byte> memory(100000);
  auto* list = reinterpret_cast<MIDIPacketList*>(memory.data());
  MIDIPacket* packet = MIDIPacketListInit(list);
  const Byte on[] = {0x90, 60, 100};
  std::size_t count = 0;
  while (MIDIPacket* const next = MIDIPacketListAdd(list, memory.size(), packet, 7, 3, on)) {
    packet = next;
    ++count;
  }
  EXPECT_EQ(list->numPackets, 1u);
  EXPECT_EQ(count, (65536 - head - packet_head) / 3);
  EXPECT_EQ(packet->length, count * 3) << "the length has not wrapped round";
}

TEST(MidiEvents, AreListedByTimeAtMost64WordsToAPacket) {
  constexpr std::size_t list_head = offsetof(MIDIEventList, packet);
  constexpr std::size_t words_head = offsetof(MIDIEventPacket, words);
  const struct {
    const char* name;
    std::vector<std::pair<MIDITimeStamp, std::size_t>> events;  // time, words
    std::size_t size;
    std::vector<std::size_t> packets;  // words
  } cases[] = {
      {"no event", {}, 64, {}},
      {"times of their own", {{1, 1}, {2, 2}}, 64, {1, 2}},
      {"one time", {{1, 1}, {1, 2}}, 64, {3}},
      {"a full packet", {{1, 63}, {1, 1}, {1, 1}}, 1024, {64, 1}},
      {"more than a packet holds", {{1, 65}}, 1024, {}},
      {"just room for one", {{1, 2}, {2, 1}}, list_head + words_head + 8, {2}},
      {"a word too few for one", {{1, 2}}, list_head + words_head + 4, {}},
      {"just room to join", {{1, 2}, {1, 1}}, list_head + words_head + 12, {3}},
      {"a word too few to join", {{1, 2}, {1, 1}}, list_head + words_head + 8, {2}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    UInt32 words[65];
    for (UInt32 i = 0; i < 65; ++i) words[i] = 0x20903C00 + i;
    std::vector<Byte> memory(2048);
    auto* list = reinterpret_cast<MIDIEventList*>(memory.data());
    MIDIEventPacket* packet = MIDIEventListInit(list, kMIDIProtocol_1_0);
    EXPECT_EQ(list->protocol, kMIDIProtocol_1_0);
    for (const auto& [time, count] : each.events) {
      MIDIEventPacket* const next = MIDIEventListAdd(list, each.size, packet, time, count, words);
      if (!next) break;
      packet = next;
      EXPECT_TRUE(packet->timeStamp == time);
      EXPECT_EQ(packet->words[packet->wordCount - 1], words[count - 1]);
    }
    std::vector<std::size_t> found;
    const MIDIEventPacket* here = &list->packet[0];
    for (UInt32 i = 0; i < list->numPackets; ++i, here = MIDIEventPacketNext(here))
      found.push_back(here->wordCount);
    EXPECT_EQ(found, each.packets);
  }
  MIDIEventList list;
  MIDIEventListInit(&list, kMIDIProtocol_2_0);
  const UInt32 word = 0;
  EXPECT_EQ(MIDIEventListAdd(&list, sizeof list, nullptr, 0, 1, &word), nullptr);
}

}  // namespace
