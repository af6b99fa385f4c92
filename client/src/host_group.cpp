#include "vesk/host_group.hpp"

#include <algorithm>

#include "client/src/address_wait.hpp"
#include "client/src/host_impl.hpp"

namespace vesk::client {

using std::chrono::nanoseconds;

std::size_t HostGroup::add(HostProcess& host) {
  for (const Member& member : members_) member.host->impl_->driver.threads().expect_idle();
  members_.push_back({&host, {}, Answer::answered});
  host.impl_->spread();
  return members_.size() - 1;
}

void HostGroup::remove(HostProcess& host) {
  for (const Member& member : members_) member.host->impl_->driver.threads().expect_idle();
  std::erase_if(members_, [&](const Member& member) { return member.host == &host; });
}

void HostGroup::set_transport(const Transport& transport) noexcept VESK_REALTIME {
  for (Member& member : members_) member.host->set_transport(transport);
}

Answer HostGroup::request(unsigned frames, double sample_time) noexcept VESK_REALTIME {
  Answer first = Answer::answered;
  for (Member& member : members_) {
    member.answer = member.host->impl_->driver.request(frames, sample_time, member.events);
    if (member.answer == Answer::answered)
      member.events = {};
    else if (first == Answer::answered)
      first = member.answer;
  }
  return first;
}

Answer HostGroup::collect(nanoseconds limit) noexcept VESK_REALTIME {
  const std::int64_t start = now_ns();
  // The last-woken first: while we sleep for it the others answer without waking us.
  for (auto member = members_.rbegin(); member != members_.rend(); ++member) {
    if (member->answer != Answer::answered && member->answer != Answer::timed_out) continue;
    const nanoseconds left = limit - nanoseconds(now_ns() - start);
    member->answer = member->host->impl_->driver.collect_asleep(std::max(left, nanoseconds(0)));
  }
  const auto other = std::find_if(members_.begin(), members_.end(), [](const Member& member) {
    return member.answer != Answer::answered;
  });
  return other == members_.end() ? Answer::answered : other->answer;
}

Answer HostGroup::render(unsigned frames, double sample_time,
                         nanoseconds limit) noexcept VESK_REALTIME {
  request(frames, sample_time);
  return collect(limit);
}

}  // namespace vesk::client
