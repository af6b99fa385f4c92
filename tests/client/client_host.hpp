#pragma once

#include <string>

#include "tests/support/wait_until.hpp"
#include "vesk/host_process.hpp"

/// Starting the fake host from a test.
namespace vesk::client_test {

using tests::wait_until;

inline client::Options options(const std::string& commands,
                               client::Mode mode = client::Mode::offline) {
  client::Options result;
  result.chain = commands;
  result.mode = mode;
  result.host_program = VESK_FAKE_HOST;
  return result;
}

}  // namespace vesk::client_test
