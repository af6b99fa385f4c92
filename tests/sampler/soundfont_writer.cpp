#include "tests/sampler/soundfont_writer.hpp"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string_view>

namespace vesk::tests {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int name_bytes = 20;
// The samples of a file are parted by this many frames of silence.
constexpr std::size_t gap_frames = 46;
constexpr unsigned key_range = 43, velocity_range = 44, sample_modes = 54, sample_id = 53,
                   instrument_id = 41;

struct Chunk {
  Bytes bytes;

  void number(std::uint64_t value, int width) {
    for (int i = 0; i < width; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
  }
  void text(std::string_view value, std::size_t width) {
    for (std::size_t i = 0; i < width; ++i)
      bytes.push_back(i < value.size() ? static_cast<std::uint8_t>(value[i]) : std::uint8_t{0});
  }
  void generator(unsigned id, unsigned amount) {
    number(id, 2);
    number(amount, 2);
  }
  void chunk(std::string_view id, const Bytes& content) {
    text(id, 4);
    number(content.size(), 4);
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
};

}  // namespace

std::vector<std::uint8_t> soundfont_file(const SoundFontDescription& description) {
  Chunk samples, headers, instrument_bags, instrument_generators;
  unsigned generators = 0;
  for (std::size_t i = 0; i < description.zones.size(); ++i) {
    const SoundFontZone& zone = description.zones[i];
    const bool is_packed = !zone.vorbis.empty();
    // Packed samples are counted in bytes, and their loops from the sample's own beginning.
    const auto first = static_cast<unsigned>(samples.bytes.size() / (is_packed ? 1 : 2));
    const std::size_t length = is_packed ? zone.vorbis.size() : zone.frames.size();
    const unsigned loop_base = is_packed ? 0 : first;
    samples.bytes.insert(samples.bytes.end(), zone.vorbis.begin(), zone.vorbis.end());
    samples.bytes.resize((samples.bytes.size() + 1) / 2 * 2);
    for (const float frame : zone.frames)
      samples.number(static_cast<std::uint16_t>(std::lround(frame * 32767)), 2);
    samples.bytes.resize(samples.bytes.size() + gap_frames * 2);
    headers.text("sample", name_bytes);
    headers.number(first, 4);
    headers.number(first + length, 4);
    headers.number(loop_base + zone.loop_start, 4);
    headers.number(loop_base + zone.loop_end, 4);
    headers.number(zone.rate, 4);
    headers.number(static_cast<unsigned>(zone.root_key), 1);
    headers.number(0, 1);                     // correction in cents
    headers.number(0, 2);                     // of another channel
    headers.number(is_packed ? 0x11 : 1, 2);  // mono
    instrument_bags.generator(generators, 0);
    instrument_generators.generator(key_range,
                                    static_cast<unsigned>(zone.key_low | zone.key_high << 8));
    instrument_generators.generator(
        velocity_range, static_cast<unsigned>(zone.velocity_low | zone.velocity_high << 8));
    instrument_generators.generator(sample_modes, zone.loop_end > zone.loop_start ? 1 : 0);
    instrument_generators.generator(sample_id, static_cast<unsigned>(i));
    generators += 4;
  }
  headers.text("EOS", name_bytes + 26);
  instrument_bags.generator(generators, 0);
  instrument_generators.generator(0, 0);

  Chunk presets, preset_bags, preset_generators, instruments;
  for (const bool is_end : {false, true}) {
    presets.text(is_end ? "EOP" : "preset", name_bytes);
    presets.number(description.preset, 2);
    presets.number(description.bank, 2);
    presets.number(is_end ? 1 : 0, 2);
    presets.text({}, 12);
    instruments.text(is_end ? "EOI" : "instrument", name_bytes);
    instruments.number(is_end ? description.zones.size() : 0, 2);
    preset_bags.generator(is_end ? 1 : 0, 0);
    preset_generators.generator(is_end ? 0 : instrument_id, 0);
  }
  Chunk info, data, lists, file, whole;
  info.text("INFO", 4);
  const bool has_vorbis = std::ranges::any_of(
      description.zones, [](const SoundFontZone& zone) { return !zone.vorbis.empty(); });
  info.chunk("ifil", {static_cast<std::uint8_t>(has_vorbis ? 3 : 2), 0, 1, 0});
  info.chunk("isng", {'E', 'M', 'U', '8', '0', '0', '0', 0});
  info.chunk("INAM", {'t', 'e', 's', 't', 0, 0});
  data.text("sdta", 4);
  data.chunk("smpl", samples.bytes);
  lists.text("pdta", 4);
  lists.chunk("phdr", presets.bytes);
  lists.chunk("pbag", preset_bags.bytes);
  lists.chunk("pmod", Bytes(10));
  lists.chunk("pgen", preset_generators.bytes);
  lists.chunk("inst", instruments.bytes);
  lists.chunk("ibag", instrument_bags.bytes);
  lists.chunk("imod", Bytes(10));
  lists.chunk("igen", instrument_generators.bytes);
  lists.chunk("shdr", headers.bytes);
  file.text("sfbk", 4);
  file.chunk("LIST", info.bytes);
  file.chunk("LIST", data.bytes);
  file.chunk("LIST", lists.bytes);
  whole.chunk("RIFF", file.bytes);
  return whole.bytes;
}

bool write_soundfont(const std::string& path, const SoundFontDescription& description) {
  const Bytes bytes = soundfont_file(description);
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  return file.good();
}

}  // namespace vesk::tests
