#pragma once

#include <string>
#include <vector>

#include "vesk/host_process.hpp"

namespace vesk::client {

/// Whether a host may be started with these; otherwise one sentence in `error`.
bool check_options(const Options& options, std::string& error);

/// The host's arguments.
std::vector<std::string> host_arguments(const Options& options, const std::string& object);

/// The program to start, or empty with a sentence in `error`.
std::string find_host_program(const Options& options, std::string& error);

/// A program of this system: beside this program, in ../bin of its folder, or in a folder of PATH;
/// empty when it is in none.
std::string find_own_program(const std::string& name);

/// How long loading a chain of `plugins`, and a period without answer, may take.
std::chrono::milliseconds start_limit(const Options& options, unsigned plugins);
std::chrono::nanoseconds hang_limit(const Options& options);
std::chrono::nanoseconds period_length(const Options& options);

/// The preset files that a chain names, held so that no two live hosts of this process write the
/// same: the later save would undo the earlier.
class PresetClaims {
 public:
  PresetClaims() = default;
  ~PresetClaims() { release(); }
  PresetClaims(const PresetClaims&) = delete;
  PresetClaims& operator=(const PresetClaims&) = delete;

  /// `elements` are a chain's, as they stand in it. False with a sentence in `error` when one of
  /// their files is in use, in this chain or another host's.
  bool claim(const std::vector<std::string>& elements, std::string& error);
  void release() noexcept;

 private:
  std::vector<std::string> paths_;
};

}  // namespace vesk::client
