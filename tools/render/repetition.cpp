#include "tools/render/repetition.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "tools/audio/reader.hpp"

namespace vesk::tools {
namespace {

constexpr std::size_t chunk_bytes = 1 << 20;
constexpr std::uint32_t chunk_frames = 65'536;

/// Also of what is no number.
bool is_same(float one, float other) {
  return std::bit_cast<std::uint32_t>(one) == std::bit_cast<std::uint32_t>(other);
}

/// The first frame that is another one, bit for bit, or that only one of them has.
std::optional<std::uint64_t> first_difference(AudioReader& first, AudioReader& second) {
  std::vector<float> left[2], right[2];
  for (int i : {0, 1}) {
    left[i].resize(chunk_frames);
    right[i].resize(chunk_frames);
  }
  for (std::uint64_t start = 0;;) {
    const std::uint32_t got[] = {first.read(left[0].data(), right[0].data(), chunk_frames),
                                 second.read(left[1].data(), right[1].data(), chunk_frames)};
    const std::uint32_t both = std::min(got[0], got[1]);
    for (std::uint32_t i = 0; i < both; ++i)
      if (!is_same(left[0][i], left[1][i]) || !is_same(right[0][i], right[1][i])) return start + i;
    if (got[0] != got[1]) return start + both;
    if (both == 0) return std::nullopt;
    start += both;
  }
}

std::string difference_of(const OutputFile& one, const OutputFile& other) {
  std::string error;
  const auto first = AudioReader::open(one.temporary_path(), 0, error);
  const auto second = first ? AudioReader::open(other.temporary_path(), 0, error) : nullptr;
  if (!second) return error;
  const auto frame = first_difference(*first, *second);
  if (!frame) return "a second rendering made other bytes of the same samples";
  char text[96];
  std::snprintf(
      text, sizeof text, "a second rendering differs from the first from frame %llu on (%.3f s)",
      static_cast<unsigned long long>(*frame), static_cast<double>(*frame) / first->sample_rate());
  return text;
}

}  // namespace

bool is_same_audio(const OutputFile& first, const OutputFile& second, std::string& error) {
  std::vector<char> one(chunk_bytes), other(chunk_bytes);
  for (off_t place = 0;;) {
    const ssize_t got = first.read_at(one.data(), one.size(), place);
    const ssize_t again = second.read_at(other.data(), other.size(), place);
    if (got < 0 || again < 0) {
      error = first.path() + ": cannot be compared: " + std::strerror(errno);
      return false;
    }
    if (got != again || std::memcmp(one.data(), other.data(), static_cast<std::size_t>(got)) != 0) {
      error = first.path() + ": " + difference_of(first, second);
      return false;
    }
    if (got == 0) return true;
    place += got;
  }
}

}  // namespace vesk::tools
