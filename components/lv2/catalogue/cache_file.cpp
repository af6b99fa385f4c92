#include "components/lv2/catalogue/cache_file.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/search_path.hpp"
#include "components/lv2/catalogue/write_all.hpp"

namespace vesk::lv2 {
namespace {

std::string cache_folder() {
  if (const char* folder = std::getenv("VESK_CACHE"); folder && *folder) return folder;
  if (const char* base = std::getenv("XDG_CACHE_HOME"); base && *base == '/')
    return std::string(base) + "/vesk";
  if (const char* home = std::getenv("HOME"); home && *home)
    return std::string(home) + "/.cache/vesk";
  return {};
}

bool make_folder_of(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
  return !error;
}

}  // namespace

std::string cache_file_path() {
  std::string folder = cache_folder();
  if (folder.empty()) return {};
  std::string key;
  for (const std::string& element : search_path()) key += element + ':';
  char name[32];
  std::snprintf(name, sizeof name, "/lv2-%08x.cache", fnv1a_32(key));
  return folder + name;
}

CacheLock::CacheLock(const std::string& path) {
  if (path.empty() || !make_folder_of(path)) return;
  descriptor_ = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor_ < 0) return;
  // flock goes with its process, however that ends. Ten seconds are three full scans.
  constexpr timespec pause{0, 5'000'000};
  for (int tries = 0; tries < 2000; ++tries) {
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
    ::nanosleep(&pause, nullptr);
  }
}

CacheLock::~CacheLock() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool write_cache_file(const std::string& path, std::span<const std::byte> image) {
  if (path.empty() || !make_folder_of(path)) return false;
  std::string temporary = path + ".XXXXXX";
  const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool written = write_all(descriptor, image);
  // Close reports what a network file system could not store.
  const bool closed = ::close(descriptor) == 0;
  if (written && closed && ::rename(temporary.c_str(), path.c_str()) == 0) return true;
  ::unlink(temporary.c_str());
  return false;
}

}  // namespace vesk::lv2
