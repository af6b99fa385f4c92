#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string_view>

#include "client/src/parent_record.hpp"
#include "host/block.hpp"

namespace vesk::client {

/// How many of the notices before `write` can be taken from copies of their slots: `read` of them
/// had been taken before, and `after` was the counter once the slots had been copied. No more than
/// the ring has, whatever the host made of its counter between the two looks.
constexpr std::uint32_t whole_notices(std::uint32_t read, std::uint32_t write,
                                      std::uint32_t after) noexcept {
  const std::uint32_t overwritten = std::min(after - write, host::saved_slots);
  return std::min(write - read, host::saved_slots - overwritten);
}

/// Parameter changes, editor requests and saved-state notices of one host.
///
/// Design: the block does not tell how far the host has read, but the host stores `open_mask` on
/// every turn of its main loop, changed or not. So after something was sent a mark that is no
/// mask (all ones) is stored there, and again once the host has replaced it; when that is
/// replaced too, a whole turn of the host lay behind what was sent. (One replacement is not
/// enough: the turn that made it may have looked into the rings before.) Nothing is sent while
/// something is under way, so that neither ring can be overrun however long the host is busy
/// opening an editor or saving, and changes that come meanwhile are merged.
///
/// What is read from the block may be anything at any time; it bounds no loop and no memory.
///
/// No thread-safety of its own, no waiting; `turn` is called again when it says.
class RequestRings {
 public:
  static constexpr unsigned batch_changes = 16;
  static constexpr unsigned batch_requests = 7;
  static constexpr std::int64_t batch_interval_ns = 25'000'000;
  /// Notices that wait for the parent; the oldest beyond them are lost.
  static constexpr std::size_t kept_notices = 256;

  /// `plugins` is the length of the chain. `record` has the host's bell; null: the host looks by
  /// itself.
  RequestRings(host::Block& block, unsigned plugins, const ParentRecord* record) noexcept
      : block_(block), plugins_(plugins), record_(record) {}

  void set_parameter(unsigned plugin, std::uint32_t id, float value);
  void open_editor(unsigned plugin, std::string_view title);
  void close_editors();

  /// Reads what the host has said and sends what may be sent. Returns the time for the next call,
  /// or nothing when only new requests make one necessary.
  std::optional<std::int64_t> turn(std::int64_t now);

  /// Whether the host has taken everything.
  bool is_settled() const noexcept { return !under_way_ && changes_.empty() && requests_.empty(); }

  /// The mask as last told; 0 before the host's main loop runs.
  std::uint32_t open_mask() const noexcept { return mask_; }
  /// Editors on screen or asked for, at most one for each plugin.
  unsigned editors() const noexcept;

  std::optional<unsigned> next_saved();
  unsigned lost_saved() const noexcept { return lost_saved_; }
  /// Notices seen so far, modulo 2^32.
  std::uint32_t saved_seen() const noexcept { return saved_read_; }

  void read_saved();

 private:
  void read_mask(std::int64_t now);
  /// Also rings, so it comes after whatever else was written.
  void mark(std::int64_t now);
  unsigned send_changes();
  unsigned send_requests();
  /// The bits of a mask that stand for plugins of the chain.
  std::uint32_t chain_bits() const noexcept { return plugins_ < 32 ? (1u << plugins_) - 1 : ~0u; }

  host::Block& block_;
  const unsigned plugins_;
  const ParentRecord* const record_;

  using Key = std::pair<std::uint32_t, std::uint32_t>;  // plugin, id
  std::map<Key, float> changes_;
  std::deque<Key> order_;
  std::deque<host::WindowRequest> requests_;
  std::int64_t last_changes_ns_ = -batch_interval_ns;

  std::uint32_t mask_ = 0;
  bool heard_ = false;      // the host has replaced the first mark
  bool under_way_ = false;  // something was sent and not yet known to be taken
  bool opening_ = false;    // an editor among it
  int turns_left_ = 0;
  std::uint32_t mark_ = ~0u;
  std::int64_t marked_ns_ = 0;

  std::deque<unsigned> saved_;
  std::uint32_t saved_read_ = 0;
  unsigned lost_saved_ = 0;
};

}  // namespace vesk::client
