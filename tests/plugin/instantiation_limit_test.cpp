#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/support/raw_host.hpp"

using namespace vesk::host;
using namespace std::chrono_literals;

namespace {

// The true minute: this runs beside the other tests.
TEST(InstantiationLimit, AUnitThatNeverCompletesFailsAfterAMinute) {
  const auto start = std::chrono::steady_clock::now();
  RawHost host({.chain = "aumu:Asyn:Vesk", .environment = {"VESK_MISBEHAVE=hang-in-load=2"}});
  EXPECT_EQ(host.wait_state(90s), failed);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(std::string(host.block().error), "aumu:Asyn:Vesk: instantiation timed out");
  EXPECT_GE(elapsed, 60s);
  const int status = host.wait_end();
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
}

}  // namespace
