// A host that lies: between the client's calls, and during some, it writes what it likes into the
// block and the records. Every call comes back, nothing grows, and no thread but its own is moved.
#include <sched.h>

#include <array>
#include <cstring>
#include <memory>
#include <thread>

#include "client/src/period_driver.hpp"
#include "client/src/placement.hpp"
#include "client/src/request_rings.hpp"
#include "fuzz/input.hpp"
#include "host/atomics.hpp"
#include "vesk/parent_record.h"
#include "vesk/workgroup_record.h"

using namespace vesk;
using namespace std::chrono_literals;
using client::Answer;
using fuzz::expect;

extern "C" int __wrap_sched_setaffinity(pid_t thread, std::size_t, const cpu_set_t*) {
  // This process stands in for the host, too.
  expect(access(("/proc/self/task/" + std::to_string(thread)).c_str(), F_OK) == 0);
  return 0;
}

namespace {

constexpr unsigned plugins = 3, max_frames = 512;
/// More than may wait for a parent that never asks.
constexpr unsigned most_notices = 300;

/// What a host sees of a record that the client made.
template <typename Record>
Record& map_record(int descriptor) {
  void* memory = mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  expect(memory != MAP_FAILED);
  return *static_cast<Record*>(memory);
}

struct [[gnu::packed]] Step {
  std::uint8_t act, place;
  std::uint32_t value;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::string error;
  static const auto parent = client::ParentRecord::create({}, error);
  static const auto placement = client::Placement::create({}, error);
  static auto& parent_record = map_record<VeskParentRecord>(parent->descriptor());
  static auto& group_record = map_record<VeskWorkgroupRecord>(placement->descriptor());
  parent_record.render_thread = 0;
  std::memset(group_record.members, 0, sizeof group_record.members);
  const auto block = std::make_unique<host::Block>();
  block->open_mask = ~0u;
  client::PeriodDriver driver(*block, {.max_frames = max_frames, .record = parent.get()});
  client::RequestRings rings(*block, plugins, parent.get());
  const std::array words = {
      &block->open_mask,   &block->saved_write,         &block->saved[0],
      &block->param_write, &block->window_write,        &block->saved[15],
      &block->frames,      &block->midi_count,          &block->render_request,
      &block->render_done, &parent_record.render_thread};
  const std::array events = {client::MidiEvent{0x90, 60, 100, 0, 0}};
  std::int64_t now = 0;

  for (Step step; size >= sizeof step; data += sizeof step, size -= sizeof step) {
    std::memcpy(&step, data, sizeof step);
    std::uint32_t& word = *words[step.place % words.size()];
    const unsigned frames = step.value % (2 * max_frames);
    switch (step.act % 12) {
      case 0:
        word = step.value;
        break;
      case 1:
        std::memset(block.get(), step.place, sizeof *block);
        break;
      case 2:
        block->render_done = block->render_request;
        break;
      case 3:
        group_record.members[step.place % VESK_WORKGROUP_MEMBERS] =
            static_cast<std::uint64_t>(getpid()) << 32 | step.value;
        break;
      case 4: {
        // To and fro, so that a second look at the word may see another value.
        const std::jthread host([&word, step, before = word](const std::stop_token& stop) {
          while (!stop.stop_requested()) {
            host::store_release(word, step.value);
            host::store_release(word, before);
          }
        });
        for (int turn = 0; turn < 20; ++turn) rings.turn(now += 1'000'000);
        break;
      }
      case 5: {
        driver.set_transport({.beat = static_cast<double>(step.value)});
        const Answer answer = driver.render(frames, 0, events, 0ns);
        if (answer == Answer::answered) expect(frames <= max_frames && !driver.is_pending());
        break;
      }
      case 6:
        driver.request(frames, 0, events);
        break;
      case 7:
        expect((driver.collect(0ns) == Answer::answered) == !driver.is_pending());
        break;
      case 8:
        if (!driver.is_listening())
          step.place % 2 ? driver.probe(0ns) : driver.await_announcement(0ns);
        break;
      case 9:
        rings.set_parameter(step.place, step.value, 1);
        if (step.value % 4 == 0) rings.open_editor(step.place, "title");
        if (step.value % 16 == 0) rings.close_editors();
        break;
      case 10:
        rings.turn(now += step.value % 300'000'000);
        expect(rings.open_mask() >> plugins == 0);
        break;
      default:
        placement->move(getpid(), step.place % 2, 0);
    }
  }
  unsigned notices = 0;
  while (const auto plugin = rings.next_saved())
    expect(*plugin < plugins && ++notices <= most_notices);
  return 0;
}
