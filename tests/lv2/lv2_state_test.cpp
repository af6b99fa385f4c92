// What was set on an LV2 plugin comes back out of its preset file, sample by sample: in hosts that
// are started anew, after a save that closing the editor made.

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <numbers>

#include "host/chain.hpp"
#include "host/state_saver.hpp"
#include "tests/support/display.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"

namespace vesk::host {
namespace {

using namespace vesk::tests;

constexpr unsigned frames = 128;
constexpr int periods = 300;
using Sound = std::vector<float>;

/// A few notes within the period, released later.
std::vector<MidiEvent> notes_of(int period) {
  const auto key = static_cast<std::uint8_t>(48 + period * 7 % 24);
  if (period % 30 == 1) return {{0x90, key, 90, 0, 5}};
  if (period % 30 == 21)
    return {{0x80, static_cast<std::uint8_t>(48 + (period - 20) * 7 % 24), 0, 0, 77}};
  return {};
}

/// What the host plays from here on.
Sound play(RawHost& host) {
  Sound sound;
  Block& block = host.block();
  for (int period = 0; period < periods; ++period) {
    const std::vector<MidiEvent> events = notes_of(period);
    std::copy(events.begin(), events.end(), block.midi);
    block.midi_count = static_cast<std::uint32_t>(events.size());
    if (!host.serve(frames, period * static_cast<double>(frames))) return {};
    sound.insert(sound.end(), block.output_left, block.output_left + frames);
    sound.insert(sound.end(), block.output_right, block.output_right + frames);
  }
  return sound;
}

/// What a new host of the chain plays.
Sound sound_of(const std::string& chain) {
  RawHost host({.chain = chain, .max_frames = "128"});
  if (!host.wait_listening()) {
    ADD_FAILURE() << chain << ": " << host.block().error;
    return {};
  }
  Sound sound = play(host);
  EXPECT_TRUE(host.stop()) << host.standard_error();
  return sound;
}

float peak_of(const Sound& sound) {
  float peak = 0;
  for (const float sample : sound) peak = std::max(peak, std::abs(sample));
  return peak;
}

/// How far `other` is from `sound`, as a part of it (root mean squares).
double distance(const Sound& sound, const Sound& other) {
  double apart = 0, whole = 0;
  for (std::size_t i = 0; i < std::min(sound.size(), other.size()); ++i) {
    apart += std::pow(double{other[i]} - double{sound[i]}, 2);
    whole += std::pow(double{sound[i]}, 2);
  }
  return std::sqrt(apart / whole);
}

bool is_finite(const Sound& sound) {
  return std::all_of(sound.begin(), sound.end(),
                     [](float sample) { return std::isfinite(sample); });
}

struct Setting {
  unsigned id;
  float value;
};

/// In a new host of the chain: opens the editor, does what is to be done, and closes it, which
/// saves.
bool edit(const std::string& chain, const std::function<void(RawHost&)>& work) {
  RawHost host({.chain = chain, .max_frames = "128"});
  if (!host.wait_listening()) return false;
  host.ask_window(WindowRequest::open, 0, "State");
  if (!host.wait_open(1)) return false;
  work(host);
  if (!host.wait_turns()) return false;
  host.ask_window(WindowRequest::close_all);
  EXPECT_TRUE(host.wait_open(0));
  EXPECT_EQ(load_acquire(host.block().saved_write), 1u);
  EXPECT_TRUE(host.stop()) << host.standard_error();
  return true;
}

TEST(Lv2StateFiles, BringBackWhatWasSetOnInstruments) {
  const VirtualDisplay display;
  ASSERT_TRUE(display.is_running());
  // Values that have no short decimal form, so that a rounded one would be heard.
  const std::vector<Setting> settings = {{0, 1.0f / 3}, {1, 0.1f}, {2, 0.7f}, {7, 2.0f / 3}};
  const struct {
    const char* name;
    const char* unit;
  } instruments[] = {
      {"ePiano", "aumu:Sm48:LV2_"},
      {"Piano", "aumu:NhXb:LV2_"},
      {"JX10", "aumu:F4rM:LV2_"},
      {"DX10", "aumu:dxhr:LV2_"},
  };
  for (const auto& instrument : instruments) {
    SCOPED_TRACE(instrument.name);
    const ScratchFolder folder;
    const std::string fresh = instrument.unit;
    const std::string chain = fresh + "@" + folder / "p.aupreset";
    const Sound before = sound_of(fresh);
    ASSERT_TRUE(is_finite(before));
    ASSERT_TRUE(before == sound_of(fresh)) << "the plugin itself is not deterministic";

    ASSERT_TRUE(edit(chain, [&](RawHost& host) {
      for (const Setting& setting : settings) host.set_parameter(0, setting.id, setting.value);
    }));
    std::string set = fresh;
    for (const Setting& setting : settings) {
      char text[48];
      std::snprintf(text, sizeof text, "%c%u=%.9g", set == fresh ? '#' : ',', setting.id,
                    static_cast<double>(setting.value));
      set += text;
    }
    const Sound expected = sound_of(set);
    EXPECT_GT(peak_of(expected), 0.01f);
    EXPECT_FALSE(expected == before) << "the settings are not to be heard";
    EXPECT_TRUE(sound_of(chain) == expected);
  }
}

// ---- Plugins that save more than their controls ----

/// A chain of one plugin in this process, and its preset file.
class SavedChain {
 public:
  explicit SavedChain(const std::string& text) {
    is_loaded_ = load_chain(text, 48'000, frames, *block_, chain_, error_);
  }
  bool is_loaded() const { return is_loaded_; }
  const std::string& error() const { return error_; }
  void save() { saver_.save(0); }

 private:
  std::unique_ptr<Block> block_ = std::make_unique<Block>();
  Chain chain_;
  StateSaver saver_{block_.get(), &chain_.plugins};
  std::string error_;
  bool is_loaded_ = false;
};

/// Reads a preset file as a property list that can be changed, or null.
CFMutableDictionaryRef read_preset(const std::string& path) {
  const Bytes bytes = file_bytes(path);
  const CFDataRef data = CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()));
  const CFPropertyListRef list = CFPropertyListCreateWithData(
      nullptr, data, kCFPropertyListMutableContainers, nullptr, nullptr);
  CFRelease(data);
  return static_cast<CFMutableDictionaryRef>(const_cast<void*>(list));
}

/// Gives the property whose key ends in `key` another value. False when there is no such.
bool change_property(const std::string& path, const std::string& key, const void* value,
                     std::size_t size) {
  const CFMutableDictionaryRef preset = read_preset(path);
  if (!preset) return false;
  const auto properties = static_cast<CFArrayRef>(CFDictionaryGetValue(preset, CFSTR("lv2-state")));
  bool is_found = false;
  for (CFIndex i = 0; properties && i < CFArrayGetCount(properties); ++i) {
    const auto property = static_cast<CFMutableDictionaryRef>(
        const_cast<void*>(CFArrayGetValueAtIndex(properties, i)));
    char name[256] = "";
    CFStringGetCString(static_cast<CFStringRef>(CFDictionaryGetValue(property, CFSTR("key"))), name,
                       sizeof name, kCFStringEncodingUTF8);
    if (!std::string(name).ends_with(key)) continue;
    const CFDataRef data =
        CFDataCreate(nullptr, static_cast<const UInt8*>(value), static_cast<CFIndex>(size));
    CFDictionarySetValue(property, CFSTR("value"), data);
    CFRelease(data);
    is_found = true;
  }
  const CFDataRef text =
      CFPropertyListCreateData(nullptr, preset, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(CFDataGetBytePtr(text)), CFDataGetLength(text));
  CFRelease(text);
  CFRelease(preset);
  return is_found;
}

void append(std::string& bytes, std::uint32_t value, int count) {
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(value >> 8 * i & 0xFF);
}

/// A second of a tone at 48 kHz as a WAV file of 16-bit samples.
void write_tone(const std::string& path) {
  constexpr std::uint32_t rate = 48'000;
  std::string wav = "RIFF";
  append(wav, 36 + 2 * rate, 4);
  wav += "WAVEfmt ";
  append(wav, 16, 4);
  append(wav, 1, 2);
  append(wav, 1, 2);
  append(wav, rate, 4);
  append(wav, 2 * rate, 4);
  append(wav, 2, 2);
  append(wav, 16, 2);
  wav += "data";
  append(wav, 2 * rate, 4);
  for (std::uint32_t i = 0; i < rate; ++i) {
    const double sample = std::sin(2 * std::numbers::pi * 441 * i / rate);
    append(wav, static_cast<std::uint16_t>(std::lround(12'000 * sample)), 2);
  }
  std::ofstream(path, std::ios::binary) << wav;
}

TEST(Lv2StateFiles, BringBackTheSampleAndTheGainOfASampler) {
  if (!std::filesystem::exists("/usr/lib/lv2/eg-sampler.lv2"))
    GTEST_SKIP() << "Debian 13's lv2-examples come without the sampler";
  const ScratchFolder folder;
  const std::string preset = folder / "p.aupreset", tone = folder / "tone.wav";
  const std::string fresh = "aumu:JKlm:LV2_", chain = fresh + "@" + preset;
  write_tone(tone);
  {
    SavedChain saved(chain);
    ASSERT_TRUE(saved.is_loaded()) << saved.error();
    saved.save();
  }
  const Sound click = sound_of(fresh);
  EXPECT_TRUE(sound_of(chain) == click);

  const float gain = -1.0f / 3;
  ASSERT_TRUE(change_property(preset, "eg-sampler#sample", tone.c_str(), tone.size() + 1));
  ASSERT_TRUE(change_property(preset, "parameters#gain", &gain, sizeof gain));
  const Sound changed = sound_of(chain);
  EXPECT_FALSE(changed == click);
  EXPECT_NEAR(peak_of(changed), 12'000.0 / 32'768 * std::pow(10, gain / 20), 1e-3);
  const Bytes by_hand = file_bytes(preset);
  // Nothing in it can be set from an editor of ours, and what is not changed is not saved.
  {
    SavedChain saved(chain);
    ASSERT_TRUE(saved.is_loaded()) << saved.error();
    std::filesystem::remove(preset);
    saved.save();
  }
  EXPECT_TRUE(file_bytes(preset) == by_hand);
  EXPECT_TRUE(sound_of(chain) == changed);
}

TEST(Lv2StateFiles, BringBackTheViewOfAScope) {
  const ScratchFolder folder;
  const std::string preset = folder / "p.aupreset";
  const std::string chain = "aufx:4ioz:LV2_@" + preset;
  const auto save = [&] {
    SavedChain saved(chain);
    EXPECT_TRUE(saved.is_loaded()) << saved.error();
    std::filesystem::remove(preset);
    if (saved.is_loaded()) saved.save();
  };
  save();
  const Bytes fresh = file_bytes(preset);
  const std::int32_t samples_per_pixel = 77;
  const float amplitude = 1.0f / 3;
  ASSERT_TRUE(change_property(preset, "#ui-spp", &samples_per_pixel, sizeof samples_per_pixel));
  ASSERT_TRUE(change_property(preset, "#ui-amp", &amplitude, sizeof amplitude));
  const Bytes changed = file_bytes(preset);
  EXPECT_NE(changed, fresh);
  save();
  EXPECT_TRUE(file_bytes(preset) == changed);
}

// An organ whose drawbars and switches are no control ports, set by controllers.
TEST(Lv2StateFiles, BringBackTheDrawbarsOfAnOrgan) {
  const VirtualDisplay display(false);
  ASSERT_TRUE(display.is_running());
  const ScratchFolder folder;
  const std::string fresh = "aumu:VXI3:LV2_", chain = fresh + "@" + folder / "p.aupreset";
  const MidiEvent drawbars[] = {
      {0xB0, 70, 20, 0, 0}, {0xB0, 71, 90, 0, 0}, {0xB0, 73, 60, 0, 0}, {0xB0, 74, 110, 0, 0}};
  ASSERT_TRUE(edit(chain, [&](RawHost& host) {
    std::copy(std::begin(drawbars), std::end(drawbars), host.block().midi);
    host.block().midi_count = std::size(drawbars);
    for (int i = 0; i < 100; ++i) {
      EXPECT_TRUE(host.serve(frames, i * static_cast<double>(frames)));
      host.block().midi_count = 0;
    }
  }));
  // Not the same twice when the controllers come while it runs, so its own sound is no measure. And
  // it rolls its dice by the second that it starts in: 4 to 12 % from one second to another, where
  // other drawbars make 70 %.
  const Sound restored = sound_of(chain);
  EXPECT_GT(distance(restored, sound_of(fresh)), 0.5) << "the drawbars are not to be heard";
  EXPECT_LT(distance(restored, sound_of(chain)), 0.25);
}

}  // namespace
}  // namespace vesk::host
