#include "tools/live/session.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <thread>

#include "tools/live/jack_server.hpp"
#include "tools/program/interruption.hpp"

namespace vesk::tools {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto look_interval = 50ms;
constexpr auto status_interval = 500ms;

ChainKind kind_of(const ChainElements& chain) {
  return {chain.front().is_effect(), chain.front().takes_midi()};
}

/// Chains, the server that they play through, and a line that tells how they do.
class Session {
 public:
  Session(const LiveSettings& settings, KeptPresets& presets, const Say& say)
      : settings_(settings),
        presets_(presets),
        say_(say),
        chains_(settings.chains, settings.shows_editors, presets,
                [this](const std::string& line) { tell(line); }) {}

  bool run(std::string& error);

 private:
  bool begin(std::string& error);
  bool is_over();
  void follow_server();
  void show_status();
  void sum_up();
  void tell(const std::string& line);
  Pace pace() const { return {server_->sample_rate(), server_->period(), server_->priority()}; }

  const LiveSettings& settings_;
  KeptPresets& presets_;
  const Say& say_;
  std::unique_ptr<Accompaniment> accompaniment_;
  LiveChains chains_;
  std::unique_ptr<JackServer> server_;  // first to go: it plays the chains
  unsigned sample_rate_ = 0;
  bool has_status_ = false;
  Clock::time_point next_status_{};
  unsigned missed_ = 0, server_misses_ = 0, lost_events_ = 0;
  std::uint64_t cycles_ = 0;
};

void Session::tell(const std::string& line) {
  if (has_status_) std::fputs("\r\x1b[K", stderr);
  has_status_ = false;
  say_(line);
}

bool Session::begin(std::string& error) {
  std::vector<ChainKind> kinds(settings_.chains.size());
  std::ranges::transform(settings_.chains, kinds.begin(), kind_of);
  server_ = JackServer::join(settings_.name, kinds, settings_.tempo, error);
  if (!server_) return false;
  sample_rate_ = server_->sample_rate();
  if (settings_.song)
    accompaniment_ =
        std::make_unique<Accompaniment>(*settings_.song, settings_.has_tones, sample_rate_);
  if (!chains_.start(pace(), accompaniment_.get(), error)) return false;
  if (!server_->start(chains_.group(), error)) return false;
  tell("playing as \"" + server_->name() + "\" at " + std::to_string(sample_rate_) + " Hz, " +
       std::to_string(server_->period()) + " frames a period" +
       (server_->priority() == 0 ? ", without a real-time policy" : ""));
  if (settings_.connects && !server_->connect(error)) return false;
  chains_.open_editors();
  return true;
}

bool Session::run(std::string& error) {
  if (!begin(error)) return false;
  while (!is_over()) {
    std::this_thread::sleep_for(look_interval);
    follow_server();
    chains_.watch();
    show_status();
  }
  const bool has_server = !server_->has_ended();
  server_->stop();
  const bool is_well = chains_.stop(error);
  for (const std::string& line : presets_.summary()) tell(line);
  sum_up();
  if (!is_well || interruption() != 0) return is_well;
  if (!has_server)
    error = "the JACK server has ended";
  else if (chains_.are_silent())
    error = "no chain is left that plays";
  else if (!chains_.has_shown_editors())
    error = "no editor could be opened (is there a display?)";
  else
    return true;
  return false;
}

bool Session::is_over() {
  if (interruption() != 0 || server_->has_ended()) return true;
  return settings_.ends_with_editors && !chains_.has_editors();
}

/// Hosts are made for one sample rate.
void Session::follow_server() {
  if (server_->sample_rate() == sample_rate_) return;
  sample_rate_ = server_->sample_rate();
  tell("the server plays at " + std::to_string(sample_rate_) + " Hz now");
  if (accompaniment_) accompaniment_->set_sample_rate(sample_rate_);
  chains_.follow(pace());
}

void Session::show_status() {
  if (Clock::now() < next_status_) return;
  next_status_ = Clock::now() + status_interval;
  LiveGroup& group = chains_.group();
  const CycleFigures figures = server_->take_figures();
  cycles_ += figures.cycles;
  missed_ += group.take_missed();
  server_misses_ += figures.server_misses;
  lost_events_ += group.take_lost_events();
  if (isatty(STDERR_FILENO) == 0) return;
  double longest_us = 0;
  for (std::size_t i = 0; i < group.size(); ++i)
    longest_us = std::max(longest_us, static_cast<double>(group.host(i).answer_times().recent_us));
  std::fprintf(stderr,
               "\r\x1b[Kload %3.0f %% (most %3.0f %%)  answer %4.0f us  missed %u  xruns %u",
               100 * figures.mean, 100 * figures.longest, longest_us, missed_, server_misses_);
  std::fflush(stderr);
  has_status_ = true;
}

void Session::sum_up() {
  next_status_ = {};
  show_status();
  tell("missed " + std::to_string(missed_) + " of " + std::to_string(cycles_) +
       " periods; the server counted " + std::to_string(server_misses_) + " xruns");
  if (lost_events_ > 0)
    tell(std::to_string(lost_events_) + " MIDI events were too many for a period, and are lost");
}

}  // namespace

bool play_live(const LiveSettings& settings, KeptPresets& presets, const Say& say,
               std::string& error) {
  return Session(settings, presets, say).run(error);
}

}  // namespace vesk::tools
