#include "vesk/vesk.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <string_view>

#include "vesk/host_group.hpp"
#include "vesk/plugin_names.hpp"

// The C interface: names, sizes and thread rules are vesk.h's, everything else the client's.

using namespace vesk::client;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

struct vesk_host {
  std::unique_ptr<HostProcess> process;
};

struct vesk_group {
  HostGroup hosts;
};

namespace {

static_assert(sizeof(vesk_midi_event) == sizeof(MidiEvent) &&
              offsetof(vesk_midi_event, offset) == offsetof(MidiEvent, offset));
static_assert(VESK_REFUSED == static_cast<int>(Answer::refused) &&
              VESK_DEAD == static_cast<int>(Health::dead) &&
              VESK_OFFLINE == static_cast<int>(Mode::offline));

/// The caller's struct in full length: what an older caller's does not have is 0. Null counts as
/// empty.
template <typename Struct>
Struct copied(const Struct* given) VESK_REALTIME {
  Struct whole{};
  if (given != nullptr)
    std::memcpy(static_cast<void*>(&whole), given, std::min(given->struct_size, sizeof whole));
  return whole;
}

/// Writes as much of `whole` as the caller's struct holds.
template <typename Struct>
void give(Struct whole, Struct* wanted) VESK_REALTIME {
  if (wanted == nullptr) return;
  whole.struct_size = wanted->struct_size;
  std::memcpy(static_cast<void*>(wanted), &whole, std::min(wanted->struct_size, sizeof whole));
}

std::size_t give_text(std::string_view text, char* buffer, std::size_t size) {
  if (buffer != nullptr && size > 0) buffer[text.copy(buffer, size - 1)] = '\0';
  return text.size();
}

std::size_t give_lines(const std::vector<std::string>& lines, char* buffer, std::size_t size) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return give_text(text, buffer, size);
}

std::vector<std::string> list_of(const char* const* entries) {
  std::vector<std::string> list;
  for (; entries != nullptr && *entries != nullptr; ++entries) list.emplace_back(*entries);
  return list;
}

NamedChain named_chain_of(const vesk_named_chain& given) {
  NamedChain chain;
  if (given.text != nullptr) chain.text = given.text;
  chain.settings = list_of(given.settings);
  if (given.list_program != nullptr) chain.list_program = given.list_program;
  if (given.limit_ms != 0) chain.limit = milliseconds(given.limit_ms);
  return chain;
}

Options options_of(const vesk_options& given) {
  Options options;
  if (given.chain != nullptr) options.chain = given.chain;
  if (given.sample_rate_hz != 0) options.sample_rate_hz = given.sample_rate_hz;
  if (given.max_frames != 0) options.max_frames = given.max_frames;
  options.period_frames = given.period_frames != 0
                              ? given.period_frames
                              : std::min(options.period_frames, options.max_frames);
  options.mode = static_cast<Mode>(given.mode);
  options.pinned = !given.unpinned;
  options.inherit_standard_error = given.inherit_standard_error;
  options.driver_priority = given.driver_priority;
  options.workgroup_port = given.workgroup_port;
  if (given.host_program != nullptr) options.host_program = given.host_program;
  options.environment = list_of(given.environment);
  options.start_limit = milliseconds(given.start_limit_ms);
  if (given.stop_limit_ms != 0) options.stop_limit = milliseconds(given.stop_limit_ms);
  options.hang_limit = milliseconds(given.hang_limit_ms);
  return options;
}

template <auto Begin>
vesk_host* begin_host(const vesk_options* given, char* error, std::size_t error_size) {
  std::string reason = "not enough memory";
  try {
    if (auto process = Begin(options_of(copied(given)), reason))
      return new vesk_host{std::move(process)};
  } catch (const std::exception&) {  // no memory: the reason stands
  }
  give_text(reason, error, error_size);
  return nullptr;
}

void give_ending(const Ending& ending, vesk_ending* wanted) {
  vesk_ending whole{};
  whole.known = ending.known;
  whole.killed = ending.killed;
  whole.asked = ending.asked;
  whole.orderly = ending.orderly();
  whole.status = ending.status;
  whole.signal = ending.signal;
  give(whole, wanted);
}

Transport transport_of(const vesk_transport* given) VESK_REALTIME {
  const vesk_transport whole = copied(given);
  return {whole.tempo,     whole.beat,    whole.frame,   whole.bar_start,  whole.beats_per_bar,
          whole.beat_unit, whole.playing, whole.looping, whole.loop_start, whole.loop_end};
}

std::span<const MidiEvent> events_of(const vesk_midi_event* events,
                                     std::size_t count) VESK_REALTIME {
  return {reinterpret_cast<const MidiEvent*>(events), events != nullptr ? count : 0};
}

vesk_answer answer_of(Answer answer) VESK_REALTIME {
  return static_cast<vesk_answer>(answer);
}

}  // namespace

const char* vesk_version(void) {
  return VESK_VERSION;
}

std::size_t vesk_specification_of(const vesk_named_chain* chain, char* text, std::size_t text_size,
                                  char* error, std::size_t error_size) {
  std::string reason = "not enough memory";
  try {
    if (const auto found = specification_of(named_chain_of(copied(chain)), reason))
      return give_text(*found, text, text_size);
  } catch (const std::exception&) {  // no memory: the reason stands
  }
  give_text(reason, error, error_size);
  return 0;
}

vesk_host* vesk_host_start(const vesk_options* options, char* error, std::size_t error_size) {
  return begin_host<&HostProcess::start>(options, error, error_size);
}

vesk_host* vesk_host_spawn(const vesk_options* options, char* error, std::size_t error_size) {
  return begin_host<&HostProcess::spawn>(options, error, error_size);
}

bool vesk_host_wait_ready(vesk_host* host, char* error, std::size_t error_size) {
  std::string reason;
  const bool is_ready = host->process->wait_ready(reason);
  if (!is_ready) give_text(reason, error, error_size);
  return is_ready;
}

void vesk_host_stop(vesk_host* host, vesk_ending* ending) {
  give_ending(host->process->stop(), ending);
}

void vesk_host_end_hung(vesk_host* host, vesk_ending* ending) {
  give_ending(host->process->end_hung(), ending);
}

void vesk_host_free(vesk_host* host) {
  delete host;
}

void vesk_host_set_parameter(vesk_host* host, std::uint32_t plugin, std::uint32_t id, float value) {
  host->process->set_parameter(plugin, id, value);
}

void vesk_host_open_editor(vesk_host* host, std::uint32_t plugin, const char* title) {
  host->process->open_editor(plugin, title != nullptr ? title : "");
}

void vesk_host_close_editors(vesk_host* host) {
  host->process->close_editors();
}

bool vesk_host_settle(vesk_host* host, std::uint32_t limit_ms) {
  return host->process->settle(milliseconds(limit_ms));
}

std::uint32_t vesk_host_open_mask(vesk_host* host) {
  return host->process->open_mask();
}

std::int32_t vesk_host_next_saved(vesk_host* host) {
  const auto plugin = host->process->next_saved_notice();
  return plugin ? static_cast<std::int32_t>(*plugin) : -1;
}

vesk_health vesk_host_diagnose(vesk_host* host) {
  return static_cast<vesk_health>(host->process->diagnose());
}

std::size_t vesk_host_obituary(vesk_host* host, char* text, std::size_t text_size) {
  return give_text(host->process->obituary(), text, text_size);
}

std::size_t vesk_host_last_lines(vesk_host* host, char* text, std::size_t text_size) {
  return give_lines(host->process->last_lines(), text, text_size);
}

std::size_t vesk_host_plugin_lines(vesk_host* host, char* text, std::size_t text_size) {
  return give_lines(host->process->plugin_lines(), text, text_size);
}

void vesk_host_get_ending(vesk_host* host, vesk_ending* ending) {
  give_ending(host->process->ending(), ending);
}

void vesk_host_get_figures(vesk_host* host, vesk_figures* figures) {
  const LoadTimes load = host->process->load_times();
  const CpuTime cpu = host->process->cpu_time();
  vesk_figures whole{};
  whole.pid = host->process->pid();
  whole.latency_seconds = host->process->latency_seconds();
  whole.instantiate_ms = load.instantiate_ms;
  whole.initialize_ms = load.initialize_ms;
  whole.restore_ms = load.restore_ms;
  whole.ready_ms = load.ready_ms;
  whole.listening_ms = load.listening_ms;
  whole.cpu_run_ns = cpu.run_ns;
  whole.cpu_wait_ns = cpu.wait_ns;
  give(whole, figures);
}

// Driving

float* vesk_host_input(vesk_host* host, std::uint32_t channel) VESK_REALTIME {
  return channel < 2 ? host->process->input(channel).data() : nullptr;
}

const float* vesk_host_output(const vesk_host* host, std::uint32_t channel) VESK_REALTIME {
  return channel < 2 ? host->process->output(channel).data() : nullptr;
}

void vesk_host_set_transport(vesk_host* host, const vesk_transport* transport) VESK_REALTIME {
  host->process->set_transport(transport_of(transport));
}

vesk_answer vesk_host_render(vesk_host* host, std::uint32_t frames, double sample_time,
                             const vesk_midi_event* events, std::size_t event_count,
                             std::int64_t limit_ns) VESK_REALTIME {
  return answer_of(host->process->render(frames, sample_time, events_of(events, event_count),
                                         nanoseconds(limit_ns)));
}

vesk_answer vesk_host_request(vesk_host* host, std::uint32_t frames, double sample_time,
                              const vesk_midi_event* events,
                              std::size_t event_count) VESK_REALTIME {
  return answer_of(host->process->request(frames, sample_time, events_of(events, event_count)));
}

vesk_answer vesk_host_collect(vesk_host* host, std::int64_t limit_ns) VESK_REALTIME {
  return answer_of(host->process->collect(nanoseconds(limit_ns)));
}

bool vesk_host_is_pending(const vesk_host* host) VESK_REALTIME {
  return host->process->is_pending();
}

bool vesk_host_has_ended(const vesk_host* host) VESK_REALTIME {
  return host->process->has_ended();
}

void vesk_host_get_answer_times(const vesk_host* host, vesk_answer_times* times) VESK_REALTIME {
  const AnswerTimes answers = host->process->answer_times();
  give({0, answers.periods, answers.last_us, answers.recent_us, answers.longest_us}, times);
}

// Groups

vesk_group* vesk_group_create(void) {
  return new (std::nothrow) vesk_group;
}

void vesk_group_free(vesk_group* group) {
  delete group;
}

bool vesk_group_add(vesk_group* group, vesk_host* host) {
  try {
    group->hosts.add(*host->process);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void vesk_group_remove(vesk_group* group, vesk_host* host) {
  group->hosts.remove(*host->process);
}

std::size_t vesk_group_size(const vesk_group* group) VESK_REALTIME {
  return group->hosts.size();
}

void vesk_group_set_events(vesk_group* group, std::size_t member, const vesk_midi_event* events,
                           std::size_t event_count) VESK_REALTIME {
  if (member < group->hosts.size()) group->hosts[member].events = events_of(events, event_count);
}

void vesk_group_set_transport(vesk_group* group, const vesk_transport* transport) VESK_REALTIME {
  group->hosts.set_transport(transport_of(transport));
}

vesk_answer vesk_group_render(vesk_group* group, std::uint32_t frames, double sample_time,
                              std::int64_t limit_ns) VESK_REALTIME {
  return answer_of(group->hosts.render(frames, sample_time, nanoseconds(limit_ns)));
}

vesk_answer vesk_group_request(vesk_group* group, std::uint32_t frames,
                               double sample_time) VESK_REALTIME {
  return answer_of(group->hosts.request(frames, sample_time));
}

vesk_answer vesk_group_collect(vesk_group* group, std::int64_t limit_ns) VESK_REALTIME {
  return answer_of(group->hosts.collect(nanoseconds(limit_ns)));
}

vesk_answer vesk_group_answer(const vesk_group* group, std::size_t member) VESK_REALTIME {
  if (member >= group->hosts.size()) return VESK_REFUSED;
  return answer_of(const_cast<vesk_group*>(group)->hosts[member].answer);
}
