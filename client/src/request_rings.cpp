#include "client/src/request_rings.hpp"

#include <algorithm>
#include <bit>
#include <cstring>

#include "host/atomics.hpp"

namespace vesk::client {

namespace {

constexpr std::int64_t millisecond_ns = 1'000'000;
/// The host's main loop turns about every 10 ms.
constexpr std::int64_t look_interval_ns = 4 * millisecond_ns;
constexpr std::int64_t look_for_notices = 100 * millisecond_ns;
/// After this long without a replacement another mark is tried: the first may be the true mask,
/// in a chain of 32 plugins with all editors open.
constexpr std::int64_t other_mark = 200 * millisecond_ns;

/// Bytes of `title` that fit, not cutting a UTF-8 character.
std::size_t fitting_bytes(std::string_view title) {
  if (title.size() <= host::title_bytes) return title.size();
  std::size_t end = host::title_bytes;
  while (end > 0 && (static_cast<unsigned char>(title[end]) & 0xc0) == 0x80) --end;
  return end;
}

}  // namespace

void RequestRings::set_parameter(unsigned plugin, std::uint32_t id, float value) {
  const auto [place, is_new] = changes_.insert_or_assign(Key{plugin, id}, value);
  if (is_new) order_.push_back(place->first);
}

void RequestRings::open_editor(unsigned plugin, std::string_view title) {
  host::WindowRequest request{};
  request.kind = host::WindowRequest::open;
  request.plugin = plugin;
  title = title.substr(0, title.find('\0'));
  title.copy(request.title, fitting_bytes(title));
  requests_.push_back(request);
}

void RequestRings::close_editors() {
  host::WindowRequest request{};
  request.kind = host::WindowRequest::close_all;
  requests_.push_back(request);
}

std::optional<std::int64_t> RequestRings::turn(std::int64_t now) {
  read_saved();
  read_mask(now);
  // Before its first turn the host takes the counters as they are for its starting points, and
  // what was written by then is skipped.
  if (heard_ && !under_way_) {
    const unsigned changes = now - last_changes_ns_ >= batch_interval_ns ? send_changes() : 0;
    if (changes > 0) last_changes_ns_ = now;
    if (changes + send_requests() > 0) {
      under_way_ = true;
      turns_left_ = 2;
      mark(now);
    }
  }
  if (!is_settled()) return now + look_interval_ns;
  if (mask_ != 0) return now + look_for_notices;
  return std::nullopt;
}

void RequestRings::read_mask(std::int64_t now) {
  const std::uint32_t mask = host::load_acquire(block_.open_mask);
  if (!heard_) {
    if (mask == ~0u) return;
    heard_ = true;
    mask_ = mask & chain_bits();
    return;
  }
  if (!under_way_) {
    mask_ = mask & chain_bits();
    return;
  }
  if (mask == mark_) {
    if (now - marked_ns_ < other_mark) return;
    mark_ ^= 1;
    mark(now);
    return;
  }
  mask_ = mask & chain_bits();
  if (--turns_left_ > 0) {
    mark(now);
  } else {
    under_way_ = false;
    opening_ = false;
  }
}

void RequestRings::mark(std::int64_t now) {
  marked_ns_ = now;
  host::store_release(block_.open_mask, mark_);
  if (record_ != nullptr) record_->ring();
}

unsigned RequestRings::send_changes() {
  const unsigned count = static_cast<unsigned>(std::min<std::size_t>(order_.size(), batch_changes));
  if (count == 0) return 0;
  std::uint32_t write = host::load_relaxed(block_.param_write);
  for (unsigned i = 0; i < count; ++i) {
    const auto change = changes_.find(order_.front());
    block_.params[write % host::param_slots] = {change->first.first, change->first.second,
                                                change->second};
    ++write;
    changes_.erase(change);
    order_.pop_front();
  }
  // Release: the slots' contents must be visible before their counter.
  host::store_release(block_.param_write, write);
  return count;
}

unsigned RequestRings::send_requests() {
  const unsigned count =
      static_cast<unsigned>(std::min<std::size_t>(requests_.size(), batch_requests));
  if (count == 0) return 0;
  std::uint32_t write = host::load_relaxed(block_.window_write);
  for (unsigned i = 0; i < count; ++i) {
    opening_ |= requests_.front().kind == host::WindowRequest::open;
    block_.window_requests[write % host::window_slots] = requests_.front();
    ++write;
    requests_.pop_front();
  }
  host::store_release(block_.window_write, write);
  return count;
}

unsigned RequestRings::editors() const noexcept {
  const auto asked = std::count_if(requests_.begin(), requests_.end(), [](const auto& request) {
    return request.kind == host::WindowRequest::open;
  });
  const auto told = static_cast<unsigned>(std::popcount(mask_) + asked + (opening_ ? 1 : 0));
  return std::min(told, plugins_);
}

void RequestRings::read_saved() {
  const std::uint32_t write = host::load_acquire(block_.saved_write);
  if (write == saved_read_) return;
  std::uint32_t copies[host::saved_slots];
  for (unsigned i = 0; i < host::saved_slots; ++i) copies[i] = host::load_relaxed(block_.saved[i]);
  // What the host has written since overwrites the oldest slots, maybe before they were copied.
  const std::uint32_t whole =
      whole_notices(saved_read_, write, host::load_acquire(block_.saved_write));
  lost_saved_ += write - saved_read_ - whole;
  for (saved_read_ = write - whole; saved_read_ != write; ++saved_read_) {
    const std::uint32_t plugin = copies[saved_read_ % host::saved_slots];
    if (plugin < plugins_) saved_.push_back(plugin);
  }
  for (; saved_.size() > kept_notices; ++lost_saved_) saved_.pop_front();
}

std::optional<unsigned> RequestRings::next_saved() {
  if (saved_.empty()) return std::nullopt;
  const unsigned plugin = saved_.front();
  saved_.pop_front();
  return plugin;
}

}  // namespace vesk::client
