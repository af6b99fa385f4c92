#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "vesk/host_process.hpp"

/// Starting the fake host from a test.
namespace vesk::client_test {

inline client::Options options(const std::string& commands,
                               client::Mode mode = client::Mode::offline) {
  client::Options result;
  result.chain = commands;
  result.mode = mode;
  result.host_program = VESK_FAKE_HOST;
  return result;
}

/// Whether `done()` becomes true within `limit`.
template <typename Predicate>
bool soon(Predicate done, std::chrono::milliseconds limit = std::chrono::milliseconds(3000)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace vesk::client_test
