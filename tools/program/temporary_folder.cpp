#include "tools/program/temporary_folder.hpp"

#include <stdlib.h>
#include <unistd.h>  // mkdtemp on macOS

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace vesk::tools {

namespace fs = std::filesystem;

std::unique_ptr<TemporaryFolder> TemporaryFolder::make(std::string& error) {
  std::error_code cause;
  std::string path = fs::temp_directory_path(cause) / "vesk-XXXXXX";
  if (cause) {
    error = "there is no folder for temporary files (TMPDIR): " + cause.message();
    return nullptr;
  }
  if (path.find('|') != path.npos) {
    error = "a chain cannot name " + path + ", because of its '|'";
    return nullptr;
  }
  if (mkdtemp(path.data()) == nullptr) {
    error = path + ": cannot be made: " + std::generic_category().message(errno);
    return nullptr;
  }
  return std::unique_ptr<TemporaryFolder>(new TemporaryFolder(std::move(path)));
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace vesk::tools
