#pragma once

#include <memory>
#include <string>
#include <utility>

namespace vesk::tools {

/// A new folder among the system's temporary ones. It goes with its owner, and all that is in it.
class TemporaryFolder {
 public:
  /// Null with a sentence in `error` when it cannot be made, or when no chain could name a file in
  /// it.
  static std::unique_ptr<TemporaryFolder> make(std::string& error);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  explicit TemporaryFolder(std::string path) : path_(std::move(path)) {}

  const std::string path_;
};

}  // namespace vesk::tools
