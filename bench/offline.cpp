#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "tests/support/reference_plugin.hpp"
#include "tools/render/render_song.hpp"
#include "tools/render/song_sink.hpp"
#include "tools/render/song_source.hpp"

namespace vesk::bench {
namespace {

constexpr const char* demo_chain = "aumu:Sm48:LV2_|aufx:jvLs:LV2_|aufx:kZu9:LV2_";
constexpr const char* uris[] = {"http://drobilla.net/plugins/mda/EPiano",
                                "http://drobilla.net/plugins/mda/Delay",
                                "http://drobilla.net/plugins/mda/Ambience"};

/// Seconds from the first period to the last sample written, the same song through the same
/// plugins run by lilv in this process, with the same reader, writer and loudness meter.
double render_in_process(const std::string& song, const std::string& output, unsigned frames,
                         LilvWorld* world, std::string& error) {
  auto source = tools::SongSource::open({.midi_path = song, .sample_rate = 48'000}, error);
  auto file = tools::OutputFile::create(output, error);
  if (!source || !file) return 0;
  tools::SongSink::Settings settings;
  settings.sample_rate = 48'000;
  auto sink = tools::SongSink::open(*file, settings, error);
  std::vector<std::unique_ptr<reference::ReferencePlugin>> chain;
  for (const char* uri : uris)
    chain.push_back(reference::ReferencePlugin::load(world, uri, 48'000, frames));
  if (!sink || !chain[0] || !chain[1] || !chain[2]) return 0;

  const std::uint64_t start = now_ns();
  while (!sink->is_over() && source->prepare(frames, error)) {
    chain[0]->run(frames, source->events());
    for (std::size_t i = 1; i < chain.size(); ++i) {
      for (int channel = 0; channel < 2; ++channel)
        chain[i]->input[channel] = chain[i - 1]->output[channel];
      chain[i]->run(frames, {});
    }
    if (!sink->take(chain.back()->output[0].data(), chain.back()->output[1].data(), frames,
                    source->end_frame(), error))
      return 0;
  }
  sink->finish(error);
  return static_cast<double>(now_ns() - start) / 1e9;
}

double render_through_host(const std::string& song, const std::string& output, unsigned frames,
                           std::string& error) {
  tools::RenderArguments arguments;
  arguments.chain = *parse_chain(demo_chain, ChainStart::instrument, error);
  arguments.midi_path = song;
  arguments.output_path = output;
  arguments.sample_rate = 48'000;
  arguments.period = frames;
  tools::RenderReport rendered;
  if (tools::render_song(arguments, rendered, error) != tools::RenderOutcome::done) return 0;
  return rendered.render_seconds;
}

}  // namespace

void offline(Report& report, const Plan& plan) {
  report.begin("Offline: the demo song through vesk-render, against one process with lilv");
  const std::string song = VESK_DEMO_SONG;
  const std::string output =
      (std::filesystem::temp_directory_path() / ("vesk-bench-" + std::to_string(getpid()) + ".wav"))
          .string();
  std::unique_ptr<LilvWorld, decltype(&lilv_world_free)> world(lilv_world_new(), lilv_world_free);
  lilv_world_load_all(world.get());
  for (const unsigned frames : {512u, 128u}) {
    std::vector<double> ours, reference;
    std::string error;
    for (int round = 0; round < plan.rounds && error.empty(); ++round) {
      ours.push_back(render_through_host(song, output, frames, error));
      reference.push_back(render_in_process(song, output, frames, world.get(), error));
    }
    const std::string name = std::to_string(frames) + " frames";
    if (!error.empty())
      report.add({name, {}, {}, {}, "s", {}, "no figure: " + error});
    else
      report.add(Row::comparing(name, ours, reference, "s", frames == 512 ? 1.1 : 1.25));
  }
  std::remove(output.c_str());
}

}  // namespace vesk::bench
