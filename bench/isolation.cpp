// What isolation costs at scale: many chains in a host each, against the same chains in this
// process, and against bare processes.

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/benchmarks.hpp"
#include "bench/futex.hpp"
#include "bench/measure.hpp"
#include "bench/piano.hpp"
#include "host/chain.hpp"
#include "host/period_server.hpp"
#include "platform/render_thread.hpp"
#include "vesk/host_group.hpp"

namespace vesk::bench {
namespace {

constexpr double rate = 48'000;
constexpr unsigned period_frames = 128;
constexpr double period_ns = period_frames / rate * 1e9;
constexpr int driver_priority = 50;
constexpr int worker_priority = 49;
/// The notes are struck anew so often that they always sound.
constexpr int strike_every = 256;

/// One way to play many chains.
class Contestant {
 public:
  Contestant() = default;
  virtual ~Contestant() = default;
  Contestant(const Contestant&) = delete;
  Contestant& operator=(const Contestant&) = delete;

  /// Has every chain render one period; whether all have.
  virtual bool period(double sample_time, bool strikes) = 0;
  /// CPU time so far of all threads that take part, but for the caller's process.
  virtual std::uint64_t others_cpu_ns() const { return 0; }
};

/// A block and the chain that renders into it.
struct Player {
  std::unique_ptr<host::Block> block = std::make_unique<host::Block>();
  host::Chain chain;

  bool load(std::string& error) {
    return host::load_chain(piano_spec, rate, period_frames, *block, chain, error);
  }
  ~Player() { chain.dispose(); }
};

void describe(host::Block& block, double sample_time, const std::vector<host::MidiEvent>& notes) {
  block.frames = period_frames;
  block.sample_time = sample_time;
  block.midi_count = static_cast<std::uint32_t>(notes.size());
  std::copy(notes.begin(), notes.end(), block.midi);
}

/// All in this process, on as many threads as there are CPUs, this one among them. Each thread
/// takes the next chain that nobody has taken.
class InProcess : public Contestant {
 public:
  static std::unique_ptr<InProcess> start(int count, std::string& error) {
    std::unique_ptr<InProcess> made(new InProcess);
    for (int i = 0; i < count; ++i) {
      made->players_.push_back(std::make_unique<Player>());
      if (!made->players_.back()->load(error)) return nullptr;
    }
    for (auto& player : made->players_)
      made->servers_.push_back(std::make_unique<host::PeriodServer>(
          *player->block, player->chain.plugins, false, period_frames));
    const long helpers = sysconf(_SC_NPROCESSORS_ONLN) - 1;
    for (long i = 0; i < helpers; ++i)
      made->helpers_.emplace_back([raw = made.get()] { raw->help(); });
    return made;
  }
  ~InProcess() override {
    ends_ = true;
    start_round();
    for (std::thread& helper : helpers_) helper.join();
  }

  bool period(double sample_time, bool strikes) override {
    const std::vector<host::MidiEvent> notes = strikes ? chord() : std::vector<host::MidiEvent>();
    for (auto& player : players_) describe(*player->block, sample_time, notes);
    done_ = 0;
    next_ = 0;
    start_round();
    take_work();
    const auto all = static_cast<std::uint32_t>(players_.size());
    for (;;) {
      const std::uint32_t done = done_.load(std::memory_order_acquire);
      if (done == all) return true;
      wait_while(word(done_), done, true);
    }
  }

 private:
  InProcess() = default;

  static const std::uint32_t& word(const std::atomic<std::uint32_t>& atomic) {
    static_assert(sizeof atomic == sizeof(std::uint32_t));
    return reinterpret_cast<const std::uint32_t&>(atomic);
  }
  void start_round() {
    host::store_release(round_, round_ + 1);
    wake(round_, 1'000);
  }
  void take_work() {
    for (;;) {
      const std::size_t mine = next_.fetch_add(1);
      if (mine >= servers_.size()) return;
      servers_[mine]->serve(1);
      if (done_.fetch_add(1, std::memory_order_acq_rel) + 1 == servers_.size())
        wake(word(done_), 1);
    }
  }
  void help() {
    const platform::RenderThread denormals_flushed_as_in_a_host;
    const RealTime policy(worker_priority);
    std::uint32_t seen = 0;
    for (;;) {
      wait_while(round_, seen, true);
      seen = host::load_acquire(round_);
      if (ends_) return;
      take_work();
    }
  }

  std::vector<std::unique_ptr<Player>> players_;
  std::vector<std::unique_ptr<host::PeriodServer>> servers_;
  std::vector<std::thread> helpers_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> ends_{false};
  std::uint32_t round_ = 0;
  std::atomic<std::uint32_t> done_{0};
};

/// A bare process for each chain: nothing but the plugin and two futex words. What is more than
/// this is ours; what this is more than the threads is the kernel's and the caches'.
class BareProcesses : public Contestant {
 public:
  /// Those without work only answer: what they take is the kernel's.
  static std::unique_ptr<BareProcesses> start(int count, bool with_work, std::string& error) {
    std::unique_ptr<BareProcesses> made(new BareProcesses);
    for (int i = 0; i < count; ++i) {
      auto* const block = static_cast<host::Block*>(mmap(
          nullptr, sizeof(host::Block), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
      platform::touch_pages(block, sizeof *block);
      const pid_t process = fork();
      if (process == 0) answer(*block, with_work);
      made->blocks_.push_back(block);
      made->processes_.push_back(process);
    }
    for (host::Block* block : made->blocks_) {
      for (int i = 0; i < 10'000 && host::load_acquire(block->state) == host::starting; ++i)
        sleep_us(1'000);
      if (host::load_acquire(block->state) != host::ready) {
        error = "a bare process did not load its plugin";
        return nullptr;
      }
    }
    return made;
  }
  ~BareProcesses() override {
    for (const pid_t process : processes_) {
      kill(process, SIGKILL);
      waitpid(process, nullptr, 0);
    }
    for (host::Block* block : blocks_) munmap(block, sizeof *block);
  }

  bool period(double sample_time, bool strikes) override {
    const std::vector<host::MidiEvent> notes = strikes ? chord() : std::vector<host::MidiEvent>();
    ++request_;
    for (host::Block* block : blocks_) {
      describe(*block, sample_time, notes);
      publish(block->render_request, request_);
    }
    // The last first, as a group does.
    for (auto block = blocks_.rbegin(); block != blocks_.rend(); ++block)
      wait_while((*block)->render_done, request_ - 1, true);
    return true;
  }
  std::uint64_t others_cpu_ns() const override {
    std::uint64_t sum = 0;
    for (const pid_t process : processes_) sum += cpu_time_ns(process);
    return sum;
  }

 private:
  BareProcesses() = default;

  [[noreturn]] static void answer(host::Block& block, bool with_work) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const platform::RenderThread denormals_flushed_as_in_a_host;
    const RealTime policy(worker_priority);
    std::string error;
    host::Chain chain;
    const bool is_ready =
        !with_work || host::load_chain(piano_spec, rate, period_frames, block, chain, error);
    host::store_release(block.state, is_ready ? host::ready : host::failed);
    if (!is_ready) _exit(1);
    host::PeriodServer server(block, chain.plugins, false, period_frames);
    for (std::uint32_t served = 0;;) {
      wait_while(block.render_request, served, true);
      served = host::load_acquire(block.render_request);
      if (with_work)
        server.serve(served);
      else
        publish(block.render_done, served);
    }
  }

  std::vector<host::Block*> blocks_;
  std::vector<pid_t> processes_;
  std::uint32_t request_ = 0;
};

/// A host for each, in one group.
class Isolated : public Contestant {
 public:
  static std::unique_ptr<Isolated> start(int count, std::string& error) {
    std::unique_ptr<Isolated> made(new Isolated);
    client::Options options;
    options.chain = piano_spec;
    options.max_frames = period_frames;
    options.period_frames = period_frames;
    options.driver_priority = driver_priority;
    for (int i = 0; i < count; ++i) {
      made->hosts_.push_back(client::HostProcess::spawn(options, error));
      if (!made->hosts_.back()) return nullptr;
    }
    for (auto& host : made->hosts_) {
      if (!host->wait_ready(error)) return nullptr;
      made->group_.add(*host);
    }
    return made;
  }

  bool period(double sample_time, bool strikes) override {
    if (strikes)
      for (std::size_t i = 0; i < hosts_.size(); ++i) group_[i].events = notes_;
    return group_.render(period_frames, sample_time, std::chrono::seconds(1)) ==
           client::Answer::answered;
  }
  std::uint64_t others_cpu_ns() const override {
    std::uint64_t sum = 0;
    for (const auto& host : hosts_) sum += cpu_time_ns(host->pid());
    return sum;
  }

 private:
  Isolated() = default;

  const std::vector<host::MidiEvent> notes_ = chord();
  std::vector<std::unique_ptr<client::HostProcess>> hosts_;
  client::HostGroup group_;
};

/// One contestant over all rounds.
struct Figures {
  std::vector<double> median_us, cpu_us;
  int periods = 0;
  int missed = 0;
  int late_starts = 0;  ///< the caller itself was woken half a period late
};

/// Paced like audio: a period that takes longer than it lasts is missed.
void measure(Contestant& contestant, int periods, Figures& figures) {
  std::vector<double> times;
  const std::uint64_t cpu_before = cpu_time_ns(getpid()) + contestant.others_cpu_ns();
  const auto begin = static_cast<double>(now_ns() + 5'000'000);
  for (int i = 0; i < periods; ++i) {
    const auto due = static_cast<std::uint64_t>(begin + i * period_ns);
    const timespec moment{static_cast<time_t>(due / 1'000'000'000),
                          static_cast<long>(due % 1'000'000'000)};
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &moment, nullptr);
    const std::uint64_t start = now_ns();
    const bool is_whole = contestant.period(i * double{period_frames}, i % strike_every == 0);
    const double took = static_cast<double>(now_ns() - start);
    times.push_back(took / 1000);
    if (!is_whole || took > period_ns) ++figures.missed;
    if (static_cast<double>(start - due) > period_ns / 2) ++figures.late_starts;
  }
  const std::uint64_t cpu_after = cpu_time_ns(getpid()) + contestant.others_cpu_ns();
  figures.periods += periods;
  figures.median_us.push_back(quantile(times, 0.5));
  figures.cpu_us.push_back(static_cast<double>(cpu_after - cpu_before) / 1000 / periods);
}

/// All ways of playing `count` chains, and processes that play none.
struct Contest {
  std::unique_ptr<Contestant> in_process, bare, idle, isolated;

  bool start(int count, std::string& error) {
    in_process = InProcess::start(count, error);
    if (in_process) bare = BareProcesses::start(count, true, error);
    if (bare) idle = BareProcesses::start(count, false, error);
    if (idle) isolated = Isolated::start(count, error);
    return isolated != nullptr;
  }
};

void run(Report& report, const Plan& plan, int count) {
  std::string error;
  Contest contest;
  if (!contest.start(count, error)) return report.note(error);
  const RealTime policy(driver_priority);
  if (!policy.granted()) return report.note("SCHED_FIFO not granted: no figure");
  const int periods = plan.quick ? 50 : 500;
  Figures ours, floor, kernel, reference;
  for (int round = 0; round < plan.rounds; ++round) {
    measure(*contest.in_process, periods, reference);
    measure(*contest.bare, periods, floor);
    measure(*contest.idle, periods, kernel);
    measure(*contest.isolated, periods, ours);
  }
  const std::string hosts = std::to_string(count) + (count == 1 ? " host" : " hosts");
  const auto add = [&](const std::string& name, const std::vector<double> Figures::* figure) {
    report.add(
        Row::comparing(hosts + ", " + name + ", a", ours.*figure, reference.*figure, "us", {}));
    Row row = Row::comparing(hosts + ", " + name + ", b", ours.*figure, floor.*figure, "us",
                             count == 64 ? std::optional(1.25) : std::nullopt);
    char remark[64];
    std::snprintf(remark, sizeof remark, "(without the plugin: %.4g)",
                  Figure::of(kernel.*figure).median);
    row.remark = remark;
    report.add(std::move(row));
  };
  add("all done", &Figures::median_us);
  add("CPU a period", &Figures::cpu_us);
}

/// Misses over minutes, of our hosts alone.
void endure(Report& report, const Plan& plan, int count, int minutes, double most_missed) {
  std::string error;
  const std::unique_ptr<Contestant> hosts = Isolated::start(count, error);
  if (!hosts) return report.note(error);
  const RealTime policy(driver_priority);
  if (!policy.granted()) return report.note("SCHED_FIFO not granted: no figure");
  const int periods_a_minute = static_cast<int>(60e9 / period_ns);
  Figures figures;
  for (int minute = 0; minute < (plan.quick ? 1 : minutes); ++minute) {
    measure(*hosts, plan.quick ? 100 : periods_a_minute, figures);
    std::fprintf(stderr, "  minute %d of %d: %d missed\n", minute + 1, minutes, figures.missed);
  }
  const double missed = figures.missed * 10'000.0 / figures.periods;
  report.add({std::to_string(count) + " hosts, " + std::to_string(minutes) + " minutes",
              Figure::of({missed}),
              {},
              {},
              "missed of 10,000",
              most_missed,
              "(" + std::to_string(figures.missed) + " of " + std::to_string(figures.periods) +
                  ", median " +
                  std::to_string(static_cast<int>(Figure::of(figures.median_us).median)) +
                  " us; the machine woke the caller half a period late " +
                  std::to_string(figures.late_starts) + " times)"});
}

}  // namespace

void isolation(Report& report, const Plan& plan) {
  report.begin(
      "Chains of an mda-lv2 ePiano, 8 notes, 128 frames, paced like audio, in hosts of a group (a: "
      "all in one process, a thread a CPU; b: a bare process each)");
  // Before the first search, which reads it.
  setenv("AUDIO_COMPONENT_PATH", (program_folder() + "/../components").c_str(), 1);
  for (const int count : {1, 4, 16, 64, 128}) run(report, plan, count);
}

void endurance(Report& report, const Plan& plan) {
  report.begin("The same hosts over minutes: periods that took longer than they last");
  endure(report, plan, 64, 10, 1);
  endure(report, plan, 128, 5, 1);
}

}  // namespace vesk::bench
