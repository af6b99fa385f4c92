#include "components/sampler/samples/sample_data.hpp"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <utility>

namespace vesk::sampler {
namespace {

// A 24-bit sample is read as the upper part of a word that begins a byte before it. Floats stay
// aligned.
constexpr std::size_t spare_bytes = 4;

template <Width width>
float sample_at(const std::byte* at) VESK_REALTIME {
  if constexpr (width == Width::bits16) {
    std::int16_t sample;
    std::memcpy(&sample, at, sizeof sample);
    return static_cast<float>(sample) * 0x1p-15f;
  } else if constexpr (width == Width::bits24) {
    std::uint32_t word;
    std::memcpy(&word, at - 1, sizeof word);
    return static_cast<float>(static_cast<std::int32_t>(word & ~0xffu)) * 0x1p-31f;
  } else {
    float sample;
    std::memcpy(&sample, at, sizeof sample);
    return sample;
  }
}

template <Width width, int channels>
void widen(const std::byte* at, int step, unsigned count, float* left, float* right) VESK_REALTIME {
  constexpr int sample_bytes = static_cast<int>(width);
  const std::ptrdiff_t frame_bytes = sample_bytes * channels * step;
  for (unsigned i = 0; i < count; ++i, at += frame_bytes) {
    left[i] = sample_at<width>(at);
    right[i] = channels == 1 ? left[i] : sample_at<width>(at + sample_bytes);
  }
}

using Widen = void (*)(const std::byte*, int, unsigned, float*, float*) VESK_REALTIME;

Widen widen_for(Width width, unsigned channels) VESK_REALTIME {
  switch (width) {
    case Width::bits16:
      return channels == 1 ? widen<Width::bits16, 1> : widen<Width::bits16, 2>;
    case Width::bits24:
      return channels == 1 ? widen<Width::bits24, 1> : widen<Width::bits24, 2>;
    case Width::float32:
      break;
  }
  return channels == 1 ? widen<Width::float32, 1> : widen<Width::float32, 2>;
}

/// All that is in memory of this process, for as long as somebody holds it.
struct Registry {
  std::mutex mutex;
  std::map<std::pair<FileKey, std::vector<Stretch>>, std::weak_ptr<const SampleData>> samples;
};

Registry& registry() {
  static Registry* const lasting = new Registry;  // samples may be let go of at the very end
  return *lasting;
}

}  // namespace

std::vector<Stretch> joined(std::vector<Stretch> stretches) {
  std::sort(stretches.begin(), stretches.end());
  std::vector<Stretch> result;
  for (const Stretch& stretch : stretches)
    if (result.empty() || stretch.first > result.back().end)
      result.push_back(stretch);
    else
      result.back().end = std::max(result.back().end, stretch.end);
  return result;
}

std::shared_ptr<const SampleData> SampleData::get(const std::string& path, const FileKey& key,
                                                  std::vector<Stretch> stretches) {
  Registry& known = registry();
  const std::pair wanted(key, std::move(stretches));
  {
    const std::lock_guard lock(known.mutex);
    const auto found = known.samples.find(wanted);
    if (found != known.samples.end())
      if (auto data = found->second.lock()) return data;
  }
  std::shared_ptr<const SampleData> loaded;
  try {
    loaded = load(path, key, wanted.second);
  } catch (const std::bad_alloc&) {
  }
  if (!loaded) return {};
  const std::lock_guard lock(known.mutex);
  std::erase_if(known.samples, [](const auto& entry) { return entry.second.expired(); });
  std::weak_ptr<const SampleData>& entry = known.samples[wanted];
  if (auto faster = entry.lock()) return faster;
  entry = loaded;
  return loaded;
}

std::shared_ptr<const SampleData> SampleData::load(const std::string& path, const FileKey& key,
                                                   const std::vector<Stretch>& stretches) {
  const std::unique_ptr<SampleFile> file = SampleFile::open(path);
  if (!file || file->key() != key) return {};
  std::shared_ptr<SampleData> data(new SampleData);
  data->path_ = path;
  data->format_ = file->format();
  const std::size_t frame_bytes = data->format_.frame_bytes();
  std::size_t size = spare_bytes;
  for (const Stretch& stretch : stretches) {
    data->parts_.push_back({stretch, size});
    size += static_cast<std::size_t>(stretch.end - stretch.first) * frame_bytes;
  }
  if (stretches.empty()) {
    data->parts_.push_back({{0, data->format_.frames}, size});
    size += static_cast<std::size_t>(data->format_.frames) * frame_bytes;
  }
  // A file may claim more than it has: memory that is never written costs nothing.
  data->bytes_ = std::make_unique_for_overwrite<std::byte[]>(size);
  for (Part& part : data->parts_) {
    const std::int64_t count = part.frames.end - part.frames.first;
    std::byte* const bytes = data->bytes_.get() + part.offset;
    const std::int64_t got = file->read_packed(part.frames.first, count, bytes);
    if (stretches.empty())
      part.frames.end = data->format_.frames = got;
    else if (got < count)
      std::memset(bytes + static_cast<std::size_t>(got) * frame_bytes, 0,
                  static_cast<std::size_t>(count - got) * frame_bytes);
  }
  if (data->format_.frames == 0) return {};
  return data;
}

const SampleData::Part* SampleData::part_of(std::int64_t frame) const noexcept VESK_REALTIME {
  const auto after = std::upper_bound(parts_.begin(), parts_.end(), frame,
                                      [](std::int64_t value, const Part& part)
                                          VESK_REALTIME { return value < part.frames.first; });
  if (after == parts_.begin()) return nullptr;
  const Part& part = *(after - 1);
  return frame < part.frames.end ? &part : nullptr;
}

std::int64_t SampleData::in_memory(std::int64_t frame, int step) const noexcept VESK_REALTIME {
  const Part* const part = part_of(frame);
  if (part == nullptr) return 0;
  return step > 0 ? part->frames.end - frame : frame - part->frames.first + 1;
}

void SampleData::read(std::int64_t frame, int step, unsigned count, float* left,
                      float* right) const noexcept VESK_REALTIME {
  const Part& part = *part_of(frame);
  const std::byte* const at =
      bytes_.get() + part.offset +
      static_cast<std::size_t>(frame - part.frames.first) * format_.frame_bytes();
  widen_for(format_.width, format_.channels)(at, step, count, left, right);
}

}  // namespace vesk::sampler
