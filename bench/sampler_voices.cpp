#include <fluidsynth.h>
#include <sndfile.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <numbers>
#include <optional>
#include <vector>

#include "bench/benchmarks.hpp"
#include "bench/measure.hpp"
#include "components/sampler/voices/zone_sound.hpp"
#include "platform/render_thread.hpp"

namespace vesk::bench {
namespace {

constexpr int file_rate = 44'100;
constexpr double rate = 48'000;
constexpr unsigned period_frames = 128;
constexpr unsigned voices = 128;
constexpr unsigned keys = 8;
constexpr unsigned first_key = 60;

/// How far the eight keys are above the sample's pitch, in semitones.
using Transposition = std::array<int, keys>;

/// Two seconds that loop: a few partials on each side.
std::vector<short> stereo_sample() {
  std::vector<short> frames;
  for (int i = 0; i < 2 * file_rate; ++i)
    for (int side = 0; side < 2; ++side) {
      double sum = 0;
      for (int partial = 1; partial <= 9; partial += 2)
        sum += std::sin(2 * std::numbers::pi * (220 + side) * partial * i / file_rate) / partial;
      frames.push_back(static_cast<short>(sum * 8000));
    }
  return frames;
}

/// The sample in a file for as long as it lives.
class SampleFile {
 public:
  explicit SampleFile(const std::vector<short>& frames) {
    std::string name = (std::filesystem::temp_directory_path() / "vesk-bench-XXXXXX.wav").string();
    const int descriptor = mkstemps(name.data(), 4);
    path_ = name;
    SF_INFO info{0, file_rate, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
    SNDFILE* file = sf_open_fd(descriptor, SFM_WRITE, &info, 1);
    sf_write_short(file, frames.data(), static_cast<sf_count_t>(frames.size()));
    sf_close(file);
  }
  ~SampleFile() { std::filesystem::remove(path_); }
  SampleFile(const SampleFile&) = delete;
  SampleFile& operator=(const SampleFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::unique_ptr<sampler::Player> our_voices(const std::string& path, const Transposition& above,
                                            std::string& error) {
  sampler::Instrument instrument;
  instrument.samples.emplace_back();
  instrument.settings.polyphony = voices;
  for (unsigned i = 0; i < keys; ++i) {
    sampler::Zone& zone = instrument.zones.emplace_back();
    zone.keys.low = zone.keys.high = static_cast<std::uint8_t>(first_key + i);
    zone.root_key = static_cast<std::uint8_t>(static_cast<int>(first_key + i) - above[i]);
    zone.loop = {.is_on = true, .start = 0, .end = 2 * file_rate};
  }
  auto samples =
      sampler::SampleSet::load(instrument, std::span(&path, 1), sampler::default_budget());
  sampler::ZoneSound sound(std::move(instrument), std::move(samples));
  auto player = sound.make_player(rate, period_frames, error);
  for (unsigned i = 0; player && i < voices; ++i)
    player->midi(static_cast<std::uint8_t>(0x90 | i % 16),
                 static_cast<std::uint8_t>(first_key + i / 16), 20);
  return player;
}

/// FluidSynth with a SoundFont of one preset, whose notes are two voices each, one a side.
class TheirVoices {
 public:
  TheirVoices(const std::vector<short>& frames, const Transposition& above) : above_(above) {
    for (int side = 0; side < 2; ++side) {
      std::vector<short> channel;
      for (std::size_t i = static_cast<std::size_t>(side); i < frames.size(); i += 2)
        channel.push_back(frames[i]);
      samples_[side] = new_fluid_sample();
      fluid_sample_set_sound_data(samples_[side], channel.data(), nullptr,
                                  static_cast<unsigned>(channel.size()), file_rate, 1);
      fluid_sample_set_loop(samples_[side], 0, static_cast<unsigned>(channel.size()));
    }
    for (const int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO})
      fluid_set_log_function(level, nullptr, nullptr);
    settings_ = new_fluid_settings();
    fluid_settings_setnum(settings_, "synth.sample-rate", rate);
    fluid_settings_setint(settings_, "synth.polyphony", 2 * voices);
    for (const char* off : {"synth.reverb.active", "synth.chorus.active", "synth.threadsafe-api",
                            "synth.lock-memory"})
      fluid_settings_setint(settings_, off, 0);
    synth_ = new_fluid_synth(settings_);
    fluid_synth_set_interp_method(synth_, -1, FLUID_INTERP_7THORDER);
    font_ = new_fluid_sfont([](fluid_sfont_t*) { return "bench"; },
                            [](fluid_sfont_t* font, int, int) {
                              return static_cast<TheirVoices*>(fluid_sfont_get_data(font))->preset_;
                            },
                            nullptr, nullptr,
                            [](fluid_sfont_t* font) { return delete_fluid_sfont(font); });
    fluid_sfont_set_data(font_, this);
    preset_ = new_fluid_preset(
        font_, [](fluid_preset_t*) { return "bench"; }, [](fluid_preset_t*) { return 0; },
        [](fluid_preset_t*) { return 0; }, &note_on, [](fluid_preset_t*) {});
    fluid_preset_set_data(preset_, this);
    const int id = fluid_synth_add_sfont(synth_, font_);
    for (int channel = 0; channel < 16; ++channel)
      fluid_synth_program_select(synth_, channel, static_cast<unsigned>(id), 0, 0);
    for (unsigned i = 0; i < voices; ++i)
      fluid_synth_noteon(synth_, static_cast<int>(i % 16), static_cast<int>(first_key + i / 16),
                         20);
  }
  ~TheirVoices() {
    delete_fluid_synth(synth_);
    delete_fluid_settings(settings_);
    delete_fluid_preset(preset_);
    for (fluid_sample_t* sample : samples_) delete_fluid_sample(sample);
  }
  TheirVoices(const TheirVoices&) = delete;
  TheirVoices& operator=(const TheirVoices&) = delete;

  unsigned sounding() const {
    return static_cast<unsigned>(fluid_synth_get_active_voice_count(synth_));
  }
  void render(float* left, float* right) {
    fluid_synth_write_float(synth_, period_frames, left, 0, 1, right, 0, 1);
  }

 private:
  static int note_on(fluid_preset_t* preset, fluid_synth_t* synth, int channel, int key,
                     int velocity) {
    auto* self = static_cast<TheirVoices*>(fluid_preset_get_data(preset));
    for (int side = 0; side < 2; ++side) {
      fluid_voice_t* voice =
          fluid_synth_alloc_voice(synth, self->samples_[side], channel, key, velocity);
      if (voice == nullptr) return FLUID_FAILED;
      fluid_voice_gen_set(
          voice, GEN_OVERRIDEROOTKEY,
          static_cast<float>(key - self->above_[static_cast<unsigned>(key) - first_key]));
      fluid_voice_gen_set(voice, GEN_SAMPLEMODE, 1);
      fluid_voice_gen_set(voice, GEN_PAN, side == 0 ? -500 : 500);
      fluid_synth_start_voice(synth, voice);
    }
    return FLUID_OK;
  }

  Transposition above_;
  fluid_sample_t* samples_[2];
  fluid_settings_t* settings_;
  fluid_synth_t* synth_;
  fluid_sfont_t* font_;
  fluid_preset_t* preset_;
};

}  // namespace

void sampler_voices(Report& report, const Plan& plan) {
  report.begin("Sampler, 128 stereo voices of 44.1 kHz at 48 kHz, 128 frames, against FluidSynth");
  const platform::RenderThread scope;
  const std::vector<short> frames = stereo_sample();
  const SampleFile file(frames);
  struct {
    const char* name;
    Transposition above;
    std::optional<double> limit;
    const char* remark;
  } const cases[] = {
      {"at the sample's pitch", {}, 1.0, ""},
      {"over eight semitones around it", {-4, -3, -2, -1, 0, 1, 2, 3}, 1.0, ""},
      {"an octave up", {12, 12, 12, 12, 12, 12, 12, 12}, {}, "only ours filters what would alias"}};
  const double period_us = period_frames / rate * 1e6;
  for (const auto& each : cases) {
    std::string error;
    const auto ours = our_voices(file.path(), each.above, error);
    TheirVoices theirs(frames, each.above);
    if (!ours || theirs.sounding() != 2 * voices)
      return report.add({each.name, {}, {}, {}, "us", {}, "no figure: " + error});
    float left[period_frames], right[period_frames];
    const auto timed_us = [](auto call) {
      const std::uint64_t start = now_ns();
      call();
      return static_cast<double>(now_ns() - start) / 1000;
    };
    std::vector<double> our_rounds, their_rounds, per_voice, share;
    for (int round = 0; round < plan.rounds; ++round) {
      std::vector<double> our_times, their_times;
      for (int period = 0; period < (plan.quick ? 200 : 2'000); ++period) {
        our_times.push_back(timed_us([&] { ours->render(left, right, period_frames); }));
        their_times.push_back(timed_us([&] { theirs.render(left, right); }));
      }
      our_rounds.push_back(quantile(our_times, 0.5));
      their_rounds.push_back(quantile(their_times, 0.5));
      per_voice.push_back(our_rounds.back() / voices);
      share.push_back(100 * our_rounds.back() / period_us);
    }
    const std::string name = each.name;
    Row row = Row::comparing(name, our_rounds, their_rounds, "us", each.limit);
    row.remark = each.remark;
    report.add(row);
    report.add({name + ", a voice", Figure::of(per_voice), {}, {}, "us", {}, ""});
    report.add({name + ", of a core", Figure::of(share), {}, {}, "%", 40.0, ""});
  }
}

}  // namespace vesk::bench
