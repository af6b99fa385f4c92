#include "client/src/host_impl.hpp"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "client/src/address_wait.hpp"
#include "client/src/deadline.hpp"
#include "client/src/shared_object.hpp"
#include "client/src/size_limit.hpp"
#include "host/atomics.hpp"
#include "spec/chain_text.hpp"

namespace vesk::client {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

/// Capturing a plugin's state and writing its file.
constexpr nanoseconds saving_allowance = std::chrono::seconds(3);
/// A killed process is gone at once, unless it hangs in the kernel.
constexpr nanoseconds after_kill = std::chrono::seconds(2);
/// A thread that was told to abort leaves its line at once, unless it hangs in the kernel.
constexpr nanoseconds last_words = std::chrono::seconds(1);

PeriodDriver::Settings driver_settings(const Options& options, int notify_descriptor,
                                       ParentRecord* record) {
  const bool real_time = options.mode == Mode::real_time;
  const bool many_cpus = usable_cpus() > 1;
  PeriodDriver::Settings settings;
  settings.max_frames = options.max_frames;
  settings.spins = !real_time && many_cpus;
  settings.places = real_time && options.pinned && many_cpus;
  settings.notify_descriptor = notify_descriptor;
  settings.record = record;
  return settings;
}

}  // namespace

HostImpl::HostImpl(const Options& start_options, unsigned chain_length,
                   std::unique_ptr<BlockOwner> owned_block,
                   std::unique_ptr<Placement> made_placement,
                   std::unique_ptr<ParentRecord> made_record, std::shared_ptr<Watcher> background)
    : options(start_options),
      plugins(chain_length),
      block(std::move(owned_block)),
      watcher(std::move(background)),
      record(std::move(made_record)),
      driver(block->block(), driver_settings(options, watcher->poke_descriptor(), record.get())),
      placement(std::move(made_placement)),
      rings(block->block(), plugins, record.get()) {}

HostImpl::~HostImpl() {
  if (child == nullptr) return;
  stop();
  watcher->remove(*this);
}

std::unique_ptr<HostImpl> HostImpl::spawn(const Options& options, std::string& error) {
  if (!check_options(options, error)) return nullptr;
  Launch launch;
  launch.program = find_host_program(options, error);
  if (launch.program.empty()) return nullptr;
  const SizeLimitIsAnError no_signal;
  sweep_objects();
  std::unique_ptr<BlockOwner> block = BlockOwner::create(error);
  if (block == nullptr) return nullptr;
  std::string placement_error;
  std::unique_ptr<Placement> placement = Placement::create(options, placement_error);
  if (placement == nullptr && !placement_error.empty()) {
    error = placement_error;
    return nullptr;
  }
  std::string record_error;
  std::unique_ptr<ParentRecord> record = ParentRecord::create(options, record_error);
  if (record == nullptr && !record_error.empty()) {
    error = record_error;
    return nullptr;
  }
  std::shared_ptr<Watcher> watcher = Watcher::shared(error);
  if (watcher == nullptr) return nullptr;
  launch.arguments = host_arguments(options, block->name());
  launch.environment = options.environment;
  launch.inherit_standard_error = options.inherit_standard_error;
  launch.workgroup_descriptor = placement ? placement->descriptor() : -1;
  launch.parent_descriptor = record ? record->descriptor() : -1;
  launch.bell_descriptor = record ? record->bell_descriptor() : -1;
  launch.workgroup_port = options.workgroup_port;
  const std::vector<std::string> elements = split_chain(options.chain);
  auto host =
      std::make_unique<HostImpl>(options, static_cast<unsigned>(elements.size()), std::move(block),
                                 std::move(placement), std::move(record), std::move(watcher));
  if (!host->presets.claim(elements, error)) return nullptr;
  host->spawned_ns = now_ns();
  host->child = ChildProcess::launch(launch, error);
  if (host->child == nullptr) return nullptr;
  host->watcher->add(*host);
  return host;
}

Ending HostImpl::stop() {
  driver.threads().expect_idle();
  std::unique_lock lock(mutex);
  if (check_ended()) return ending;
  host::Block& shared = block->block();
  told_to_stop = true;
  host::store_release(shared.quit, 1);
  if (record != nullptr) record->ring();
  const nanoseconds saving = saving_allowance * rings.editors();
  std::int64_t deadline = deadline_after(deadline_after(now_ns(), options.stop_limit), saving);
  // A host that told of files for ever would never be killed.
  const std::int64_t last_deadline = deadline_after(deadline, saving);
  std::uint32_t saved = rings.saved_seen();
  while (!check_ended()) {
    rings.read_saved();
    // Every file written is a sign of life, and the next may take as long.
    if (std::exchange(saved, rings.saved_seen()) != rings.saved_seen())
      deadline = std::max(deadline, std::min(last_deadline, now_ns() + saving_allowance.count()));
    std::int64_t left = deadline - now_ns();
    if (left <= 0) {
      if (killed) break;
      killed = true;
      child->kill();
      left = after_kill.count();
      deadline = now_ns() + left;
    }
    // Each time: a render thread that was just about to sleep has missed the wake before.
    wake_one(shared.render_request);
    lock.unlock();
    child->wait_for_exit(std::min<nanoseconds>(nanoseconds(left), milliseconds(50)));
    lock.lock();
  }
  return ending;
}

Ending HostImpl::end_hung() {
  driver.threads().expect_idle();
  std::unique_lock lock(mutex);
  if (check_ended()) return ending;
  killed = true;
  nanoseconds left = last_words;
  if (render_thread == 0 || !child->abort_thread(render_thread)) left = nanoseconds(0);
  lock.unlock();
  child->wait_for_exit(left);
  lock.lock();
  if (check_ended()) return ending;
  child->kill();
  lock.unlock();
  child->wait_for_exit(after_kill);
  lock.lock();
  check_ended();
  return ending;
}

std::optional<std::int64_t> HostImpl::background_turn() {
  const std::lock_guard lock(mutex);
  if (ended) return std::nullopt;
  drain_output();
  if (check_ended()) return std::nullopt;
  apply_placement();
  return rings.turn(now_ns());
}

void HostImpl::add_descriptors(std::vector<pollfd>& watched) {
  const std::lock_guard lock(mutex);
  if (ended) return;
  watched.push_back({child->exit_descriptor(), POLLIN, 0});
  if (child->output_descriptor() >= 0) watched.push_back({child->output_descriptor(), POLLIN, 0});
}

void HostImpl::drain_output() {
  char bytes[4096];
  // A plugin that floods the pipe must not keep this thread from the other hosts.
  for (int i = 0; i < 16 && child->output_descriptor() >= 0; ++i) {
    // The descriptor does not block.
    // NOLINTNEXTLINE(clang-analyzer-unix.BlockInCriticalSection)
    const ssize_t count = read(child->output_descriptor(), bytes, sizeof bytes);
    if (count > 0)
      lines.feed({bytes, static_cast<std::size_t>(count)});
    else if (count == 0)
      child->close_output();
    else if (errno != EINTR)
      return;
  }
}

bool HostImpl::check_ended() {
  if (ended) return true;
  Ending result;
  if (!child->take_ending(result)) return false;
  ended = true;
  ending = result;
  ending.killed = killed;
  ending.asked = told_to_stop;
  block->unlink();
  placement.reset();
  presets.release();
  driver.mark_gone();
  // Last, since these take memory and may fail.
  drain_output();
  lines.finish();
  child->close_output();
  rings.read_saved();
  return true;
}

void HostImpl::spread() {
  {
    const std::lock_guard lock(mutex);
    spread_for_good = true;
  }
  watcher->poke();
}

void HostImpl::apply_placement() {
  if (placement == nullptr || !driver.is_listening()) return;
  const PeriodDriver::Place place = driver.place();
  const int cpu = spread_for_good ? PeriodDriver::anywhere : place.cpu;
  if (cpu == placed_cpu || cpu == PeriodDriver::unknown) return;
  placed_cpu = cpu;
  placement->move(child->pid(), cpu, place.driver);
}

std::string HostImpl::describe_ending() const {
  std::string text;
  if (ending.killed) {
    text = ending.asked ? "the host was killed, as it did not stop in time"
                        : "the host was killed, as it did not answer";
  } else if (!ending.known) {
    text = "the host ended";
  } else if (ending.signal != 0) {
    text = "the host was ended by signal " + std::to_string(ending.signal) + " (" +
           signal_text(ending.signal) + ")";
  } else {
    text = "the host ended with status " + std::to_string(ending.status);
    if (ending.status == 0 && !ending.asked) text += ", though it was not told to";
  }
  std::string_view line = lines.death_line();
  if (line.empty() && !driver.is_listening()) line = lines.process_line();
  if (!line.empty()) text.append(": ").append(line);
  return text;
}

std::string HostImpl::obituary() {
  const std::lock_guard lock(mutex);
  if (!start_error.empty()) return start_error;
  return check_ended() ? describe_ending() : std::string{};
}

}  // namespace vesk::client
