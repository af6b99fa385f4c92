#include "tools/program/output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <system_error>
#include <utility>
#include <vector>

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

/// Hidden, and short enough for a name that is itself as long as names may be.
std::string temporary_name(const std::filesystem::path& target, const std::string& ending) {
  return (target.parent_path() / (".vesk-" + ending)).string();
}

std::string descriptor_path(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

/// A file without a name in `folder`, which can be given one later; -1 where there is no such
/// thing.
int open_unnamed([[maybe_unused]] const std::filesystem::path& folder) {
#ifdef O_TMPFILE
  const int descriptor =
      open(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666);
  if (descriptor < 0 || access(descriptor_path(descriptor).c_str(), F_OK) == 0) return descriptor;
  close(descriptor);
#endif
  return -1;
}

}  // namespace

std::optional<OutputFile> OutputFile::for_standard_output(std::string& error) {
  const std::string name = "standard output";
  if (isatty(STDOUT_FILENO) == 1) {
    error = name + " is a terminal; send it to a file or a program";
    return std::nullopt;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  const int descriptor = file ? fcntl(fileno(file.get()), F_DUPFD_CLOEXEC, 0) : -1;
  if (descriptor < 0) {
    error = reason(name, errno);
    return std::nullopt;
  }
  OutputFile output(name, {}, descriptor);
  output.is_standard_output_ = true;
  return output;
}

std::optional<OutputFile> OutputFile::create(const std::string& path, std::string& error) {
  if (path == "-") return for_standard_output(error);
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
  std::string temporary;
  int descriptor = open_unnamed(target.parent_path());
  if (descriptor < 0) {
    temporary = temporary_name(target, "XXXXXX");
    descriptor = mkstemp(temporary.data());
    if (descriptor >= 0) give_usual_permissions(descriptor);
  }
  if (descriptor < 0) {
    error = reason(path, errno);
    return std::nullopt;
  }
  (void)fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return OutputFile(target.string(), std::move(temporary), descriptor);
}

OutputFile::OutputFile(std::string path, std::string temporary_path, int descriptor)
    : path_(std::move(path)), temporary_path_(std::move(temporary_path)), descriptor_(descriptor) {}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : path_(std::move(other.path_)),
      temporary_path_(std::exchange(other.temporary_path_, {})),
      descriptor_(std::exchange(other.descriptor_, -1)),
      is_standard_output_(other.is_standard_output_) {}

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
  if (this != &other) {
    discard();
    path_ = std::move(other.path_);
    temporary_path_ = std::exchange(other.temporary_path_, {});
    descriptor_ = std::exchange(other.descriptor_, -1);
    is_standard_output_ = other.is_standard_output_;
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
  return write_to(descriptor_, bytes, count, error);
}

bool OutputFile::write_to(int descriptor, const void* bytes, std::size_t count,
                          std::string& error) {
  const char* rest = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = ::write(descriptor, rest, count);
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

std::string OutputFile::temporary_path() const {
  return temporary_path_.empty() ? descriptor_path(descriptor_) : temporary_path_;
}

/// A name for what has none yet. No call gives it one that is taken, so it gets one of its own to
/// be renamed from.
bool OutputFile::give_name() {
  std::random_device random;
  int status = 0;
  while (temporary_path_.empty() || (status != 0 && errno == EEXIST)) {
    temporary_path_ = temporary_name(path_, std::to_string(random()));
    status = linkat(AT_FDCWD, descriptor_path(descriptor_).c_str(), AT_FDCWD,
                    temporary_path_.c_str(), AT_SYMLINK_FOLLOW);
  }
  return status == 0;
}

ssize_t OutputFile::read_at(void* bytes, std::size_t count, off_t place) const {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = pread(descriptor_, static_cast<char*>(bytes) + done, count - done,
                              place + static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

bool OutputFile::copy_to_standard_output(std::string& error) {
  std::vector<char> bytes(65'536);
  off_t position = 0;
  for (;;) {
    const ssize_t got = read_at(bytes.data(), bytes.size(), position);
    if (got < 0) error = reason(path_, errno);
    if (got <= 0) return got == 0;
    if (!write_to(STDOUT_FILENO, bytes.data(), static_cast<std::size_t>(got), error)) return false;
    position += got;
  }
}

bool OutputFile::commit(std::string& error) {
  if (is_standard_output_) {
    const bool is_copied = copy_to_standard_output(error);
    discard();
    return is_copied;
  }
  // Network file systems tell of a full disk only when a descriptor is closed.
  const int copy = dup(descriptor_);
  if (copy < 0 || close(copy) != 0 || !give_name() ||
      std::rename(temporary_path_.c_str(), path_.c_str()) != 0) {
    error = reason(path_, errno);
    discard();
    return false;
  }
  temporary_path_.clear();
  discard();
  return true;
}

}  // namespace vesk::tools
