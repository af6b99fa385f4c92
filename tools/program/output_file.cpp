#include "tools/program/output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

namespace vesk::tools {
namespace {

std::string reason(const std::string& path, int error_number) {
  return path + ": cannot be written: " + std::generic_category().message(error_number);
}

/// mkstemp makes files that only their owner can read; a rendered song is no secret.
void give_usual_permissions(int descriptor) {
  const mode_t mask = umask(0);
  umask(mask);
  (void)fchmod(descriptor, 0666 & ~mask);
}

}  // namespace

std::optional<OutputFile> OutputFile::create(const std::string& path, std::string& error) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  fs::path target(path);
  if (fs::is_symlink(fs::symlink_status(target, ignored))) {
    const fs::path followed = fs::weakly_canonical(target, ignored);
    if (!followed.empty()) target = followed;
  }
  const fs::file_status status = fs::status(target, ignored);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    error = path + ": cannot be written: not a regular file";
    return std::nullopt;
  }
  if (fs::exists(status) && access(target.c_str(), W_OK) != 0) {
    error = reason(path, errno);
    return std::nullopt;
  }
  // Hidden, and short enough for a name that is itself as long as names may be.
  std::string temporary = (target.parent_path() / ".vesk-XXXXXX").string();
  const int descriptor = mkstemp(temporary.data());
  if (descriptor < 0) {
    error = reason(path, errno);
    return std::nullopt;
  }
  (void)fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  give_usual_permissions(descriptor);
  return OutputFile(target.string(), std::move(temporary), descriptor);
}

OutputFile::OutputFile(std::string path, std::string temporary_path, int descriptor)
    : path_(std::move(path)), temporary_path_(std::move(temporary_path)), descriptor_(descriptor) {}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : path_(std::move(other.path_)),
      temporary_path_(std::exchange(other.temporary_path_, {})),
      descriptor_(std::exchange(other.descriptor_, -1)) {}

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  if (this != &other) {
    discard();
    path_ = std::move(other.path_);
    temporary_path_ = std::exchange(other.temporary_path_, {});
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

OutputFile::~OutputFile() {
  discard();
}

void OutputFile::discard() {
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
  if (!temporary_path_.empty()) unlink(temporary_path_.c_str());
  temporary_path_.clear();
}

bool OutputFile::write(const void* bytes, std::size_t count, std::string& error) {
  const char* rest = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = ::write(descriptor_, rest, count);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      error = reason(path_, written < 0 ? errno : ENOSPC);
      return false;
    }
    rest += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

bool OutputFile::commit(std::string& error) {
  // Network file systems tell of a full disk only here.
  if (close(std::exchange(descriptor_, -1)) != 0 ||
      std::rename(temporary_path_.c_str(), path_.c_str()) != 0) {
    error = reason(path_, errno);
    discard();
    return false;
  }
  temporary_path_.clear();
  return true;
}

}  // namespace vesk::tools
