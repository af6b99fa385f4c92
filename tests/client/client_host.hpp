#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "tests/support/wait_until.hpp"
#include "vesk/host_process.hpp"

/// Starting the fake host from a test.
namespace vesk::client_test {

using tests::wait_until;

/// Long past what normally takes no time.
inline constexpr std::chrono::seconds long_enough{20};

/// How many entries of a folder have `part` in their names.
inline int entries(const char* folder, const std::string& part = {}) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder))
    count += entry.path().filename().string().find(part) != std::string::npos;
  return count;
}

/// How many shared objects of a parent's hosts still have their names.
inline int objects_of(pid_t parent) {
  char tag[32];
  std::snprintf(tag, sizeof tag, "-%x-", static_cast<unsigned>(parent));
  return entries("/dev/shm", tag);
}

/// The name of one of them, with its slash.
inline std::string name_of_object(pid_t parent) {
  char tag[32];
  std::snprintf(tag, sizeof tag, "-%x-", static_cast<unsigned>(parent));
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm"))
    if (const std::string name = entry.path().filename(); name.find(tag) != std::string::npos)
      return "/" + name;
  return {};
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
