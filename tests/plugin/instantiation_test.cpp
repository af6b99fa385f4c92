// How a load waits for its unit, and what a render costs. The linker puts the calls below in the
// place of the platform's, so that a minute passes at once and a unit arrives when a case says so.
// The times that the test program prints are of that clock too.

#include <AudioToolbox/AudioToolbox.h>
#include <Block.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <utility>
#include <vector>

#include "plugin/audio_unit_plugin.hpp"
#include "tests/support/recording_unit.hpp"

using namespace vesk;

namespace {

using Handler = void (^)(AudioComponentInstance, OSStatus);
using Clock = std::chrono::steady_clock;

constexpr int all_slices = 6001;  // of 10 ms: the deadline itself is still in time
constexpr int while_giving_up = all_slices + 1;
constexpr int after_the_load = all_slices + 2;
constexpr int never_answers = all_slices + 3;

Clock::time_point g_now;
std::uint64_t g_ticks = 0;
int g_slices = 0;
std::function<void()> g_at_last_reading;
std::function<void()> g_in_slice;
std::function<void(AudioComponentInstantiationOptions, Handler)> g_instantiate;

}  // namespace

Clock::time_point fake_now() asm("__wrap__ZNSt6chrono3_V212steady_clock3nowEv");
Clock::time_point fake_now() {
  if (g_slices == all_slices && g_at_last_reading) std::exchange(g_at_last_reading, nullptr)();
  return g_now;
}

extern "C" {

std::uint64_t __wrap_mach_absolute_time() {
  return g_ticks;
}

CFRunLoopRunResult run_slice(CFStringRef mode, CFTimeInterval seconds,
                             Boolean) asm("__wrap_CFRunLoopRunInMode");
CFRunLoopRunResult run_slice(CFStringRef mode, CFTimeInterval seconds, Boolean) {
  EXPECT_EQ(mode, kCFRunLoopDefaultMode);
  ++g_slices;
  g_now += std::chrono::round<Clock::duration>(std::chrono::duration<double>(seconds));
  g_in_slice();
  return kCFRunLoopRunTimedOut;
}

void instantiate(AudioComponent, AudioComponentInstantiationOptions options,
                 Handler handler) asm("__wrap_AudioComponentInstantiate");
void instantiate(AudioComponent, AudioComponentInstantiationOptions options, Handler handler) {
  g_instantiate(options, handler);
}

}  // extern "C"

namespace {

AudioComponentInstance open_unit() {
  std::string error;
  const auto spec = PluginSpec::parse(UnitScript::instrument, error);
  AudioComponentInstance instance = nullptr;
  AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &spec->desc), &instance);
  return instance;
}

TEST(Instantiation, CompletesAtOnceLaterOrNotAtAll) {
  struct Case {
    const char* name;
    int slice;  // in which it completes, 0 for at once
    bool has_instance;
    OSStatus status;
    const char* error;  // null: the load succeeds
    int slices;
    bool out_of_process = false;
  };
  const char* const timed_out = "instantiation timed out";
  const Case cases[] = {
      {"at once", 0, true, noErr, nullptr, 0},
      {"at once in another process", 0, true, noErr, nullptr, 0, true},
      {"in the third slice", 3, true, noErr, nullptr, 3},
      {"in the last slice", all_slices, true, noErr, nullptr, all_slices},
      {"while it gives up", while_giving_up, true, noErr, timed_out, all_slices},
      {"too late", after_the_load, true, noErr, timed_out, all_slices},
      {"too late and failed", after_the_load, false, -50, timed_out, all_slices},
      {"never", never_answers, true, noErr, timed_out, all_slices},
      {"nothing", 0, false, noErr, "instantiation failed (OSStatus 0)", 0},
      {"a status", 2, false, -66748, "instantiation failed (OSStatus -66748)", 2},
      {"a unit with a status", 0, true, -50, "instantiation failed (OSStatus -50)", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    UnitScript script;
    Handler kept = nullptr;
    const auto complete = [&](Handler handler) {
      handler(c.has_instance ? open_unit() : nullptr, c.status);
      handler(nullptr, -1);  // of two completions the first counts
    };
    g_slices = 0;
    g_in_slice = [&] {
      if (g_slices == c.slice) complete(kept);
    };
    // The clock is read once more after the last look at the completion.
    if (c.slice == while_giving_up) g_at_last_reading = [&] { complete(kept); };
    g_instantiate = [&](AudioComponentInstantiationOptions options, Handler handler) {
      EXPECT_EQ(options, c.out_of_process ? kAudioComponentInstantiation_LoadOutOfProcess
                                          : kAudioComponentInstantiation_LoadInProcess);
      kept = Block_copy(handler);
      if (c.slice == 0) complete(handler);
    };
    std::string error;
    {
      AudioUnitPlugin plugin(*PluginSpec::parse(UnitScript::instrument, error), c.out_of_process);
      EXPECT_EQ(plugin.load(48000, 64, error), c.error == nullptr);
      EXPECT_EQ(error, c.error == nullptr ? "" : c.error);
      EXPECT_EQ(g_slices, c.slices);
      EXPECT_EQ(plugin.unit() != nullptr, c.error == nullptr);
      EXPECT_EQ(plugin.timings().instantiate_ms, c.error == nullptr ? 10.0 * c.slices : 0);
    }
    if (c.slice == after_the_load) complete(kept);
    Block_release(kept);
    const auto count = [&](const char* call) {
      return std::count(script.calls.begin(), script.calls.end(), call);
    };
    EXPECT_EQ(count("open"), c.has_instance && c.slice != never_answers);
    EXPECT_EQ(count("close"), count("open")) << "whoever ends up with the unit closes it";
  }
}

TEST(Load, IsTheShareOfTheTimeThatTheFramesLast) {
  UnitScript script;
  g_instantiate = [](auto, Handler handler) { handler(open_unit(), noErr); };
  const struct {
    double rate;
    std::vector<std::pair<unsigned, std::uint64_t>> renders;  // frames, ticks that they took
    double largest_percent, mean_percent;
  } cases[] = {
      // No frames: no time to be measured against.
      {48000, {{48, 2'000'000}, {24, 3'000'000}, {48, 0}, {0, 1'000'000}}, 600, 200},
      {1e300, {{1, 1}}, 1e11, 1e11},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rate);
    std::string error;
    AudioUnitPlugin plugin(*PluginSpec::parse(UnitScript::instrument, error), false);
    ASSERT_TRUE(plugin.load(c.rate, 64, error)) << error;
    for (const auto& [frames, ticks] : c.renders) {
      script.render = [took = ticks](UInt32, AudioBufferList*) {
        g_ticks += took;
        return noErr;
      };
      float left[64] = {}, right[64] = {};
      ASSERT_TRUE(plugin.render_add(left, right, frames, 0));
    }
    EXPECT_EQ(plugin.stats().max_load_percent, c.largest_percent);
    EXPECT_EQ(plugin.stats().mean_load_percent, c.mean_percent);
  }
}

}  // namespace
