#pragma once

#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vesk::tests {

using Bytes = std::vector<std::uint8_t>;

/// A folder of a test's own, removed with it.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vesk-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }
  std::string path() const { return path_.string(); }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      found.push_back(entry.path().filename().string());
    return found;
  }

 private:
  std::filesystem::path path_;
};

inline Bytes file_bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace vesk::tests
