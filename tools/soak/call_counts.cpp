#include "tools/soak/call_counts.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

/// The library beside this program's folder, as hosts' modules are.
std::string watch_library() {
  std::error_code none;
  const fs::path own = fs::read_symlink("/proc/self/exe", none);
  for (const char* folder : {"lib/vesk", "lib64/vesk"}) {
    const fs::path path = own.parent_path().parent_path() / folder / "soak-watch.so";
    if (fs::exists(path, none)) return path.string();
  }
  return {};
}

/// The shared object of a process that holds an address; empty for none.
std::string object_at(std::uint64_t address, int pid) {
  std::ifstream maps("/proc/" + std::to_string(pid) + "/maps");
  for (std::string line; std::getline(maps, line);) {
    std::istringstream words(line);
    std::uint64_t start = 0, end = 0;
    char dash = 0;
    std::string rights, offset, device, inode, path;
    words >> std::hex >> start >> dash >> end >> rights >> offset >> device >> inode >> path;
    if (address >= start && address < end) return fs::path(path).filename().string();
  }
  return {};
}

/// What calls on behalf of somebody else.
bool is_go_between(std::string_view object) {
  for (const std::string_view each : {"soak-watch.so", "libc.so", "libstdc++.so", "libm.so",
                                      "libc++.so", "libc++abi.so", "ld-linux"})
    if (object.starts_with(each)) return true;
  return object.empty();
}

}  // namespace

std::unique_ptr<CallCounts> CallCounts::create(const std::string& folder) {
  std::string library = watch_library();
  if (library.empty()) return nullptr;
  std::string path = folder + "/counts";
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) return nullptr;
  const SoakCounts zero{};
  const bool is_written = write(file, &zero, sizeof zero) == static_cast<ssize_t>(sizeof zero);
  void* const memory =
      is_written ? mmap(nullptr, sizeof zero, PROT_READ, MAP_SHARED, file, 0) : MAP_FAILED;
  close(file);
  if (memory == MAP_FAILED) return nullptr;
  return std::unique_ptr<CallCounts>(
      new CallCounts(std::move(path), std::move(library), static_cast<const SoakCounts*>(memory)));
}

CallCounts::CallCounts(std::string path, std::string library, const SoakCounts* counts)
    : path_(std::move(path)), library_(std::move(library)), counts_(counts) {}

CallCounts::~CallCounts() {
  munmap(const_cast<SoakCounts*>(counts_), sizeof *counts_);
  unlink(path_.c_str());
}

std::vector<std::string> CallCounts::environment() const {
  return {"LD_PRELOAD=" + library_, "VESK_SOAK_COUNTS=" + path_};
}

void CallCounts::look() {
  for (std::size_t kind = 0; kind < soak_call_kinds; ++kind) {
    const std::uint64_t count = counts_->calls[kind].count;
    if (count != std::exchange(seen_[kind], count)) ++periods_[kind];
  }
}

std::string CallCounts::first_call(SoakCallKind kind, int pid) const {
  const SoakCalls& calls = counts_->calls[kind];
  std::string text(calls.name, strnlen(calls.name, sizeof calls.name));
  for (std::size_t i = 0; i < calls.frame_count && i < soak_call_frames; ++i) {
    const std::string object = object_at(calls.frames[i], pid);
    if (!is_go_between(object)) return text.append(", first from ").append(object);
  }
  return text;
}

}  // namespace vesk::tools
