// Audio files: whatever a file says of itself, reading it ends, in frames or in a sentence.
#include <cstring>

#include "fuzz/input.hpp"
#include "tools/audio/reader.hpp"

using vesk::fuzz::expect;

// What libsndfile loses of a file that it refuses is not ours to free.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libsndfile";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vesk::fuzz::InputFile input(data, size);
  // The converter takes most of the time, so few files meet it.
  const int rate = size % 16 == 0 ? 8'000 : 0;
  std::string error;
  const auto reader = vesk::tools::AudioReader::open(input.path(), rate, error);
  expect((reader == nullptr) == !error.empty());
  if (reader == nullptr) return 0;
  expect(reader->channels() > 0 && reader->file_rate() > 0 && reader->sample_rate() > 0);
  float left[512], right[512];
  std::uint64_t frames = 0;
  while (frames < 1 << 16) {
    const std::uint32_t got = reader->read(left, right, 512);
    frames += got;
    // One channel is given to both sides.
    if (reader->channels() == 1) expect(std::memcmp(left, right, got * sizeof(float)) == 0);
    if (got < 512) break;
  }
  if (frames < 1 << 16) expect(reader->read(left, right, 512) == 0);
  return 0;
}
