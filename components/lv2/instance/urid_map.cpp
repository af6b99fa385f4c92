#include "components/lv2/instance/urid_map.hpp"

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/log/log.h>
#include <lv2/midi/midi.h>
#include <lv2/parameters/parameters.h>
#include <lv2/patch/patch.h>
#include <lv2/time/time.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>

namespace vesk::lv2 {
namespace {

// Design: a hash table that only grows. A bucket is a singly linked list with its newest node in
// front; a node is complete before the release that links it, and never changes or goes away, so
// readers need one acquire load a bucket and no more care. Nodes and texts come from an arena by
// one fetch_add. Of two threads that insert one URI at once, the loser of the exchange looks again
// and finds the winner's node; its own number and bytes are lost, which costs a few bytes a race.
// The arena lies in zero pages that cost nothing until they are used.
struct Node {
  const Node* next;
  std::uint32_t urid;
  char uri[1];
};

constexpr std::size_t buckets = 2048;
constexpr std::uint32_t maximum_urids = 16384;
constexpr std::size_t arena_bytes = 2u << 20;

constinit std::array<std::atomic<const Node*>, buckets> g_buckets{};
constinit std::array<std::atomic<const Node*>, maximum_urids> g_by_urid{};
constinit std::atomic<std::uint32_t> g_next_urid{1};
constinit std::atomic<std::size_t> g_arena_used{0};
alignas(Node) constinit std::array<std::byte, arena_bytes> g_arena{};

std::size_t bucket_of(const char* uri, std::size_t* length) noexcept VESK_REALTIME {
  std::uint32_t hash = 0x811c9dc5u;  // FNV-1a
  const char* at = uri;
  for (; *at != '\0'; ++at) hash = (hash ^ static_cast<unsigned char>(*at)) * 0x01000193u;
  *length = static_cast<std::size_t>(at - uri);
  return hash % buckets;
}

const Node* find(const Node* node, const char* uri) noexcept VESK_REALTIME {
  while (node != nullptr && std::strcmp(node->uri, uri) != 0) node = node->next;
  return node;
}

Node* allocate(std::size_t length) noexcept VESK_REALTIME {
  const std::size_t bytes =
      (offsetof(Node, uri) + length + 1 + alignof(Node) - 1) & ~(alignof(Node) - 1);
  if (bytes > arena_bytes) return nullptr;
  const std::size_t at = g_arena_used.fetch_add(bytes, std::memory_order_relaxed);
  if (at > arena_bytes - bytes) return nullptr;
  return reinterpret_cast<Node*>(g_arena.data() + at);
}

}  // namespace

std::uint32_t map_uri(const char* uri) noexcept VESK_REALTIME {
  if (uri == nullptr) return 0;
  std::size_t length = 0;
  std::atomic<const Node*>& bucket = g_buckets[bucket_of(uri, &length)];
  const Node* head = bucket.load(std::memory_order_acquire);
  if (const Node* known = find(head, uri)) return known->urid;
  Node* node = allocate(length);
  if (node == nullptr) return 0;
  const std::uint32_t urid = g_next_urid.fetch_add(1, std::memory_order_relaxed);
  if (urid >= maximum_urids) {
    g_next_urid.store(maximum_urids, std::memory_order_relaxed);
    return 0;
  }
  node->urid = urid;
  std::memcpy(node->uri, uri, length + 1);
  // Before the link: whoever learns the number must be able to turn it back.
  g_by_urid[urid].store(node, std::memory_order_release);
  do {
    if (const Node* known = find(head, uri)) return known->urid;
    node->next = head;
  } while (!bucket.compare_exchange_weak(head, node, std::memory_order_release,
                                         std::memory_order_acquire));
  return urid;
}

const char* unmap_urid(std::uint32_t urid) noexcept VESK_REALTIME {
  if (urid == 0 || urid >= maximum_urids) return nullptr;
  const Node* node = g_by_urid[urid].load(std::memory_order_acquire);
  return node != nullptr ? node->uri : nullptr;
}

const Urids& urids() {
  static const Urids all = {
      .atom_blank = map_uri(LV2_ATOM__Blank),
      .atom_bool = map_uri(LV2_ATOM__Bool),
      .atom_chunk = map_uri(LV2_ATOM__Chunk),
      .atom_double = map_uri(LV2_ATOM__Double),
      .atom_float = map_uri(LV2_ATOM__Float),
      .atom_int = map_uri(LV2_ATOM__Int),
      .atom_literal = map_uri(LV2_ATOM__Literal),
      .atom_long = map_uri(LV2_ATOM__Long),
      .atom_object = map_uri(LV2_ATOM__Object),
      .atom_path = map_uri(LV2_ATOM__Path),
      .atom_property = map_uri(LV2_ATOM__Property),
      .atom_resource = map_uri(LV2_ATOM__Resource),
      .atom_sequence = map_uri(LV2_ATOM__Sequence),
      .atom_string = map_uri(LV2_ATOM__String),
      .atom_tuple = map_uri(LV2_ATOM__Tuple),
      .atom_uri = map_uri(LV2_ATOM__URI),
      .atom_urid = map_uri(LV2_ATOM__URID),
      .atom_vector = map_uri(LV2_ATOM__Vector),
      .bufsize_min = map_uri(LV2_BUF_SIZE__minBlockLength),
      .bufsize_max = map_uri(LV2_BUF_SIZE__maxBlockLength),
      .bufsize_nominal = map_uri(LV2_BUF_SIZE__nominalBlockLength),
      .bufsize_sequence = map_uri(LV2_BUF_SIZE__sequenceSize),
      .log_trace = map_uri(LV2_LOG__Trace),
      .midi_event = map_uri(LV2_MIDI__MidiEvent),
      .sample_rate = map_uri(LV2_PARAMETERS__sampleRate),
      .patch_error = map_uri(LV2_PATCH__Error),
      .patch_put = map_uri(LV2_PATCH__Put),
      .patch_set = map_uri(LV2_PATCH__Set),
      .patch_body = map_uri(LV2_PATCH__body),
      .patch_property = map_uri(LV2_PATCH__property),
      .patch_value = map_uri(LV2_PATCH__value),
      .time_position = map_uri(LV2_TIME__Position),
      .time_frame = map_uri(LV2_TIME__frame),
      .time_speed = map_uri(LV2_TIME__speed),
      .time_bar = map_uri(LV2_TIME__bar),
      .time_bar_beat = map_uri(LV2_TIME__barBeat),
      .time_beat_unit = map_uri(LV2_TIME__beatUnit),
      .time_beats_per_bar = map_uri(LV2_TIME__beatsPerBar),
      .time_beats_per_minute = map_uri(LV2_TIME__beatsPerMinute),
  };
  return all;
}

}  // namespace vesk::lv2
