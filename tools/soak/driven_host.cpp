#include "tools/soak/driven_host.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "tools/hosting/host_words.hpp"

namespace vesk::tools {
namespace {

using client::Answer;
using client::HostProcess;

std::string seconds_text(std::chrono::seconds time) {
  return std::to_string(time.count()) + " s";
}

/// Tells a plugin that refuses from one that takes its process down and one that never comes back.
bool end_of_load(Life& life, HostProcess& host, const std::string& error) {
  const client::Ending ending = host.ending();
  Outcome outcome = Outcome::refused;
  if (ending.killed)
    outcome = Outcome::hang;
  else if (ending.signal != 0 || error.starts_with("the host did not start"))
    outcome = Outcome::crash;
  return life.end(outcome, error);
}

}  // namespace

bool can_be_set(const ParameterDescription& parameter) {
  return parameter.is_writable && std::isfinite(parameter.minimum) &&
         std::isfinite(parameter.maximum) && parameter.minimum < parameter.maximum;
}

float value_within(const ParameterDescription& parameter, double at) {
  const double low = static_cast<double>(parameter.minimum);
  const double value = low + at * (static_cast<double>(parameter.maximum) - low);
  const bool has_steps = !parameter.value_names.empty() || parameter.unit == "on/off";
  return static_cast<float>(has_steps ? std::round(value) : value);
}

std::unique_ptr<DrivenHost> DrivenHost::start(Life& life, const Settings& settings) {
  client::Options options;
  options.chain = life.element.name;
  if (!settings.preset_path.empty()) options.chain += "@" + settings.preset_path;
  std::string error;
  const ChainElements chain{parse_element(options.chain, error).value_or(life.element)};
  options.sample_rate_hz = settings.rate;
  options.max_frames = settings.max_frames;
  options.period_frames = settings.period;
  options.mode = settings.mode;
  options.start_limit = options.stop_limit = options.hang_limit = life.settings.patience;
  options.environment = settings.environment;
  auto counts = settings.watches_calls ? CallCounts::create(life.folder) : nullptr;
  if (counts) std::ranges::copy(counts->environment(), std::back_inserter(options.environment));
  auto host = HostProcess::spawn(options, error);
  if (!host) {
    life.end(Outcome::refused, error);
    return nullptr;
  }
  if (!wait_until_ready(*host, chain, error)) {
    end_of_load(life, *host, error);
    return nullptr;
  }
  return std::unique_ptr<DrivenHost>(
      new DrivenHost(life, settings, chain, std::move(counts), std::move(host)));
}

DrivenHost::DrivenHost(Life& life, Settings settings, ChainElements chain,
                       std::unique_ptr<CallCounts> counts, std::unique_ptr<HostProcess> host)
    : life_(life),
      settings_(std::move(settings)),
      chain_(std::move(chain)),
      counts_(std::move(counts)),
      host_(std::move(host)),
      source_(settings_.rate, life.element.takes_midi(), life.element.is_effect()) {}

DrivenHost::~DrivenHost() {
  tell_calls();
}

bool DrivenHost::play(unsigned frames) {
  return render(frames, source_.play(*host_, frames));
}

bool DrivenHost::rest(unsigned frames) {
  return render(frames, source_.rest(*host_, frames));
}

bool DrivenHost::play_seconds(double seconds) {
  const double end = time_ + seconds * settings_.rate;
  while (time_ < end)
    if (!play(settings_.period)) return false;
  return true;
}

bool DrivenHost::render(unsigned frames, std::span<const client::MidiEvent> events) {
  if (!life_.is_in_time()) return false;
  const Answer answer = host_->render(frames, time_, events, life_.settings.patience);
  time_ += frames;
  ++periods_;
  if (counts_) counts_->look();
  if (answer != Answer::answered) return end_of_host();
  return listen(frames);
}

bool DrivenHost::listen(unsigned frames) {
  life_.has_played = true;
  for (const unsigned channel : {0u, 1u})
    for (const float sample : host_->output(channel).first(frames)) {
      if (!std::isfinite(sample))
        return life_.end(Outcome::not_finite,
                         "period " + std::to_string(periods_) + " of " + std::to_string(frames) +
                             " frames has samples that are infinite or no numbers");
      life_.peak = std::max(life_.peak, std::abs(sample));
    }
  return true;
}

/// What became of a host that has not answered.
bool DrivenHost::end_of_host() {
  const bool is_gone = host_->has_ended() || host_->diagnose() == client::Health::dead;
  if (!is_gone) host_->end_hung();
  const std::string words = by_name(host_->obituary(), chain_);
  if (is_gone) return life_.end(Outcome::crash, words);
  return life_.end(Outcome::hang,
                   "no answer for " + seconds_text(life_.settings.patience) + "; " + words);
}

bool DrivenHost::set_parameters(const std::function<float(const ParameterDescription&)>& value_of) {
  for (const ParameterDescription& parameter : life_.parameters)
    if (can_be_set(parameter)) host_->set_parameter(0, parameter.id, value_of(parameter));
  return settle();
}

bool DrivenHost::settle() {
  // Sixteen changes in 25 ms, however many there are.
  const auto limit = life_.settings.patience +
                     std::chrono::milliseconds(4) * static_cast<int>(life_.parameters.size());
  return host_->settle(std::chrono::duration_cast<std::chrono::milliseconds>(limit)) ||
         end_of_host();
}

/// Also of a life that has ended: while the host lives, who called can be told.
void DrivenHost::tell_calls() {
  static constexpr const char* kinds[soak_call_kinds][2] = {
      {"memory", "allocates or frees memory"},
      {"lock", "takes locks"},
      {"file", "reads, writes or prints"},
      {"wait", "waits or sleeps"},
  };
  if (!counts_ || !counts_->is_watched()) return;
  life_.result.was_watched = true;
  for (int i = 0; i < soak_call_kinds; ++i) {
    const auto kind = static_cast<SoakCallKind>(i);
    if (counts_->count(kind) == 0) continue;
    life_.remark(kinds[i][0],
                 std::string(kinds[i][1]) + " in " + std::to_string(counts_->periods(kind)) +
                     " of " + std::to_string(periods_) + " periods (" +
                     std::to_string(counts_->count(kind)) + " calls; " +
                     counts_->first_call(kind, host_->pid()) + ")",
                 true);
  }
  counts_.reset();
}

bool DrivenHost::close() {
  tell_calls();
  const client::Ending ending = host_->stop();
  if (ending.orderly()) return true;
  if (ending.killed)
    return life_.end(Outcome::hang, "not closed after " + seconds_text(life_.settings.patience));
  return life_.end(Outcome::crash, "while it was closed: " + by_name(host_->obituary(), chain_));
}

}  // namespace vesk::tools
