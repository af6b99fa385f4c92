#include "host/file_replacement.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>

namespace vesk::host {
namespace {

using Clock = std::chrono::steady_clock;

/// Another host needs milliseconds for its save.
constexpr std::chrono::seconds lock_limit{1};
constexpr std::chrono::milliseconds lock_interval{1};
constexpr mode_t permissions = 0777;

/// A temporary file, open for writing and locked against other savers for as long as this lives.
class TemporaryFile {
 public:
  /// `old` is the file to be replaced, or null.
  TemporaryFile(const std::string& path, const struct stat* old) : old_(old) {
    for (const auto deadline = Clock::now() + lock_limit; Clock::now() < deadline;) {
      // Non-blocking: a pipe would wait for a reader. What replaces a private file must not be
      // readable by others, not even for a moment.
      descriptor_ =
          open(path.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
               old == nullptr ? 0666 : 0600);
      if (descriptor_ < 0 || !is_ordinary()) break;
      if (!is_locked_by_others() && still_has_name(path)) return;
      // Another saver has it, or has just renamed it to where it belongs.
      close_now();
      std::this_thread::sleep_for(lock_interval);
    }
    close_now();
  }
  ~TemporaryFile() { close_now(); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Makes `bytes` its whole content, and its owner and mode those of the old file. Ordinary users
  /// cannot give files away; then it stays theirs.
  bool write_all(const std::vector<std::uint8_t>& bytes) const {
    if (descriptor_ < 0 || ftruncate(descriptor_, 0) != 0) return false;
    for (std::size_t written = 0; written < bytes.size();) {
      const ssize_t count = write(descriptor_, bytes.data() + written, bytes.size() - written);
      if (count > 0)
        written += static_cast<std::size_t>(count);
      else if (count == 0 || errno != EINTR)
        return false;
    }
    if (old_ == nullptr) return true;
    [[maybe_unused]] const int given = fchown(descriptor_, old_->st_uid, old_->st_gid);
    fchmod(descriptor_, old_->st_mode & permissions);
    return true;
  }

 private:
  void close_now() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }

  /// A regular file that nobody else could have put there, under no other name. (Under none at all
  /// when another saver has just renamed its own over it; `still_has_name` finds that out.)
  bool is_ordinary() const {
    struct stat file{};
    return fstat(descriptor_, &file) == 0 && S_ISREG(file.st_mode) && file.st_nlink <= 1 &&
           (file.st_uid == geteuid() || (old_ != nullptr && file.st_uid == old_->st_uid));
  }

  /// Where a file system knows no locks, nobody has one.
  bool is_locked_by_others() const {
    return flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  }

  bool still_has_name(const std::string& path) const {
    struct stat own{}, named{};
    return fstat(descriptor_, &own) == 0 && lstat(path.c_str(), &named) == 0 &&
           own.st_ino == named.st_ino && own.st_dev == named.st_dev;
  }

  const struct stat* old_;
  int descriptor_ = -1;
};

/// What `path` names in the end, when it is a link of the user's own; else `path`. Somebody else's
/// link in a shared folder must not lead to a file of ours.
std::string followed(const std::string& path) {
  struct stat link{};
  if (lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode) || link.st_uid != geteuid())
    return path;
  std::error_code failure;
  const std::filesystem::path real = std::filesystem::canonical(path, failure);
  return failure ? path : real.string();
}

}  // namespace

Replacement replace_file(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  const std::string target = followed(path);
  struct stat old{};
  const bool replaces = lstat(target.c_str(), &old) == 0 && S_ISREG(old.st_mode);
  const std::string temporary = path + ".saving";
  const TemporaryFile file(temporary, replaces ? &old : nullptr);
  if (!file.write_all(bytes)) return Replacement::not_written;
  // Under the lock, so that nobody else's half-written file is renamed.
  if (std::rename(temporary.c_str(), target.c_str()) == 0) return Replacement::done;
  // A link to another file system becomes a file.
  const bool renamed = errno == EXDEV && std::rename(temporary.c_str(), path.c_str()) == 0;
  return renamed ? Replacement::done : Replacement::not_renamed;
}

}  // namespace vesk::host
