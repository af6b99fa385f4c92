#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>

namespace vesk::client {

/// What becomes of descriptors 0 to 2 of a new process; a platform adds what becomes of the others.
class SpawnFileActions {
 public:
  /// Nothing to read, and `output` to write to, unless it is -1.
  explicit SpawnFileActions(int output) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0);
    if (output < 0) return;
    posix_spawn_file_actions_adddup2(&actions_, output, 1);
    posix_spawn_file_actions_adddup2(&actions_, output, 2);
  }
  ~SpawnFileActions() { posix_spawn_file_actions_destroy(&actions_); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;

  posix_spawn_file_actions_t* get() { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

/// Default signals, an empty mask, and a process group of its own.
class SpawnAttributes {
 public:
  /// `flags` are a platform's own, beside those that this takes.
  explicit SpawnAttributes(int flags) {
    posix_spawnattr_init(&attributes_);
    sigset_t all, none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setpgroup(&attributes_, 0);
    posix_spawnattr_setflags(
        &attributes_, static_cast<short>(flags | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                         POSIX_SPAWN_SETPGROUP));
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  posix_spawnattr_t* get() { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

}  // namespace vesk::client
