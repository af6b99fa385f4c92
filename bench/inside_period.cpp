#include <memory>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "bench/piano.hpp"
#include "host/chain.hpp"
#include "host/period_server.hpp"
#include "platform/render_thread.hpp"
#include "tests/support/reference_plugin.hpp"

namespace vesk::bench {
namespace {

constexpr double rate = 48'000;
constexpr unsigned period_frames = 128;

template <typename Call>
double timed_ns(Call call) {
  const std::uint64_t start = now_ns();
  call();
  return static_cast<double>(now_ns() - start);
}

/// Time inside the Audio Unit against time inside lilv's run, period by period in turn. The notes
/// are struck again every 256 periods, so that there always is something to play.
void compare_piano(Report& report, const Plan& plan) {
  std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world(lilv_world_new(), lilv_world_free);
  lilv_world_load_all(world.get());
  const auto bare = reference::ReferencePlugin::load(world.get(), piano_uri, rate, period_frames);
  host::Block block{};
  host::Chain chain;
  std::string error;
  if (!bare || !host::load_chain(piano_spec, rate, period_frames, block, chain, error))
    return report.add({"mda-lv2 ePiano", {}, {}, {}, "ns", {}, "no figure: " + error});

  const AudioComponentInstance unit = chain.plugins[0]->unit();
  const std::vector<host::MidiEvent> notes = chord();
  const int periods = plan.quick ? 2'000 : 20'000;
  std::vector<double> ours, theirs;
  double sample_time = 0;
  for (int round = 0; round < plan.rounds; ++round) {
    std::vector<double> our_times, their_times;
    for (int period = 0; period < periods; ++period, sample_time += period_frames) {
      const bool strike = period % 256 == 0;
      const std::span<const host::MidiEvent> events =
          strike ? std::span(notes) : std::span<const host::MidiEvent>();
      struct {
        AudioBufferList list;
        AudioBuffer second;
      } buffers{};
      float left[period_frames], right[period_frames];
      AudioBuffer* const buffer = buffers.list.mBuffers;
      buffers.list.mNumberBuffers = 2;
      buffer[0] = {1, sizeof left, left};
      buffer[1] = {1, sizeof right, right};
      AudioTimeStamp stamp{};
      stamp.mSampleTime = sample_time;
      stamp.mFlags = kAudioTimeStampSampleTimeValid;
      AudioUnitRenderActionFlags flags = 0;
      const auto render_ours = [&] {
        for (const host::MidiEvent& event : events)
          MusicDeviceMIDIEvent(unit, event.status, event.data1, event.data2, event.offset);
        AudioUnitRender(unit, &flags, &stamp, 0, period_frames, &buffers.list);
      };
      const auto render_theirs = [&] { bare->run(period_frames, events); };
      // In turn first and second, so that neither always finds the caches warm.
      if (period % 2 == 0) our_times.push_back(timed_ns(render_ours));
      their_times.push_back(timed_ns(render_theirs));
      if (period % 2 != 0) our_times.push_back(timed_ns(render_ours));
    }
    ours.push_back(quantile(our_times, 0.5));
    theirs.push_back(quantile(their_times, 0.5));
  }
  report.add(Row::comparing("mda-lv2 ePiano, 8 notes, 128 frames", ours, theirs, "ns", 1.05));
}

/// What serving a period costs beside the plugin: a unit that does next to nothing.
void serving_step(Report& report, const Plan& plan) {
  auto block = std::make_unique<host::Block>();
  host::Chain chain;
  std::string error;
  if (!host::load_chain("aumu:Null:Vesk", rate, period_frames, *block, chain, error))
    return report.add({"serving step", {}, {}, {}, "ns", {}, "no figure: " + error});
  host::PeriodServer server(*block, chain.plugins, false, period_frames);
  block->frames = period_frames;
  std::vector<double> rounds;
  std::uint32_t request = 0;
  for (int round = 0; round < plan.rounds; ++round) {
    std::vector<double> times;
    for (int i = 0; i < 20'000; ++i) times.push_back(timed_ns([&] { server.serve(++request); }));
    rounds.push_back(quantile(times, 0.5));
  }
  report.add(
      {"serving step with an empty unit, wake included", Figure::of(rounds), {}, {}, "ns", {}, ""});
}

}  // namespace

void inside_period(Report& report, const Plan& plan) {
  report.begin("Cost inside the period, against lilv's run in the same process");
  // Before the first search, which reads it.
  setenv("AUDIO_COMPONENT_PATH", (program_folder() + "/../components").c_str(), 1);
  const platform::RenderThread denormals_flushed_as_in_a_host;
  compare_piano(report, plan);
  serving_step(report, plan);
}

}  // namespace vesk::bench
