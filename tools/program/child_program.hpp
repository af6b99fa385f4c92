#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// What a program said that was run to its end.
struct ChildAnswer {
  int status = 0;      ///< its exit status, when it ended by itself
  std::string ending;  ///< "was ended by signal 11 (Segmentation fault)"; empty when by itself
  std::string output;  ///< its standard output, 64 MB at most
  std::string errors;  ///< the end of its standard error; empty when that was not collected
};

/// Where a program of ours is: what the environment variable says, if there is one, else beside
/// this program, else wherever a shell would find it.
std::string path_of_program(const char* name, const char* variable = nullptr);

/// Runs a program with nothing to read and waits for its end. When `limit` has passed, or
/// `must_stop` says so, it is sent SIGTERM, and SIGKILL if it has not ended some seconds later. Its
/// standard error is collected, or left as this process's own, so that a person sees it. Empty
/// with a sentence in `error` when it cannot be started. Any thread.
std::optional<ChildAnswer> run_child(const std::string& program,
                                     const std::vector<std::string>& arguments,
                                     std::chrono::seconds limit, bool collects_errors,
                                     std::string& error,
                                     const std::function<bool()>& must_stop = {});

/// The last of `lines` that a host, or what stands in for one, wrote about its plugins, without
/// the words that it begins with; empty when there is none.
std::string last_host_line(const std::string& lines);

/// Those of `lines`, without the words that they begin with, that name a file which a preset has
/// and which is gone.
std::vector<std::string> missing_file_lines(const std::string& lines);

}  // namespace vesk::tools
