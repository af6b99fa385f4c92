#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/block.hpp"
#include "platform/realtime.hpp"

/// The parent's side: start plugin hosts, drive them period by period, see them die.
///
/// docs/embedding.md tells which way to call is for what. Nothing here throws, ends the calling
/// process, or touches its signal handlers; but a debug build of the library aborts, with the rule
/// in one line, when a call comes from a thread that may not make it.
namespace vesk::client {

using MidiEvent = host::MidiEvent;

enum class Mode {
  /// Periods come at a steady pace. The host's render thread asks for a real-time policy and is
  /// placed by the client; the parent sleeps while it waits.
  real_time,
  /// Periods follow one another as fast as they can. Ordinary scheduling, no placement; the
  /// parent spins a bounded moment before it sleeps, never where it has one CPU only.
  /// Plugins are told: they may take the time for a better result, and one with threads of its own
  /// is waited for, so that the result does not depend on their speed.
  offline,
};

/// What a host is started with. `HostProcess::spawn` refuses in words what is out of range.
struct Options {
  /// The chain: elements separated by '|', the first an instrument or an effect, then effects.
  std::string chain;
  /// 8,000 to 384,000.
  double sample_rate_hz = 48'000;
  /// The largest period that will be asked for, 1 to 4096 frames.
  unsigned max_frames = host::buffer_frames;
  /// The usual period, 1 to `max_frames`; only the real-time policy is reckoned from it. Ignored
  /// offline.
  unsigned period_frames = 128;
  Mode mode = Mode::real_time;
  /// Real time only: keep the host on the CPU of the thread that calls `render`, which wakes it
  /// three to six times as fast as an idle CPU elsewhere. It follows when that thread moves for
  /// good, and is let go when the parent overlaps its own work (`request`, then `collect`) or a
  /// group drives it. Without effect where the process may use one CPU only.
  bool pinned = true;
  /// Real time only: the SCHED_FIFO priority of the thread that will drive the host, which stays
  /// below it. 0: that of the calling thread if it has one, otherwise unknown.
  int driver_priority = 0;
  /// macOS only: the port of the parent's audio workgroup (0: none).
  std::uint32_t workgroup_port = 0;
  /// Path of the host program. Empty: `VESK_HOST`, then `vesk-host` beside this program, then in
  /// `../bin` of its folder, then in the folders of `PATH`.
  std::string host_program;
  /// "NAME=value" entries that the host's environment has beyond (or instead of) the caller's.
  std::vector<std::string> environment;
  /// Leave standard error and output to the host as this process has them, instead of keeping
  /// its last lines. For debugging a plugin.
  bool inherit_standard_error = false;
  /// How long loading may take before the host is killed. 0: 61 s for each element of the chain,
  /// a second more than a host gives one plugin.
  std::chrono::milliseconds start_limit{0};
  /// How long stopping may take before the host is killed, without the time for saving the state
  /// of open editors, which is added: 3 s an editor, and 3 s from each file that is written on, but
  /// never more than 6 s an editor in all.
  std::chrono::milliseconds stop_limit{2'000};
  /// A period without answer for this long makes `diagnose` call the host hung, not slow.
  /// 0: a hundred periods, at least half a second (offline 5 s).
  std::chrono::milliseconds hang_limit{0};
};

/// What became of a period.
enum class Answer {
  answered,   ///< `output()` holds it
  timed_out,  ///< sent, no answer within the limit; `collect` it later
  not_sent,   ///< an earlier period is unanswered still; nothing of this one was sent or changed
  host_gone,  ///< the process has ended; see `obituary()`
  refused,    ///< more frames or events than a period holds, or the host is not ready
};

/// Where a period's first frame stands in the song. Beats are quarter notes whatever the meter.
/// Values that make no sense (not finite, a tempo or a meter of 0) are not handed on to plugins.
struct Transport {
  double tempo = 120;        ///< beats a minute
  double beat = 0;           ///< position since the start of the song
  double frame = 0;          ///< the same position in frames
  double bar_start = 0;      ///< beat at which the present bar began
  double beats_per_bar = 4;  ///< upper number of the time signature
  unsigned beat_unit = 4;    ///< lower number
  bool playing = true;
  bool looping = false;  ///< between the beats `loop_start` and `loop_end`
  double loop_start = 0;
  double loop_end = 0;
};

/// How a host is doing; `diagnose` says.
enum class Health {
  starting,       ///< loading its chain, or not yet heard to listen
  ready,          ///< answering in time
  slow,           ///< alive, but answers take longer than a period lasts
  hung_blocked,   ///< no answer beyond the hang limit, its render thread sleeps
  hung_spinning,  ///< no answer beyond the hang limit, its render thread runs
  dead,           ///< the process has ended
};

/// How a host process ended.
struct Ending {
  bool known = false;   ///< false: still running, or the status went to another waiter
  int status = 0;       ///< exit status, when `signal` is 0
  int signal = 0;       ///< the signal that ended it, or 0
  bool killed = false;  ///< by this client, after a limit had passed
  bool asked = false;   ///< it ended after `stop` had told it to
  /// A plugin that calls `exit(0)` ends its host with the same status as `stop` does.
  bool orderly() const noexcept { return known && asked && status == 0 && signal == 0; }
};

/// What loading the chain cost, sums over its plugins, valid once ready.
struct LoadTimes {
  double instantiate_ms = 0;
  double initialize_ms = 0;
  double restore_ms = 0;
  /// From `spawn` until the host said ready, and until its render thread listened.
  double ready_ms = 0;
  double listening_ms = 0;
};

/// Answer times of the periods so far, from the request until its answer was seen, microseconds.
struct AnswerTimes {
  std::uint32_t periods = 0;
  float last_us = 0;
  float recent_us = 0;  ///< moving average over about 16 periods
  float longest_us = 0;
};

/// CPU time the process has used, all its threads, in nanoseconds.
struct CpuTime {
  std::uint64_t run_ns = 0;
  std::uint64_t wait_ns = 0;  ///< runnable but not running (0 where the system does not tell)
};

struct HostImpl;

/// One host process and the block it shares with us. Destroying it stops the host.
class HostProcess {
 public:
  // ---- Control threads: any thread but the audio thread; calls are serialised inside. ----

  /// Starts a host and waits until it listens. Null with one English sentence in `error`: an
  /// option is out of range, the shared memory or the process could not be had, the chain failed
  /// to load (the host's own message), the host ended or took longer than the start limit.
  static std::unique_ptr<HostProcess> start(const Options& options, std::string& error) noexcept;

  /// Starts a host and returns at once; call `wait_ready` before anything else but destruction.
  /// To start many, spawn all of them first: they load side by side.
  static std::unique_ptr<HostProcess> spawn(const Options& options, std::string& error) noexcept;

  /// Waits until the host listens; false with a sentence in `error` when it never will (it has
  /// then been killed or has ended).
  bool wait_ready(std::string& error) noexcept;

  /// Asks the host to finish and waits for it; kills it after the limit. Open editors are closed
  /// and their plugins' state saved. No thread may be inside `request`, `collect` or `render`.
  /// Later calls return the same.
  Ending stop() noexcept;

  /// Ends a host that `diagnose` calls hung, at once and without saving. Where the system can do
  /// that, its render thread first tells which plugin it is in, as in a crash: `obituary` has it
  /// then. No thread may be inside `request`, `collect` or `render`.
  Ending end_hung() noexcept;

  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// Sets a parameter of the plugin at position `plugin` in the chain, in the parameter's units.
  ///
  /// Changes travel by the host's main thread: they take effect some 10 ms later, are merged by
  /// plugin and id (the last value wins), at most 16 in 25 ms are sent, and none while an editor
  /// is being opened; what was merged meanwhile is sent then. Nothing is lost however many are
  /// set. Sent by the client's background thread, so no further call is needed.
  void set_parameter(unsigned plugin, std::uint32_t id, float value) noexcept;

  /// Asks for the editor of one plugin (brings it to the front when it is open). `title` is UTF-8
  /// and cut to 128 bytes at a character. Requests are sent in order, after the parameter changes
  /// before them, at most 7 at a time; the rest wait here. Whether the window came is
  /// in `open_mask`; "no window for plugin" in `last_lines` says that it did not.
  void open_editor(unsigned plugin, const std::string& title) noexcept;

  /// Asks to close all editors; their plugins' state is saved where they have preset files.
  void close_editors() noexcept;

  /// Waits until the host has taken every parameter change and window request made so far (and
  /// opened or failed to open the windows). False when `limit` passed or the host ended.
  bool settle(std::chrono::milliseconds limit) noexcept;

  /// Bit i: the editor of plugin i is on screen. 0 before the host has told, and after its end.
  std::uint32_t open_mask() noexcept;

  /// The next plugin whose preset file was rewritten, oldest first; nothing when there is none.
  /// The client reads the host's notices while editors are open, so they do not pile up in the
  /// block; should more than 16 have come between two looks, or more than 256 wait here,
  /// `lost_saved_notices` tells.
  std::optional<unsigned> next_saved_notice() noexcept;
  unsigned lost_saved_notices() noexcept;

  /// Tells a dead host from a hung and a slow one. For a host without an answer beyond the hang
  /// limit this looks at its render thread for 20 ms.
  Health diagnose() noexcept;

  /// One sentence on how the host ended or failed, with the plugin and the phase in which it died
  /// when its last lines name them; empty while it lives.
  std::string obituary() noexcept;

  /// The last lines from the host's standard error (and output), oldest first, at most 32 each:
  /// the host's own, which begin "plugin host", and what plugins print. '?' stands for control
  /// characters, here and in all sentences about a host.
  std::vector<std::string> last_lines() noexcept;
  std::vector<std::string> plugin_lines() noexcept;

  Ending ending() noexcept;
  CpuTime cpu_time() noexcept;
  LoadTimes load_times() const noexcept;
  /// Latency of the whole chain in seconds, as its plugins tell at load; 0 for what is none.
  double latency_seconds() const noexcept;
  /// Process id; of use for reading /proc, not for signals (it may be another's after the end).
  int pid() const noexcept;
  const Options& options() const noexcept;

  // ---- The driving thread: one thread at a time, real-time safe. ----

  /// The period's input, left 0 and right 1, `max_frames` samples each, for a chain that starts
  /// with an effect. Write it before `request` or `render`, not while a period is unanswered.
  std::span<float> input(unsigned channel) noexcept VESK_REALTIME;

  /// The last period's output, left 0 and right 1, valid from its answer until the next request.
  std::span<const float> output(unsigned channel) const noexcept VESK_REALTIME;

  /// Says where the next period stands in the song. It holds until the next call, so call it before
  /// each period while the song plays; a tempo that changes within a period is heard from the next
  /// one on, so cut periods there if that matters. Without any call plugins are told nothing of a
  /// song. No effect on macOS as yet.
  void set_transport(const Transport& transport) noexcept VESK_REALTIME;

  /// Sends one period and waits for its answer: the way for one host.
  ///
  /// `frames` is 0 to `max_frames`; `sample_time` the position of its first frame on the parent's
  /// timeline; at most 128 `events`, ordered, each `offset` below `frames`. If an earlier period
  /// is unanswered, waits for that one first (its output is dropped) and returns `not_sent` when
  /// it does not come: keep the events, note-offs above all, for a later period.
  Answer render(unsigned frames, double sample_time, std::span<const MidiEvent> events,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

  /// Sends one period and returns; the parent works meanwhile, or stays one period ahead.
  /// `answered` means sent; `not_sent` that the one before has not been answered.
  Answer request(unsigned frames, double sample_time,
                 std::span<const MidiEvent> events) noexcept VESK_REALTIME;

  /// Waits for the answer to the last request, at most `limit` (0: looks once). `answered` also
  /// when it came before or nothing was asked.
  Answer collect(std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

  /// Whether a period has been sent and its answer not yet been collected.
  bool is_pending() const noexcept VESK_REALTIME;

  // ---- Either. ----

  /// Whether the process has ended, as far as the background thread has seen. Real-time safe.
  bool has_ended() const noexcept VESK_REALTIME;
  AnswerTimes answer_times() const noexcept VESK_REALTIME;

 private:
  friend class HostGroup;
  explicit HostProcess(std::unique_ptr<HostImpl> impl) noexcept;
  std::unique_ptr<HostImpl> impl_;
};

}  // namespace vesk::client
