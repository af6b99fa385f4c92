#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <vector>

#include "vesk/host_process.hpp"

namespace vesk::client {

/// Many hosts that render the same period side by side: the way to drive more than one.
///
/// All hosts are woken before any is waited for, and the last-woken is waited for first: when it
/// has answered the others mostly have too, so that the parent sleeps once instead of once a
/// host. (32 hosts of 20 us on two CPUs: 0.5 ms, against 1.2 ms one after the other, and 3 to 6 ms
/// on a busy machine.) Members spread over the CPUs that the process may use. The group does not
/// own its hosts.
class HostGroup {
 public:
  /// One member's share of the next period.
  struct Member {
    HostProcess* host;
    /// Events of the next period; the memory must stay until `request` returns. Emptied when
    /// they were sent.
    std::span<const MidiEvent> events;
    /// What became of this member's period in the last call.
    Answer answer;
  };

  /// Adds a ready host, which must outlive the group or be removed first; returns its position.
  /// Not real-time safe; not while another thread is in `render`, `request` or `collect`.
  std::size_t add(HostProcess& host);
  void remove(HostProcess& host);

  std::size_t size() const noexcept VESK_REALTIME { return members_.size(); }
  Member& operator[](std::size_t index) noexcept VESK_REALTIME { return members_[index]; }
  std::span<Member> members() noexcept VESK_REALTIME { return members_; }

  /// `HostProcess::set_transport` for every member. The driving thread; real-time safe.
  void set_transport(const Transport& transport) noexcept VESK_REALTIME;

  /// Sends one period to every member and waits until all have answered, `limit` in all.
  /// `answered` when all did; otherwise the first other answer in member order, each member's own
  /// in `answer`. One thread at a time; real-time safe.
  Answer render(unsigned frames, double sample_time,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

  /// The two halves of `render`, for a parent that works in between.
  Answer request(unsigned frames, double sample_time) noexcept VESK_REALTIME;
  Answer collect(std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

 private:
  std::vector<Member> members_;
};

}  // namespace vesk::client
