#include "tools/live/live_chains.hpp"

#include <signal.h>

#include <algorithm>
#include <utility>

#include "tools/hosting/host_words.hpp"
#include "tools/program/command_line.hpp"

namespace vesk::tools {
namespace {

using namespace std::chrono_literals;

/// A chain that dies this often within a minute would die for ever.
constexpr std::size_t most_ends = 5;
constexpr auto end_window = 1min;
/// Longer than a cycle of any server.
constexpr auto cycle_limit = 2s;
/// Longer than a busy machine holds a host up.
constexpr auto hang_limit = 3s;

}  // namespace

LiveChains::LiveChains(std::vector<ChainElements> chains, bool shows_editors, KeptPresets& presets,
                       Say say)
    : shows_editors_(shows_editors), presets_(presets), say_(std::move(say)) {
  std::string error;
  if (shows_editors) state_folder_ = TemporaryFolder::make(error);
  if (!error.empty()) say_(error + "; what is changed is lost when a host dies");
  for (std::size_t i = 0; i < chains.size(); ++i) {
    ChainElements elements = chains[i];
    // What is changed in an editor is then there again after a crash.
    for (std::size_t plugin = 0; plugin < elements.size() && state_folder_; ++plugin)
      if (elements[plugin].preset_path.empty() && elements[plugin].exs_path.empty())
        name_preset(elements[plugin], state_folder_->path() + "/" + std::to_string(i + 1) + "-" +
                                          std::to_string(plugin + 1) + ".aupreset");
    chains_.push_back(
        {std::move(chains[i]), elements, EditorFailures(elements), {}, false, false, {}});
  }
}

client::Options LiveChains::options_for(const Chain& chain) const {
  client::Options options;
  options.chain = chain_text(chain.elements);
  options.sample_rate_hz = pace_.sample_rate;
  options.period_frames = std::min(pace_.period, options.max_frames);
  options.driver_priority = pace_.priority;
  options.hang_limit = hang_limit;
  return options;
}

bool LiveChains::start(const Pace& pace, Accompaniment* accompaniment, std::string& error) {
  pace_ = pace;
  std::vector<std::unique_ptr<client::HostProcess>> hosts;
  for (const Chain& chain : chains_) {
    hosts.push_back(client::HostProcess::spawn(options_for(chain), error));
    if (!hosts.back()) return false;
  }
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    if (!wait_until_ready(*hosts[i], chains_[i].elements, error)) return false;
    for (const std::string& remark : missing_files(*hosts[i])) say_(remark);
  }
  group_ = std::make_unique<LiveGroup>(std::move(hosts), accompaniment);
  return true;
}

void LiveChains::watch() {
  for (std::size_t i = 0; i < chains_.size(); ++i) watch(i);
}

void LiveChains::watch(std::size_t index) {
  Chain& chain = chains_[index];
  if (chain.successor.valid()) return take_successor(index);
  if (chain.is_given_up) return;
  tell_news(index);
  client::HostProcess& host = group_->host(index);
  if (!host.has_ended()) return end_if_hung(index);
  const auto now = Clock::now();
  std::erase_if(chain.ends, [&](Clock::time_point end) { return now - end > end_window; });
  chain.ends.push_back(now);
  const std::string obituary = by_name(host.obituary(), chain.elements);
  if (chain.ends.size() >= most_ends)
    return give_up(index, obituary + "; it stays silent, since it does that again and again");
  say_(chain_text(chain.shown) + ": " + obituary + "; it is started again");
  begin_again(index);
}

/// One that hangs would be silent for ever. It ends as a crash ends it, since `end_hung` is for
/// hosts that no thread drives.
void LiveChains::end_if_hung(std::size_t index) {
  client::HostProcess& host = group_->host(index);
  const client::Health health = host.diagnose();
  if (health != client::Health::hung_blocked && health != client::Health::hung_spinning) return;
  say_(chain_text(chains_[index].shown) + ": does not answer, and is ended");
  kill(host.pid(), SIGKILL);
}

void LiveChains::tell_news(std::size_t index) {
  Chain& chain = chains_[index];
  client::HostProcess& host = group_->host(index);
  for (const std::string& line : presets_.news(index, host)) say_(line);
  for (const std::string& line : chain.failures.new_lines(host)) say_(line);
  if (!chain.is_opening || !host.settle(0ms)) return;
  chain.is_opening = false;
  const std::vector<unsigned> without = plugins_without_editor(host, chain.elements);
  for (const unsigned plugin : without)
    say_(name_in_chain(chain.elements, plugin) + " has no editor to show");
  has_shown_editors_ = has_shown_editors_ || without.size() < chain.elements.size();
}

void LiveChains::give_up(std::size_t index, const std::string& reason) {
  Chain& chain = chains_[index];
  chain.is_given_up = true;
  chain.is_opening = false;
  say_(chain_text(chain.shown) + ": " + reason);
}

/// On a thread of its own: others are watched meanwhile.
void LiveChains::begin_again(std::size_t index) {
  Chain& chain = chains_[index];
  chain.is_opening = false;
  chain.successor = std::async(std::launch::async, [options = options_for(chain)] {
    Successor successor;
    successor.host = client::HostProcess::start(options, successor.failure);
    return successor;
  });
}

void LiveChains::take_successor(std::size_t index) {
  Chain& chain = chains_[index];
  if (chain.successor.wait_for(0s) != std::future_status::ready) return;
  auto [host, failure] = chain.successor.get();
  if (!host) return give_up(index, by_name(failure, chain.elements));
  group_->replace(index, std::move(host), cycle_limit);
  chain.failures = EditorFailures(chain.elements);
  say_(chain_text(chain.shown) + ": plays again");
  open_editors(index);
}

void LiveChains::follow(const Pace& pace) {
  pace_ = pace;
  group_->rest(cycle_limit);
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    // One that loads was asked for before; a preset file is one host's at a time.
    if (chains_[i].successor.valid()) chains_[i].successor.get();
    if (chains_[i].is_given_up) continue;
    client::HostProcess& host = group_->host(i);
    host.stop();
    tell_news(i);
    if (const std::string failure = save_failure(host); !failure.empty()) say_(failure);
    begin_again(i);
  }
  group_->go_on();
}

void LiveChains::open_editors() {
  for (std::size_t i = 0; i < chains_.size(); ++i) open_editors(i);
}

void LiveChains::open_editors(std::size_t index) {
  if (!shows_editors_) return;
  ask_for_editors(group_->host(index), chains_[index].shown);
  chains_[index].is_opening = true;
}

bool LiveChains::has_editors() {
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    if (chains_[i].is_given_up) continue;
    if (chains_[i].successor.valid() || chains_[i].is_opening) return true;
    // One that has ended shows them again when it has been started again.
    if (group_->host(i).open_mask() != 0 || group_->host(i).has_ended()) return true;
  }
  return false;
}

bool LiveChains::are_silent() const {
  return std::ranges::all_of(chains_, &Chain::is_given_up);
}

bool LiveChains::stop(std::string& error) {
  std::string first;
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    Chain& chain = chains_[i];
    if (chain.successor.valid()) chain.successor.get();
    client::HostProcess& host = group_->host(i);
    const bool was_dead = host.has_ended();
    host.stop();
    tell_news(i);
    std::string failure;
    if (!was_dead && !host.ending().orderly())
      failure = chain_text(chain.shown) + ": " + by_name(host.obituary(), chain.elements);
    if (failure.empty()) failure = save_failure(host);
    if (first.empty()) first = failure;
  }
  if (!first.empty()) error = first;
  return first.empty();
}

}  // namespace vesk::tools
