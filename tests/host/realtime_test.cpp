// Built with RealtimeSanitizer alone: a host that violates real-time safety ends at once and says
// where. The first tests pass only if nothing on the way of a period does; the last shows that the
// same harness catches a unit that does.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/support/raw_host.hpp"

using namespace vesk::host;
using namespace std::chrono_literals;

namespace {

void play(RawHost& host, int periods) {
  for (int period = 0; period < periods && !host.has_ended(); ++period) {
    Block& block = host.block();
    block.midi_count = 2;
    const auto key = static_cast<std::uint8_t>(40 + period % 40);
    block.midi[0] = {static_cast<std::uint8_t>(period % 2 == 0 ? 0x90 : 0x80), key, 90, 0, 7};
    block.midi[1] = {0xB0, 1, static_cast<std::uint8_t>(period % 128), 0, 99};
    if (period % 10 == 0) host.set_parameter(0, 0, 0.5f);
    host.serve(128, 128.0 * period, 500ms);
  }
}

TEST(RealTimeSafety, ChainsOfNativeUnitsAndOfLv2PluginsHoldIt) {
  for (const char* chain :
       {"aumu:Tone:Vesk|aufx:Gain:Vesk|aufx:Null:Vesk", "aumu:Mono:Vesk|aufx:Mono:Vesk",
        "aumu:Sm48:LV2_|aufx:jvLs:LV2_|aufx:kZu9:LV2_"}) {
    SCOPED_TRACE(chain);
    RawHost host({.chain = chain, .period_frames = "128"});
    ASSERT_TRUE(host.wait_listening()) << host.block().error;
    play(host, 300);
    EXPECT_TRUE(host.stop()) << host.standard_error();
  }
}

TEST(RealTimeSafety, AUnitThatViolatesItIsCaught) {
  for (const char* chain : {"aumu:Bad_:Vesk#4=20", "aumu:Bad_:Vesk#5=100", "aumu:Bad_:Vesk#6=20"}) {
    SCOPED_TRACE(chain);
    RawHost host({.chain = chain});
    if (host.wait_listening()) play(host, 50);
    EXPECT_FALSE(host.stop());
    EXPECT_NE(host.standard_error().find("RealtimeSanitizer: unsafe-library-call"),
              std::string::npos)
        << host.standard_error();
  }
}

}  // namespace
