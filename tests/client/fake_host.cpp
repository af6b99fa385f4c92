// A host that speaks the block's protocol and misbehaves on command, so that the parent's side
// meets faults that a sound host never shows. Its PLUGIN argument is a list of commands:
//
//   silent=1          print nothing, exit 3             load_ms=N           load for so long
//   fail=TEXT         report TEXT as the load error     say=TEXT            print it at the start
//   never_ready=1     load for ever                     late_probe=N        ignore N requests
//   deaf=1            ready, but without render thread  answer_when_told=1  answer after SIGUSR1
//   late_ms=N         answer every period so late       block_at=N          sleep in period N
//   segv_at=N         print a death line, then SEGV     alien=TID           make that thread a
//   member no_window=1       open no editor                    open_when_told=1    open after
//   SIGUSR1 save_ms=N         take so long to save              crowd=N             N notices on
//   close stubborn=1        never quit                        flood=N             print N lines a
//   turn boast=1           show editors that it does not have, and save for ever when stubborn
//   lie=SEED          write anything anywhere and print it, from the moment it is ready
//   lie_early=SEED    the same, from the moment it has the block
//
// Periods count from 1, probes left out. Left output is the input plus the number of events, right
// is the sample time. What it is sent it prints: "param P ID V", "open P TITLE", "close".
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <thread>

#include "client/src/address_wait.hpp"
#include "host/atomics.hpp"
#include "host/block.hpp"
#include "vesk/workgroup_record.h"

namespace {

using namespace vesk::host;
using namespace std::chrono_literals;
using vesk::client::wait_while;
using vesk::client::wake_one;

std::map<std::string, std::string> g_commands;
std::atomic<bool> g_was_told{false};

std::string text(const char* name) {
  const auto found = g_commands.find(name);
  return found == g_commands.end() ? std::string{} : found->second;
}
long number(const char* name) {
  return std::atol(text(name).c_str());
}
void sleep_ms(long ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

void wait_to_be_told(const char* command) {
  while (number(command) != 0 && !g_was_told) sleep_ms(1);
}

void read_commands(std::string_view list) {
  while (!list.empty()) {
    const std::size_t end = list.find(',');
    const std::string_view command = list.substr(0, end);
    const std::size_t equals = command.find('=');
    if (equals != std::string_view::npos)
      g_commands[std::string(command.substr(0, equals))] = command.substr(equals + 1);
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
  }
}

void misbehave(long period) {
  if (period == number("segv_at")) {
    std::fprintf(stderr, "plugin host fake: plugin 0 died in render: SIGSEGV\n");
    signal(SIGSEGV, SIG_DFL);
    raise(SIGSEGV);
  }
  while (period == number("block_at")) sleep_ms(1000);
  wait_to_be_told("answer_when_told");
  sleep_ms(number("late_ms"));
}

/// The record behind descriptor 3; null: there is none.
VeskWorkgroupRecord* workgroup_record() {
  void* memory = mmap(nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE, MAP_SHARED,
                      VESK_WORKGROUP_DESCRIPTOR, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<VeskWorkgroupRecord*>(memory);
}

/// Enters the record and goes where it says.
void join_workgroup() {
  VeskWorkgroupRecord& record = *workgroup_record();
  const auto thread = static_cast<std::uint64_t>(syscall(SYS_gettid));
  const std::uint64_t own = static_cast<std::uint64_t>(getpid()) << 32;
  std::atomic_ref(record.members[0]).store(own | static_cast<std::uint64_t>(number("alien")));
  std::atomic_ref(record.members[1]).store(own | thread);
  sched_setaffinity(0, sizeof record.cpus, reinterpret_cast<const cpu_set_t*>(record.cpus));
  std::fprintf(stderr, "record parent %d priority %d thread %d\n", record.parent == getppid(),
               record.driver_priority, static_cast<int>(thread));
}

void render_loop(Block& block) {
  if (const sched_param priority{static_cast<int>(number("fifo"))}; priority.sched_priority > 0)
    sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &priority);
  if (number("join") != 0) join_workgroup();
  std::uint32_t served = load_acquire(block.render_request);
  long period = 0, to_ignore = number("late_probe");
  while (load_acquire(block.quit) == 0) {
    const std::uint32_t request = load_acquire(block.render_request);
    if (request == served) {
      wait_while(block.render_request, served, 100ms);
      continue;
    }
    served = request;
    if (to_ignore-- > 0) continue;
    if (block.sample_time >= 0) misbehave(++period);
    const std::uint32_t frames = std::min(block.frames, buffer_frames);
    for (std::uint32_t i = 0; i < frames; ++i) {
      block.output_left[i] = block.input_left[i] + static_cast<float>(block.midi_count);
      block.output_right[i] = static_cast<float>(block.sample_time);
    }
    store_release(block.render_done, request);
    wake_one(block.render_done);
  }
}

/// Writes anything into the block and the record, and prints it, for ever. Only `quit` is left
/// alone, so that a test can end it quickly.
void lie(Block& block, long seed) {
  std::minstd_rand random(static_cast<std::minstd_rand::result_type>(seed));
  VeskWorkgroupRecord* const record = workgroup_record();
  const std::uint64_t own = static_cast<std::uint64_t>(getpid()) << 32;
  const auto parent = static_cast<std::uint32_t>(getppid());
  std::uint32_t* const told[] = {&block.saved_write, &block.open_mask,      &block.render_done,
                                 &block.state,       &block.render_request, &block.param_write};
  fcntl(2, F_SETFL, O_NONBLOCK);
  for (unsigned turn = 0;; ++turn) {
    const std::uint32_t any = static_cast<std::uint32_t>(random() << 16 ^ random());
    const std::uint32_t words[] = {0, 1, 2, 0xfffffff0, ~0u, parent, any};
    store_release(*told[random() % std::size(told)], words[random() % std::size(words)]);
    const std::uint32_t at = static_cast<std::uint32_t>(random()) % (block_size / 4);
    auto* const word = reinterpret_cast<std::uint32_t*>(&block) + at;
    if (word != &block.quit) store_release(*word, any);
    // Notices that a parent takes seriously.
    store_release(block.saved[random() % saved_slots], 0);
    if (record != nullptr) {
      const std::uint64_t members[] = {own | any, own | parent, own | (parent + any % 8), any};
      auto& member = record->members[random() % std::size(record->members)];
      std::atomic_ref(member).store(members[random() % std::size(members)]);
      std::atomic_ref(record->cpus[random() % std::size(record->cpus)]).store(any);
    }
    if (turn % 64 == 0) (void)!write(2, &block, random() % 1000);
    if (turn % 16 == 0) std::this_thread::yield();
  }
}

void notice(Block& block, std::uint32_t plugin) {
  const std::uint32_t write = load_relaxed(block.saved_write);
  block.saved[write % saved_slots] = plugin;
  store_release(block.saved_write, write + 1);
}

void close_all(Block& block, std::uint32_t& mask) {
  for (std::uint32_t plugin = 0; plugin < 32; ++plugin) {
    if ((mask >> plugin & 1) == 0) continue;
    sleep_ms(number("save_ms"));
    notice(block, plugin);
  }
  for (long i = 0; i < number("crowd"); ++i) notice(block, 0);
  mask = 0;
}

void serve(Block& block, const WindowRequest& request, std::uint32_t& mask) {
  if (request.kind == WindowRequest::close_all) {
    std::fprintf(stderr, "close\n");
    close_all(block, mask);
  } else if (request.kind == WindowRequest::open && request.plugin < 32) {
    const std::string title(request.title, strnlen(request.title, title_bytes));
    std::fprintf(stderr, "open %u %s\n", request.plugin, title.c_str());
    wait_to_be_told("open_when_told");
    if (number("no_window") == 0) mask |= 1u << request.plugin;
  }
}

void main_loop(Block& block) {
  std::uint32_t mask = 0;
  std::uint32_t params = load_acquire(block.param_write);
  std::uint32_t windows = load_acquire(block.window_write);
  const pid_t parent = getppid();
  while (load_acquire(block.quit) == 0 && getppid() == parent) {
    for (const std::uint32_t end = load_acquire(block.param_write); params != end; ++params) {
      const ParamChange change = block.params[params % param_slots];
      std::fprintf(stderr, "param %u %u %g\n", change.plugin, change.id,
                   static_cast<double>(change.value));
    }
    for (const std::uint32_t end = load_acquire(block.window_write); windows != end; ++windows)
      serve(block, block.window_requests[windows % window_slots], mask);
    for (long i = 0; i < number("flood"); ++i) std::fprintf(stderr, "noise %ld\n", i);
    store_release(block.open_mask, number("boast") != 0 ? 0xfffffffd : mask);
    sleep_ms(10);
  }
  while (number("stubborn") != 0) {
    if (number("boast") != 0) notice(block, 0);
    sleep_ms(10);
  }
  close_all(block, mask);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  // However it misbehaves, it does not outlive its test by much.
  alarm(60);
  signal(SIGUSR1, [](int) { g_was_told = true; });
  read_commands(argv[2]);
  if (const std::string line = text("say"); !line.empty())
    std::fprintf(stderr, "%s\n", line.c_str());
  if (number("silent") != 0) return 3;
  const int descriptor = shm_open(argv[1], O_RDWR, 0);
  if (descriptor < 0) {
    std::fprintf(stderr, "plugin host: shm_open failed: %s\n", std::strerror(errno));
    return 1;
  }
  void* memory = mmap(nullptr, block_size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  Block& block = *static_cast<Block*>(memory);
  if (memory == MAP_FAILED || block.magic != block_magic) return 1;
  std::fprintf(stderr, "arguments %s %s %s\n", argv[3], argv[4], argv[5]);
  std::fprintf(stderr, "group %d policy %d records %d %d, bell %d, more %d\n",
               getpgrp() == getpid() ? 1 : 0, sched_getscheduler(0), fcntl(3, F_GETFD) != -1,
               fcntl(4, F_GETFD) != -1, fcntl(5, F_GETFD) != -1, fcntl(6, F_GETFD) != -1);
  if (number("lie_early") != 0) std::thread(lie, std::ref(block), number("lie_early")).detach();
  const pid_t parent = getppid();
  while (number("never_ready") != 0 && getppid() == parent) sleep_ms(100);
  sleep_ms(number("load_ms"));
  if (const std::string reason = text("fail"); !reason.empty()) {
    std::snprintf(block.error, error_bytes, "%s", reason.c_str());
    store_release(block.state, failed);
    return 1;
  }
  block.instantiate_ms_total = 1.5;
  block.latency_seconds_total = 0.25;
  store_release(block.state, ready);
  if (number("lie") != 0) std::thread(lie, std::ref(block), number("lie")).detach();
  std::thread renderer;
  if (number("deaf") == 0) renderer = std::thread([&] { render_loop(block); });
  if (number("lie") != 0 || number("lie_early") != 0) {
    // The rings hold anything by now.
    while (load_acquire(block.quit) == 0 && getppid() == parent) sleep_ms(1);
    _exit(0);
  }
  main_loop(block);
  if (renderer.joinable()) renderer.join();
  return 0;
}
