#include "components/lv2/catalogue/cache_file.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/record.hpp"
#include "components/lv2/catalogue/search_path.hpp"

namespace vesk::lv2 {
namespace {

/// Raise it whenever the form of anything in the file changes, or the rules that fill it in.
constexpr std::uint32_t cache_version = 7;

/// Header, index, records in the order of the entries. The numbers stand in the machine's own
/// order, so a file from a machine of the other order has a wrong version.
struct Header {
  std::array<char, 8> magic = {'v', 'e', 's', 'k', ' ', 'l', 'v', '2'};
  std::uint32_t version = cache_version;
  std::uint32_t index_size = 0;
  std::uint64_t file_size = 0;
  std::uint64_t index_check = 0;

  bool operator==(const Header&) const = default;
};
static_assert(std::has_unique_object_representations_v<Header>);

/// Tells an index that never reached the disk whole. Records are told by their URIs then, and
/// nothing else damages a file that is replaced in one step. Not for use against malice.
std::uint64_t check_value(const Bytes& bytes) {
  std::uint64_t hash = 0xcbf29ce484222325u ^ bytes.size();
  for (std::size_t at = 0; at < bytes.size(); at += sizeof hash) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + at, std::min(sizeof word, bytes.size() - at));
    // Each step can be undone, so a change within one word is always seen.
    hash = (hash ^ word) * 0x100000001b3u;
    hash ^= hash >> 29;
  }
  return hash;
}

std::string cache_folder() {
  if (const char* folder = std::getenv("VESK_CACHE"); folder && *folder) return folder;
  if (const char* base = std::getenv("XDG_CACHE_HOME"); base && *base == '/')
    return std::string(base) + "/vesk";
  if (const char* home = std::getenv("HOME"); home && *home)
    return std::string(home) + "/.cache/vesk";
  return {};
}

bool make_folder_of(const std::string& path) {
  if (path.empty()) return false;
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  return !error;
}

bool is_trusted(const File& file) {
  struct stat status{};
  return ::fstat(file.descriptor(), &status) == 0 && S_ISREG(status.st_mode) &&
         (status.st_uid == ::geteuid() || status.st_uid == 0) &&
         (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// Whether every bundle that an entry names is there. The check value is no proof of that: whoever
/// can write the file can make one.
bool bundles_are_there(const Index& index) {
  return std::ranges::all_of(index.entries, [count = index.bundles.size()](const Entry& entry) {
    return entry.bundle < count &&
           std::ranges::all_of(entry.watched, [=](std::uint32_t bundle) { return bundle < count; });
  });
}

}  // namespace

std::string cache_file_path() {
  const std::string folder = cache_folder();
  if (folder.empty()) return {};
  std::string key;
  for (const std::string& element : search_path()) key += element + ':';
  char name[32];
  std::snprintf(name, sizeof name, "/lv2-%08x.cache", fnv1a_32(key));
  return folder + name;
}

CacheFile::CacheFile(File file, Index index, std::uint64_t records_at)
    : file_(std::move(file)), index_(std::move(index)), records_at_(records_at) {}

std::optional<CacheFile> CacheFile::open(const std::string& path) {
  // Without blocking: a FIFO may stand there.
  File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.is_open() || !is_trusted(file)) return {};
  return from(std::move(file));
}

std::optional<CacheFile> CacheFile::from(File file) {
  Header header;
  const auto start = file.read(0, sizeof header);
  if (!start) return {};
  std::memcpy(&header, start->data(), sizeof header);
  const Header expected{
      .index_size = header.index_size, .file_size = file.size(), .index_check = header.index_check};
  if (header != expected) return {};
  const auto bytes = file.read(sizeof header, header.index_size);
  if (!bytes || check_value(*bytes) != header.index_check) return {};
  auto index = decode<Index>(*bytes);
  if (!index || !bundles_are_there(*index)) return {};
  return CacheFile(std::move(file), std::move(*index), sizeof header + header.index_size);
}

std::optional<PluginRecord> CacheFile::record(const Entry& entry) const {
  if (entry.record_size == 0) return {};
  std::uint64_t offset = records_at_;
  for (const Entry& other : index_.entries) {
    if (&other == &entry) break;
    offset += other.record_size;
  }
  const auto bytes = file_.read(offset, entry.record_size);
  if (!bytes) return {};
  auto record = decode<PluginRecord>(*bytes);
  if (record && record->description.uri != entry.uri) record.reset();
  return record;
}

Bytes encode_cache(Index& index, const std::vector<Bytes>& records) {
  for (std::size_t i = 0; i < records.size(); ++i)
    index.entries[i].record_size = static_cast<std::uint32_t>(records[i].size());
  const Bytes index_bytes = encode(index);
  Header header;
  header.index_size = static_cast<std::uint32_t>(index_bytes.size());
  header.index_check = check_value(index_bytes);
  header.file_size = sizeof header + index_bytes.size();
  for (const Bytes& record : records) header.file_size += record.size();

  Bytes cache;
  cache.reserve(header.file_size);
  const auto append = [&cache](std::span<const std::byte> bytes) {
    cache.insert(cache.end(), bytes.begin(), bytes.end());
  };
  append(std::as_bytes(std::span(&header, 1)));
  append(index_bytes);
  for (const Bytes& record : records) append(record);
  return cache;
}

bool write_cache_file(const std::string& path, const Bytes& cache) {
  if (!make_folder_of(path)) return false;
  std::string temporary = path + ".XXXXXX";
  File file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file.is_open()) return false;
  const bool written = write_all(file.descriptor(), cache);
  if (file.close() && written && ::rename(temporary.c_str(), path.c_str()) == 0) return true;
  ::unlink(temporary.c_str());
  return false;
}

File lock_cache(const std::string& path) {
  if (!make_folder_of(path)) return File();
  File file(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  // flock goes with its process, however that ends. After ten seconds, three full scans, the work
  // is done twice rather than not at all.
  for (int tries = 0; file.is_open() && tries < 2000; ++tries) {
    if (::flock(file.descriptor(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return file;
}

}  // namespace vesk::lv2
