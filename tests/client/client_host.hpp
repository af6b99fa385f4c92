#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/wait_until.hpp"
#include "vesk/host_process.hpp"

/// Starting the fake host from a test.
namespace vesk::client_test {

using tests::wait_until;

/// Long past what normally takes no time.
inline constexpr std::chrono::seconds long_enough{20};

/// How many entries a folder has.
inline int entries(const char* folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<int>(std::distance(begin(all), end(all)));
}

/// The names of the shared objects of a parent's hosts, with their slash.
inline std::vector<std::string> objects_of(pid_t parent) {
  char tag[32];
  std::snprintf(tag, sizeof tag, "-%x-", static_cast<unsigned>(parent));
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
    if (const std::string name = entry.path().filename(); name.find(tag) != std::string::npos)
      names.push_back("/" + name);
  return names;
}

inline client::Options options(const std::string& commands,
                               client::Mode mode = client::Mode::offline) {
  client::Options result;
  result.chain = commands;
  result.mode = mode;
  result.host_program = VESK_FAKE_HOST;
  result.stop_limit = long_enough;
  return result;
}

/// A host that has started; a case that it does not start for has failed.
inline std::unique_ptr<client::HostProcess> start(const client::Options& options) {
  std::string error;
  auto host = client::HostProcess::start(options, error);
  if (!host) throw std::runtime_error(error);
  return host;
}
inline std::unique_ptr<client::HostProcess> start(const std::string& commands,
                                                  client::Mode mode = client::Mode::offline) {
  return start(options(commands, mode));
}

}  // namespace vesk::client_test
