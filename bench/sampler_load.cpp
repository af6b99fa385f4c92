#include <sndfile.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <vector>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "components/sampler/samples/sample_set.hpp"

namespace vesk::bench {
namespace {

using sampler::Instrument;
using sampler::SampleSet;

constexpr int sample_rate = 48'000;
constexpr unsigned period = 128;
constexpr int whole_frames = 40'000, beginning_frames = 16'800;

/// Stereo samples of one format in a folder of their own, and an instrument with a zone for each.
class Samples {
 public:
  Samples(const char* ending, int format, std::size_t count, int frames)
      : folder_(std::filesystem::temp_directory_path() /
                ("vesk-bench-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(folder_);
    std::vector<float> sound(static_cast<std::size_t>(frames) * 2);
    for (std::size_t i = 0; i < sound.size(); ++i)
      sound[i] = 0.5f * std::sin(static_cast<float>(i) * 0.01f);
    for (std::size_t i = 0; i < count; ++i) {
      paths.push_back(folder_ / (std::to_string(i) + ending));
      SF_INFO info{0, sample_rate, 2, format, 0, 0};
      SNDFILE* const file = sf_open(paths.back().c_str(), SFM_WRITE, &info);
      if (file == nullptr) continue;
      sf_writef_float(file, sound.data(), frames);
      sf_close(file);
      instrument.zones.emplace_back().sample = i;
      instrument.zones.back().keys = {60, 60};
    }
    instrument.samples.resize(count);
  }
  ~Samples() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Samples(const Samples&) = delete;
  Samples& operator=(const Samples&) = delete;

  /// Seconds that libsndfile takes for the first `frames` of each.
  double read(int frames) const {
    std::vector<float> sound(static_cast<std::size_t>(frames) * 2);
    const std::uint64_t start = now_ns();
    for (const std::string& path : paths) {
      SF_INFO info{};
      SNDFILE* const file = sf_open(path.c_str(), SFM_READ, &info);
      sf_readf_float(file, sound.data(), frames);
      sf_close(file);
    }
    return static_cast<double>(now_ns() - start) / 1e9;
  }

  std::vector<std::string> paths;
  Instrument instrument;

 private:
  std::filesystem::path folder_;
};

/// Into a budget of `share` of what the samples take; of each, `frames` come into memory then.
void load(Report& report, const Plan& plan, const char* name, double share, int frames) {
  const std::size_t count = plan.quick ? 100 : 1000;
  const Samples samples(".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, count, whole_frames);
  const auto budget =
      static_cast<std::size_t>(static_cast<double>(count) * whole_frames * 6 * share);
  std::vector<double> ours, reference, beyond;
  for (int round = 0; round < plan.rounds; ++round) {
    reference.push_back(samples.read(frames));
    const std::uint64_t start = now_ns();
    const auto set = SampleSet::load(samples.instrument, samples.paths, {budget});
    ours.push_back(static_cast<double>(now_ns() - start) / 1e9);
    beyond.push_back(ours.back() - reference.back());
    if (!set->missing().empty()) return report.note("samples are missing");
  }
  report.add(Row::comparing(name, ours, reference, "s", {}));
  report.add({"  beyond reading", Figure::of(beyond), {}, {}, "s", 1.0, ""});
}

/// As many voices as there are, an octave above their samples, as fast as the worker can.
void stream(Report& report, const Plan& plan, const char* name, const char* ending, int format) {
  constexpr unsigned voices = 128;
  constexpr int frames = 200'000;
  const Samples samples(ending, format, voices, frames);
  std::vector<double> ours, reference;
  for (int round = 0; round < plan.rounds; ++round) {
    const auto set = SampleSet::load(samples.instrument, samples.paths, {0});
    set->set_offline(true);
    auto streams = set->make_streams(voices);
    const std::uint64_t start = now_ns();
    for (unsigned voice = 0; voice < voices; ++voice) streams[voice].start(voice);
    std::array<float, 2 * period> left, right;
    for (int done = 0; done < frames; done += 2 * period)
      for (auto& voice : streams) voice.read(left.data(), right.data(), 2 * period);
    ours.push_back(static_cast<double>(now_ns() - start) / 1e9);
    reference.push_back(frames / (2.0 * sample_rate));
    for (const auto& voice : streams)
      if (voice.has_starved()) return report.note("a voice has starved");
  }
  report.add(Row::comparing(name, ours, reference, "s", 1.0));
}

}  // namespace

void sampler_load(Report& report, const Plan& plan) {
  report.begin("Sampler: 1,000 zones (--quick: 100) loaded, against libsndfile's reading alone");
  load(report, plan, "all of 40,000 frames each", 1, whole_frames);
  load(report, plan, "the first 0.35 s of them", 0.5, beginning_frames);
  report.begin("Sampler: 128 stereo voices an octave up, streamed, against the time they sound");
  stream(report, plan, "24-bit WAV", ".wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24);
  stream(report, plan, "24-bit FLAC", ".flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
}

}  // namespace vesk::bench
