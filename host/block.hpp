#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "host/atomics.hpp"

/// The shared-memory block: the one record through which a parent program and its host talk.
///
/// This header stands alone (with `atomics.hpp`) and is all that a parent written in C++ needs to
/// speak to a host. It is a wire format between two separately built programs: every offset below
/// is asserted. docs/protocol.md tells the protocols, docs/period.md draws one period.
///
/// Pairing, stated once: the words `state`, `quit`, `param_write`, `window_write`, `saved_write`,
/// `open_mask`, `render_request` and `render_done` are stored with release and loaded with
/// acquire. Everything else in the block is plain memory, ordered by the word that publishes it:
/// fill first, publish after. Each word has one writer, but for `quit`, which both sides only
/// ever set, and `open_mask`, where a parent may leave a mark and see by its replacement that the
/// host's main loop has turned.
namespace vesk::host {

/// "VESK", first letter most significant, stored as a native little-endian word.
inline constexpr std::uint32_t block_magic = 0x5645534B;
/// Bytes of the block, and of the mapping that each side makes of it.
inline constexpr std::size_t block_size = 68864;
// The capacities below are part of the format. What they are enough for is said with each.

/// Capacity of each audio buffer in frames; a larger period is clamped to it. 85 ms at 48 kHz.
inline constexpr std::uint32_t buffer_frames = 4096;
/// MIDI events that one period can carry. A MIDI cable brings one message in about a millisecond,
/// so this is more than it brings in the longest period at 48 kHz; a program that sends denser
/// events shortens the period.
inline constexpr std::uint32_t max_midi_events = 128;
/// Slots of the ring of parameter changes. The host empties it on each turn of its main loop, every
/// 10 ms while nothing holds that up; only a parent's last value counts, so one that sends many
/// changes merges them.
inline constexpr std::uint32_t param_slots = 32;
/// Slots of the ring of editor-window requests: a person asks for a few a second at most.
inline constexpr std::uint32_t window_slots = 8;
/// Slots of the ring of saved-state notices: so many editors may be saved between two looks of the
/// parent.
inline constexpr std::uint32_t saved_slots = 16;
/// Bytes of the error text, terminating NUL included.
inline constexpr std::size_t error_bytes = 256;
/// Bytes of a window title; one of exactly this length has no NUL.
inline constexpr std::size_t title_bytes = 128;

/// Values of `Block::state`. `starting` is the parent's initial value; a host stores one of the
/// others, once.
enum BlockState : std::uint32_t { starting = 0, ready = 1, failed = 2 };

/// One parameter change, in the parameter's own units, global scope.
struct ParamChange {
  std::uint32_t plugin;  ///< index in the chain, from 0; beyond it the change is skipped
  std::uint32_t id;      ///< Audio Unit parameter identifier
  float value;
};

/// One request to open or close editor windows.
struct WindowRequest {
  static constexpr std::uint32_t open = 1;
  static constexpr std::uint32_t close_all = 2;

  std::uint32_t kind;       ///< `open` or `close_all`; others are ignored
  std::uint32_t plugin;     ///< index in the chain, for `open`
  char title[title_bytes];  ///< UTF-8, to the first NUL or all of it, for `open`
};

/// One short MIDI message of a period, delivered to the first plugin of the chain.
struct MidiEvent {
  std::uint8_t status;  ///< status byte, channel included
  std::uint8_t data1;
  std::uint8_t data2;
  std::uint8_t reserved;
  std::uint32_t offset;  ///< frame within the period; clamped to its last frame
};

struct Block {
  // Written by the parent before it starts the host.
  std::uint32_t magic;

  // Start-up: the host's main thread writes these and then stores `state`. The four totals are
  // sums over the chain that the host adds to what it finds, so the parent starts them at 0.
  std::uint32_t state;
  char error[error_bytes];  ///< valid once `state` is `failed`
  double instantiate_ms_total;
  double initialize_ms_total;
  double restore_ms_total;
  double latency_seconds_total;

  /// Non-zero asks both threads of the host to finish. The parent's to set; the host sets it
  /// itself when the parent has died.
  std::uint32_t quit;

  // Parameter changes, parent to the host's main thread: entry i of the stream stands in slot
  // i mod `param_slots`, and `param_write` counts the entries written.
  std::uint32_t param_write;
  ParamChange params[param_slots];

  // Editor requests, parent to the host's main thread, in the same way.
  std::uint32_t window_write;
  WindowRequest window_requests[window_slots];

  // Saved-state notices, the host's main thread to the parent: each entry is the index of a
  // plugin whose preset file was rewritten.
  std::uint32_t saved_write;
  std::uint32_t saved[saved_slots];

  /// Bit i is set while the editor of plugin i (below 32) is on screen. Stored on every turn of
  /// the host's main loop.
  std::uint32_t open_mask;

  std::uint8_t reserved_a[68];

  /// The parent's period counter; a change asks for one period. The render thread sleeps here.
  std::uint32_t render_request;

  // The two words of the render handshake keep cache lines of their own, away from each other
  // and from the period's description.
  std::uint8_t reserved_b[124];

  /// The `render_request` served last. The parent sleeps here.
  std::uint32_t render_done;

  std::uint8_t reserved_c[124];

  // The period: the parent's until it stores `render_request`, the render thread's until that
  // stores `render_done`.
  std::uint32_t frames;  ///< at most the MAX_FRAMES of the command line
  std::uint32_t reserved_d;
  double sample_time;  ///< position of the first frame on the parent's timeline, in frames
  std::uint32_t midi_count;
  MidiEvent midi[max_midi_events];  ///< in delivery order
  std::uint8_t reserved_e[108];
  float input_left[buffer_frames];  ///< read when the chain starts with an effect
  float input_right[buffer_frames];
  float output_left[buffer_frames];
  float output_right[buffer_frames];
};

static_assert(std::is_standard_layout_v<Block> && std::is_trivially_copyable_v<Block>);
static_assert(sizeof(ParamChange) == 12);
static_assert(sizeof(WindowRequest) == 136 && offsetof(WindowRequest, title) == 8);
static_assert(sizeof(MidiEvent) == 8 && offsetof(MidiEvent, offset) == 4);

static_assert(offsetof(Block, magic) == 0);
static_assert(offsetof(Block, state) == 4);
static_assert(offsetof(Block, error) == 8);
static_assert(offsetof(Block, instantiate_ms_total) == 264);
static_assert(offsetof(Block, initialize_ms_total) == 272);
static_assert(offsetof(Block, restore_ms_total) == 280);
static_assert(offsetof(Block, latency_seconds_total) == 288);
static_assert(offsetof(Block, quit) == 296);
static_assert(offsetof(Block, param_write) == 300);
static_assert(offsetof(Block, params) == 304);
static_assert(offsetof(Block, window_write) == 688);
static_assert(offsetof(Block, window_requests) == 692);
static_assert(offsetof(Block, saved_write) == 1780);
static_assert(offsetof(Block, saved) == 1784);
static_assert(offsetof(Block, open_mask) == 1848);
static_assert(offsetof(Block, render_request) == 1920);
static_assert(offsetof(Block, render_done) == 2048);
static_assert(offsetof(Block, frames) == 2176);
static_assert(offsetof(Block, sample_time) == 2184);
static_assert(offsetof(Block, midi_count) == 2192);
static_assert(offsetof(Block, midi) == 2196);
static_assert(offsetof(Block, input_left) == 3328);
static_assert(offsetof(Block, input_right) == 19712);
static_assert(offsetof(Block, output_left) == 36096);
static_assert(offsetof(Block, output_right) == 52480);
static_assert(sizeof(Block) == block_size);

}  // namespace vesk::host
