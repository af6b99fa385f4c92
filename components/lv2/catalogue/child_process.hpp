#pragma once

// A program of ours, run beside the host.

#include <sys/types.h>

#include <string>
#include <vector>

#include "components/lv2/catalogue/file.hpp"

namespace vesk::lv2 {

/// Owns a child, with which it ends. Other children of the process are left alone. None of its
/// calls is for real-time threads.
class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess() { end(); }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts `program` with standard input and output as given (`input` -1: none) and the standard
  /// error of this process; other descriptors and signal settings are not passed on. False with a
  /// sentence in `error`. To be called once.
  bool start(const std::string& program, const std::vector<std::string>& arguments, int input,
             int output, std::string& error);

  /// Waits for its end for at most `limit_ms`, longer where there is no descriptor to wait by.
  /// False when the limit passed.
  bool wait(int limit_ms);
  /// Kills it where it has not ended, and collects it.
  void end();
  /// "SIGNAL" or "exit status N" of one that was collected; empty when it ended well.
  std::string failure() const;

 private:
  pid_t pid_ = -1;
  File process_;
  int status_ = 0;
};

}  // namespace vesk::lv2
