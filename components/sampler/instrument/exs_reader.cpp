#include "components/sampler/instrument/exs_reader.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

#include "components/sampler/instrument/exs_blocks.hpp"
#include "components/sampler/instrument/exs_parameters.hpp"
#include "components/sampler/instrument/round_robin.hpp"

namespace vesk::sampler {
namespace {

constexpr std::size_t largest_file = 64 << 20;

KeyRange range(unsigned low, unsigned high) {
  low = std::min(low, 127u);
  high = std::min(high, 127u);
  return {static_cast<std::uint8_t>(std::min(low, high)),
          static_cast<std::uint8_t>(std::max(low, high))};
}

/// False when they have nothing in common.
bool intersect(KeyRange& range, const KeyRange& other) {
  range.low = std::max(range.low, other.low);
  range.high = std::min(range.high, other.high);
  return range.low <= range.high;
}

bool bit(unsigned flags, unsigned number) {
  return (flags >> number & 1) != 0;
}

/// Whole decibels, and finer where a second field agrees with them: in many files it stays at 0.
double zone_volume(const ExsFields& fields) {
  const double whole = fields.i8(4);
  const double finer = fields.f32(124, NAN);
  const bool agrees = std::isfinite(finer) && std::abs(finer - whole) <= 1;
  return std::clamp(agrees ? finer : whole, -96.0, 24.0);
}

Loop loop_of(const ExsFields& fields) {
  Loop loop;
  const unsigned options = fields.u8(33);
  loop.start = fields.i32(20);
  loop.end = fields.i32(24);
  loop.is_on = bit(options, 0) && loop.start >= 0 && loop.end - loop.start >= 2;
  loop.crossfades_equal_power = bit(options, 1);
  loop.is_left_on_release = bit(options, 2);
  loop.crossfade = std::max(0, fields.i32(28));
  loop.tune_cents = fields.i8(32);
  if (fields.u8(34) == 1) loop.direction = Loop::Direction::backward;
  if (fields.u8(34) == 2) loop.direction = Loop::Direction::alternating;
  return loop;
}

/// All of a zone but its place among samples and groups.
Zone zone_of(const ExsBlock& block) {
  const ExsFields& fields = block.content;
  const unsigned options = fields.u8(0);
  Zone zone;
  zone.name = block.name();
  zone.is_one_shot = bit(options, 0);
  zone.tracks_pitch = !bit(options, 1);
  zone.is_reversed = bit(options, 2);
  zone.root_key = std::min<std::uint8_t>(fields.u8(1, 60), 127);
  zone.keys = range(fields.u8(6, 0), fields.u8(7, 127));
  if (bit(options, 3)) zone.velocities = range(fields.u8(9, 0), fields.u8(10, 127));
  zone.tune_cents =
      100 * std::clamp<int>(fields.i8(80), -48, 48) + std::clamp<int>(fields.i8(2), -99, 99);
  zone.gain_db = zone_volume(fields);
  zone.pan = std::clamp(fields.i8(3) / 50.0, -1.0, 1.0);
  zone.start = std::max(0, fields.i32(12));
  if (const std::int64_t end = fields.i32(16); end > 0) zone.end = std::max(end, zone.start + 1);
  zone.loop = loop_of(fields);
  return zone;
}

/// What a group adds to its zones beside what becomes of `Group`.
struct GroupLimits {
  KeyRange keys, velocities;
  double gain_db = 0, pan = 0;
};

GroupLimits limits_of(const ExsFields& fields) {
  GroupLimits limits;
  // No note has velocity 0, so that nobody means a range of nothing else.
  if (fields.u8(6, 127) > 0) limits.velocities = range(fields.u8(5, 0), fields.u8(6, 127));
  limits.keys = range(fields.u8(88, 0), fields.u8(89, 127));
  limits.gain_db = std::clamp<int>(fields.i8(0), -96, 24);
  limits.pan = std::clamp(fields.i8(1) / 50.0, -1.0, 1.0);
  return limits;
}

GroupCondition condition_of(const ExsFields& fields) {
  using enum GroupCondition::Kind;
  const KeyRange values = range(fields.u8(86), fields.u8(87, 127));
  switch (fields.u8(84)) {
    case 1:
      return {note, std::min<std::uint8_t>(fields.u8(75), 127), {}};
    case 2:
      return {round_robin, 0, {}};
    case 3:
      return {controller, std::min<std::uint8_t>(fields.u8(85), 127), values};
    case 4:
      return {bend, 0, values};
    // Whether 0 is the first channel or any is not known; any is heard.
    case 5:
      if (const unsigned one = fields.u8(90); one > 0) return {channel, 0, range(one, one)};
      return {};
    // Articulations and tempos are not told to an instrument here.
    default:
      return {};
  }
}

Group group_of(const ExsBlock& block, const ExsParameters& parameters) {
  const ExsFields& fields = block.content;
  const unsigned options = fields.u8(3);
  Group group;
  group.name = block.name();
  group.polyphony = fields.u8(2);
  group.exclusive_class = fields.u8(4);
  group.is_muted = bit(options, 4);
  group.sounds_on_release = fields.u8(73) == 1;
  if (bit(options, 6)) group.release_decay = fields.u16(16) / 1000.0;
  group.condition = condition_of(fields);
  // The sound of a release has no use for a group's moved sliders, and manuals say that they rest.
  group.envelope = exs_envelope(
      parameters, group.sounds_on_release ? ExsEnvelopeOffsets{}
                                          : ExsEnvelopeOffsets{fields.i32(56), fields.i32(60),
                                                               fields.i32(64), fields.i32(68)});
  group.cutoff_offset = std::clamp(fields.i8(41) / 100.0, -1.0, 1.0);
  group.resonance_offset = std::clamp(fields.i8(43) / 100.0, -1.0, 1.0);
  return group;
}

SampleReference sample_of(const ExsBlock& block) {
  constexpr std::size_t room = 256;
  const ExsFields& fields = block.content;
  SampleReference sample;
  if (fields.has(80, room)) sample.folder = fields.text(80, room);
  if (fields.has(336, room)) sample.file_name = fields.text(336, room);
  // The header has the name too, but long ones are shortened there.
  if (sample.file_name.empty()) sample.file_name = block.name();
  // Paths of the system before this one: Volume:Folder:File.
  if (sample.folder.find('/') == std::string::npos) std::ranges::replace(sample.folder, ':', '/');
  sample.frames = std::max(0, fields.i32(4));
  sample.sample_rate = fields.u32(8);
  sample.channels = fields.u32(16);
  return sample;
}

void link_turns(std::vector<Group>& groups, std::span<const ExsBlock* const> blocks) {
  std::vector<std::optional<int>> previous(groups.size());
  for (std::size_t i = 0; i < groups.size(); ++i)
    if (groups[i].condition.kind == GroupCondition::Kind::round_robin)
      previous[i] = blocks[i]->content.i32(80, -1);
  const auto next = make_cycles(previous);
  for (std::size_t i = 0; i < groups.size(); ++i) groups[i].next_in_turn = next[i];
}

/// The blocks of one kind, whose places among each other are what numbers in the file mean.
std::vector<const ExsBlock*> blocks_of(const std::vector<ExsBlock>& blocks, ExsBlockType type) {
  std::vector<const ExsBlock*> found;
  for (const ExsBlock& block : blocks)
    if (block.type == type) found.push_back(&block);
  return found;
}

/// Gives a zone its sample and its group. False when it can never sound.
bool settle(Zone& zone, const ExsFields& fields, std::size_t place, std::size_t samples,
            std::span<const GroupLimits> groups) {
  const std::int32_t sample = fields.i32(92, -1), group = fields.i32(88, -1);
  zone.sample = sample == -1 ? place : static_cast<std::size_t>(sample);
  if (sample < -1 || zone.sample >= samples) return false;
  if (group < 0 || static_cast<std::size_t>(group) >= groups.size()) return true;
  const GroupLimits& limits = groups[static_cast<std::size_t>(group)];
  zone.group = static_cast<std::size_t>(group);
  zone.gain_db += limits.gain_db;
  zone.pan = std::clamp(zone.pan + limits.pan, -1.0, 1.0);
  return intersect(zone.keys, limits.keys) && intersect(zone.velocities, limits.velocities);
}

/// The bytes of a file, of larger ones than can be used not many more than those.
std::vector<std::byte> read_whole(const std::string& path, std::error_code& failure) {
  // Opening a pipe would wait for whoever writes to it.
  const auto kind = std::filesystem::status(path, failure).type();
  if (!failure && kind != std::filesystem::file_type::regular)
    failure = std::make_error_code(kind == std::filesystem::file_type::directory
                                       ? std::errc::is_a_directory
                                       : std::errc::invalid_argument);
  if (failure) return {};
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  std::vector<std::byte> bytes;
  std::byte part[65'536];
  while (file && bytes.size() <= largest_file) {
    const std::size_t got = std::fread(part, 1, sizeof part, file.get());
    bytes.insert(bytes.end(), part, part + got);
    if (got < sizeof part && std::ferror(file.get()) == 0) return bytes;
    if (got < sizeof part) break;
  }
  if (bytes.size() <= largest_file) failure.assign(errno, std::generic_category());
  return bytes;
}

}  // namespace

std::optional<Instrument> read_exs(std::span<const std::byte> file, std::string& error) {
  const std::vector<ExsBlock> blocks = exs_blocks(file);
  if (blocks.empty()) {
    error = "it is no EXS24 instrument";
    return std::nullopt;
  }
  Instrument instrument;
  instrument.name = blocks.front().name();
  ExsParameters parameters;
  for (const ExsBlock* block : blocks_of(blocks, ExsBlockType::parameters))
    parameters.add(block->content);
  instrument.settings = exs_settings(parameters);
  for (const ExsBlock* block : blocks_of(blocks, ExsBlockType::sample))
    instrument.samples.push_back(sample_of(*block));

  const auto groups = blocks_of(blocks, ExsBlockType::group);
  std::vector<GroupLimits> limits;
  for (const ExsBlock* block : groups) {
    instrument.groups.push_back(group_of(*block, parameters));
    limits.push_back(limits_of(block->content));
  }
  link_turns(instrument.groups, groups);

  const auto zones = blocks_of(blocks, ExsBlockType::zone);
  for (std::size_t i = 0; i < zones.size(); ++i) {
    Zone zone = zone_of(*zones[i]);
    if (settle(zone, zones[i]->content, i, instrument.samples.size(), limits))
      instrument.zones.push_back(std::move(zone));
  }
  if (!instrument.zones.empty()) return instrument;
  error = zones.empty() ? "there is no zone in it" : "none of its zones can sound";
  return std::nullopt;
}

std::optional<Instrument> read_exs_file(const std::string& path, std::string& error) {
  std::error_code failure;
  const std::vector<std::byte> bytes = read_whole(path, failure);
  if (failure) {
    error = path + " cannot be read: " + failure.message();
    return std::nullopt;
  }
  if (bytes.size() > largest_file) {
    error = path + ": it is larger than an instrument can be, 64 MiB";
    return std::nullopt;
  }
  std::string reason;
  auto instrument = read_exs(bytes, reason);
  if (!instrument) error = path + ": " + reason;
  if (instrument && instrument->name.empty())
    instrument->name = std::filesystem::path(path).stem().string();
  return instrument;
}

}  // namespace vesk::sampler
