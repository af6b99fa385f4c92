// The cache of LV2 plugins: any file, and any index and records below a header that fits them.
#include <algorithm>
#include <cstring>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/record.hpp"
#include "fuzz/input.hpp"

using namespace vesk::lv2;
using ByteView = std::span<const std::byte>;
using vesk::fuzz::expect;

namespace {

constexpr std::size_t header_size = 32, index_size_at = 12;

std::optional<CacheFile> open(ByteView bytes) {
  File file = File::in_memory();
  expect(write_all(file.descriptor(), bytes));
  return CacheFile::from(std::move(file));
}

/// As hosts look a plugin up.
void look_into(const CacheFile& cache) {
  const Index& index = cache.index();
  index.is_complete();
  index.is_current();
  for (const Entry& entry : index.entries) {
    index.find_uri(entry.uri);
    index.find_code(entry.code);
    const auto record = cache.record(entry);
    if (!record) continue;
    still_holds(index, entry, *record);
    expect(decode<PluginRecord>(encode(*record)).has_value());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input = std::as_bytes(std::span(data, size));
  if (const auto cache = open(input)) look_into(*cache);
  if (size < header_size) return 0;

  std::uint32_t index_size = 0;
  std::memcpy(&index_size, data + index_size_at, sizeof index_size);
  ByteView rest = input.subspan(header_size);
  const ByteView index_bytes = rest.first(std::min<std::size_t>(index_size, rest.size()));
  rest = rest.subspan(index_bytes.size());
  auto index = decode<Index>(index_bytes);
  if (!index) return 0;
  std::vector<Bytes> records;
  for (const Entry& entry : index->entries) {
    const ByteView record = rest.first(std::min<std::size_t>(entry.record_size, rest.size()));
    records.emplace_back(record.begin(), record.end());
    rest = rest.subspan(record.size());
  }
  if (const auto cache = open(encode_cache(*index, records))) look_into(*cache);
  return 0;
}
