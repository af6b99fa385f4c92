#include "tests/sampler/exs_writer.hpp"

#include <bit>
#include <cstring>
#include <fstream>

namespace vesk::tests {
namespace {

using Bytes = std::vector<std::byte>;

constexpr std::size_t name_size = 64, path_size = 256;
constexpr unsigned numbered_slots = 100;

/// The content of one block; what lies beyond its size is dropped.
class Content {
 public:
  Content(std::size_t size, bool is_big_endian) : bytes_(size), is_big_endian_(is_big_endian) {}

  void u8(std::size_t at, int value) { put(at, static_cast<std::uint32_t>(value), 1); }
  void u16(std::size_t at, int value) { put(at, static_cast<std::uint32_t>(value), 2); }
  void u32(std::size_t at, int value) { put(at, static_cast<std::uint32_t>(value), 4); }
  void f32(std::size_t at, float value) { put(at, std::bit_cast<std::uint32_t>(value), 4); }
  void text(std::size_t at, const std::string& text, std::size_t room) {
    for (std::size_t i = 0; i < text.size() && i < room && at + i < bytes_.size(); ++i)
      bytes_[at + i] = static_cast<std::byte>(text[i]);
  }
  const Bytes& bytes() const { return bytes_; }

 private:
  void put(std::size_t at, std::uint32_t value, std::size_t width) {
    if (at + width > bytes_.size()) return;
    for (std::size_t i = 0; i < width; ++i) {
      const std::size_t place = is_big_endian_ ? width - 1 - i : i;
      bytes_[at + place] = static_cast<std::byte>(value >> (8 * i));
    }
  }
  Bytes bytes_;
  bool is_big_endian_;
};

class Writer {
 public:
  explicit Writer(const ExsLayout& layout)
      : layout_(layout), is_big_(layout.order != ExsLayout::Order::little) {}

  Content content(std::size_t size) const { return {size, is_big_}; }
  bool is_big_endian() const { return is_big_; }

  void block(unsigned type, const std::string& name, const Content& content) {
    if (layout_.has_size_flag) type |= 0x80;
    Content header(84, is_big_);
    const bool type_is_last = layout_.order != ExsLayout::Order::big_with_swapped_word;
    header.u8(type_is_last ? 3 : 0, static_cast<int>(type));
    if (!is_big_) header.u8(0, 1);
    header.u8(is_big_ && !type_is_last ? 2 : 1, 1);
    if (is_big_ && !type_is_last) header.u8(3, 1);
    const auto size = static_cast<int>(content.bytes().size());
    header.u32(4, layout_.has_size_flag ? size | 0x8000 : size);
    header.text(
        16, is_big_ ? std::string(layout_.magic.rbegin(), layout_.magic.rend()) : layout_.magic, 4);
    header.text(20, name, name_size);
    file.insert(file.end(), header.bytes().begin(), header.bytes().end());
    file.insert(file.end(), content.bytes().begin(), content.bytes().end());
  }

  Bytes file;

 private:
  const ExsLayout& layout_;
  bool is_big_;
};

void fill(Content& block, const ExsZone& zone) {
  const bool has_velocities = zone.velocity_low > 0 || zone.velocity_high < 127;
  block.u8(
      0, zone.is_one_shot | !zone.tracks_pitch << 1 | zone.is_reversed << 2 | has_velocities << 3);
  block.u8(1, zone.root_key);
  block.u8(2, zone.fine_tune);
  block.u8(3, zone.pan);
  block.u8(4, zone.volume);
  block.u8(6, zone.key_low);
  block.u8(7, zone.key_high);
  block.u8(9, zone.velocity_low);
  block.u8(10, zone.velocity_high);
  block.u32(12, zone.start);
  block.u32(16, zone.end);
  block.u32(20, zone.loop_start);
  block.u32(24, zone.loop_end);
  block.u32(28, zone.loop_crossfade);
  block.u8(32, zone.loop_tune);
  block.u8(33, zone.has_loop | zone.crossfades_equal_power << 1 | zone.leaves_loop_on_release << 2);
  block.u8(34, zone.loop_direction);
  block.u8(80, zone.coarse_tune);
  block.u32(88, zone.group);
  block.u32(92, zone.sample);
  block.u32(112, -1);
  block.f32(124, zone.exact_volume.value_or(static_cast<float>(zone.volume)));
}

void fill(Content& block, const ExsGroup& group) {
  block.u8(0, group.volume);
  block.u8(1, group.pan);
  block.u8(2, group.polyphony);
  block.u8(3, 1 | group.is_muted << 4 | (group.release_decay_ms >= 0) << 6);
  block.u8(4, group.exclusive_class);
  block.u8(5, group.velocity_low);
  block.u8(6, group.velocity_high);
  if (group.release_decay_ms >= 0) block.u16(16, group.release_decay_ms);
  block.u8(41, group.cutoff);
  block.u8(43, group.resonance);
  block.u32(56, group.attack);
  block.u32(60, group.decay);
  block.u32(64, group.sustain);
  block.u32(68, group.release);
  block.u8(73, group.sounds_on_release);
  block.u8(75, group.switch_key);
  block.u32(80, group.previous_in_turn);
  block.u8(84, group.trigger);
  block.u8(85, group.controller_number);
  block.u8(86, group.value_low);
  block.u8(87, group.value_high);
  block.u8(88, group.key_low);
  block.u8(89, group.key_high);
  block.u8(90, group.midi_channel);
}

void fill(Content& block, const ExsSample& sample, bool is_big_endian) {
  block.u32(0, 44);
  block.u32(4, sample.frames);
  block.u32(8, sample.rate);
  block.u32(12, 16);
  block.u32(16, sample.channels);
  block.u32(20, sample.channels);
  block.text(28, is_big_endian ? "WAVE" : "EVAW", 4);
  block.text(80, sample.folder, path_size);
  block.text(336, sample.file_name, path_size);
}

/// Ids of one byte in the numbered slots, which are always a hundred, the others behind them.
void fill(Content& block, const std::vector<std::pair<int, int>>& parameters) {
  block.u32(0, numbered_slots);
  unsigned slot = 0;
  int records = 0;
  for (const auto& [id, value] : parameters) {
    if (id < 256 && slot < numbered_slots) {
      block.u8(4 + slot, id);
      block.u16(4 + numbered_slots + 2 * slot++, value);
    } else {
      const std::size_t at = 308 + 4 * static_cast<std::size_t>(records++);
      block.u16(at, id);
      block.u16(at + 2, value);
    }
  }
  // Files say 20 whatever follows.
  block.u32(304, 20);
}

}  // namespace

std::vector<std::byte> exs_file(const ExsInstrument& instrument, const ExsLayout& layout) {
  Writer writer(layout);
  Content head = writer.content(layout.instrument);
  head.u32(4, static_cast<int>(instrument.zones.size()));
  head.u32(8, static_cast<int>(instrument.groups.size()));
  head.u32(12, static_cast<int>(instrument.samples.size()));
  head.u32(16, instrument.parameters.empty() ? 0 : 1);
  writer.block(0, instrument.name, head);
  for (const ExsZone& zone : instrument.zones) {
    Content block = writer.content(layout.zone);
    fill(block, zone);
    writer.block(1, zone.name, block);
  }
  for (const ExsGroup& group : instrument.groups) {
    Content block = writer.content(layout.group);
    fill(block, group);
    writer.block(2, group.name, block);
  }
  for (const ExsSample& sample : instrument.samples) {
    Content block = writer.content(layout.sample);
    fill(block, sample, writer.is_big_endian());
    writer.block(3, sample.header_name.empty() ? sample.file_name : sample.header_name, block);
  }
  if (!instrument.parameters.empty()) {
    Content block = writer.content(layout.parameters);
    fill(block, instrument.parameters);
    writer.block(4, "Default Param", block);
  }
  return writer.file;
}

bool write_exs(const std::string& path, const ExsInstrument& instrument, const ExsLayout& layout) {
  const std::vector<std::byte> bytes = exs_file(instrument, layout);
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  return !file.fail();
}

}  // namespace vesk::tests
