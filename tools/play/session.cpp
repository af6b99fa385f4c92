#include "tools/play/session.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <thread>

#include "tools/hosting/host_words.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"

namespace vesk::tools {
namespace {

using namespace std::chrono_literals;

constexpr auto look_interval = 50ms;
constexpr auto status_interval = 500ms;
/// A chain that dies this often within a minute would die for ever.
constexpr std::size_t most_ends = 5;
constexpr auto end_window = 1min;
/// Longer than a cycle of any server.
constexpr auto cycle_limit = 2s;

ChainKind kind_of(const ChainElements& chain) {
  return {chain.front().is_effect(), chain.front().takes_midi()};
}

}  // namespace

Session::Session(const PlayArguments& arguments) : arguments_(arguments) {
  std::string ignored;
  if (arguments.shows_editors) state_folder_ = TemporaryFolder::make(ignored);
  for (std::size_t i = 0; i < arguments.chains.size(); ++i) {
    Chain& chain = chains_.emplace_back();
    chain.elements = arguments.chains[i];
    chain.label = chain_text(chain.elements);
    // What is changed in an editor is then there again after a crash.
    for (std::size_t plugin = 0; plugin < chain.elements.size() && state_folder_; ++plugin)
      if (ChainElement& element = chain.elements[plugin];
          element.preset_path.empty() && element.exs_path.empty())
        name_preset(element, state_folder_->path() + "/" + std::to_string(i + 1) + "-" +
                                 std::to_string(plugin + 1) + ".aupreset");
  }
}

Session::~Session() {
  server_.reset();
  group_.reset();
}

client::Options Session::options_for(const Chain& chain) const {
  client::Options options;
  options.chain = chain_text(chain.elements);
  options.sample_rate_hz = sample_rate_;
  options.period_frames = std::min(server_->period(), options.max_frames);
  options.driver_priority = server_->priority();
  return options;
}

bool Session::start_hosts(std::string& error) {
  sample_rate_ = server_->sample_rate();
  std::vector<std::unique_ptr<client::HostProcess>> hosts;
  for (const Chain& chain : chains_) {
    hosts.push_back(client::HostProcess::spawn(options_for(chain), error));
    if (!hosts.back()) return false;
  }
  for (std::size_t i = 0; i < hosts.size(); ++i)
    if (!wait_until_ready(*hosts[i], chains_[i].elements, error)) return false;
  group_ = std::make_unique<LiveGroup>(std::move(hosts));
  return true;
}

void Session::say(const std::string& line) {
  if (has_status_) std::fputs("\r\x1b[K", stderr);
  has_status_ = false;
  std::fprintf(stderr, "%s\n", line.c_str());
}

bool Session::run(std::string& error) {
  std::vector<ChainKind> kinds;
  for (const Chain& chain : chains_) kinds.push_back(kind_of(chain.elements));
  server_ = JackServer::join(arguments_.name, kinds, arguments_.tempo, error);
  if (!server_ || !start_hosts(error) || !server_->start(*group_, error)) return false;
  say("playing as \"" + server_->name() + "\" at " + std::to_string(sample_rate_) + " Hz, " +
      std::to_string(server_->period()) + " frames a period" +
      (server_->priority() == 0 ? ", without a real-time policy" : ""));
  if (arguments_.connects && !server_->connect(error)) return false;
  if (arguments_.shows_editors)
    for (std::size_t i = 0; i < chains_.size(); ++i) open_editors(i);
  while (interruption() == 0 && !server_->has_ended()) {
    std::this_thread::sleep_for(look_interval);
    follow_server();
    for (std::size_t i = 0; i < chains_.size(); ++i) watch(i);
    show_status();
  }
  sum_up();
  error = "the JACK server has ended";
  return interruption() != 0;
}

/// Hosts are made for one sample rate: when the server's changes, each gets a successor.
void Session::follow_server() {
  if (server_->sample_rate() == sample_rate_) return;
  sample_rate_ = server_->sample_rate();
  say("the server plays at " + std::to_string(sample_rate_) + " Hz now");
  for (std::size_t i = 0; i < chains_.size(); ++i) {
    // Saved by its editors' closing, so that its successor finds it.
    group_->host(i).close_editors();
    begin_again(i);
  }
}

void Session::watch(std::size_t index) {
  Chain& chain = chains_[index];
  if (chain.successor.valid()) return take_successor(index);
  if (chain.is_given_up || !group_->host(index).has_ended()) return;
  const auto now = Clock::now();
  std::erase_if(chain.ends, [&](Clock::time_point end) { return now - end > end_window; });
  chain.ends.push_back(now);
  const std::string obituary = by_name(group_->host(index).obituary(), chain.elements);
  chain.is_given_up = chain.ends.size() >= most_ends;
  say(chain.label + ": " + obituary +
      (chain.is_given_up ? "; it stays silent, since it does that again and again"
                         : "; it is started again"));
  if (!chain.is_given_up) begin_again(index);
}

/// On a thread of its own: others are watched meanwhile.
void Session::begin_again(std::size_t index) {
  Chain& chain = chains_[index];
  chain.successor = std::async(std::launch::async, [options = options_for(chain)] {
    Successor successor;
    successor.host = client::HostProcess::start(options, successor.failure);
    return successor;
  });
}

void Session::take_successor(std::size_t index) {
  Chain& chain = chains_[index];
  if (chain.successor.wait_for(0s) != std::future_status::ready) return;
  auto [host, failure] = chain.successor.get();
  chain.is_given_up = !host;
  if (!host) return say(chain.label + ": " + by_name(failure, chain.elements));
  group_->replace(index, std::move(host), cycle_limit);
  say(chain.label + ": plays again");
  if (arguments_.shows_editors) open_editors(index);
}

void Session::open_editors(std::size_t index) {
  const ChainElements& elements = chains_[index].elements;
  for (unsigned plugin = 0; plugin < elements.size(); ++plugin)
    group_->host(index).open_editor(plugin, elements[plugin].name);
}

void Session::show_status() {
  if (Clock::now() < next_status_) return;
  next_status_ = Clock::now() + status_interval;
  const CycleFigures figures = server_->take_figures();
  cycles_ += figures.cycles;
  missed_ += group_->take_missed();
  server_misses_ += figures.server_misses;
  lost_events_ += group_->take_lost_events();
  if (isatty(STDERR_FILENO) == 0) return;
  double longest_us = 0;
  for (std::size_t i = 0; i < group_->size(); ++i)
    longest_us =
        std::max(longest_us, static_cast<double>(group_->host(i).answer_times().recent_us));
  std::fprintf(stderr,
               "\r\x1b[Kload %3.0f %% (most %3.0f %%)  answer %4.0f us  missed %u  xruns %u",
               100 * figures.mean, 100 * figures.longest, longest_us, missed_, server_misses_);
  std::fflush(stderr);
  has_status_ = true;
}

void Session::sum_up() {
  next_status_ = {};
  show_status();
  say("missed " + std::to_string(missed_) + " of " + std::to_string(cycles_) +
      " periods; the server counted " + std::to_string(server_misses_) + " xruns");
  if (lost_events_ > 0)
    say(std::to_string(lost_events_) + " MIDI events were too many for a period, and are lost");
}

}  // namespace vesk::tools
