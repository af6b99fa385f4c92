// A host that nobody asks anything sleeps, and does at once what it is asked.
#include <gtest/gtest.h>

#include <thread>

#include "tests/client/client_host.hpp"
#include "tests/components/editors/variants.h"
#include "tests/support/display.hpp"
#include "tests/support/process_sleeps.hpp"

using namespace vesk::client;
using namespace vesk::client_test;
using vesk::tests::process_sleeps;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

// ThreadSanitizer has a thread in each process that wakes ten times a second.
#if __has_feature(thread_sanitizer)
constexpr long sanitizers_sleeps = 30;
#else
constexpr long sanitizers_sleeps = 0;
#endif

Options real_host(const std::string& chain) {
  Options real = options(chain, Mode::real_time);
  real.host_program.clear();
  real.environment = {"AUDIO_COMPONENT_PATH=" VESK_COMPONENTS};
  return real;
}

}  // namespace

TEST(ClientIdle, AHostSleepsUntilItIsAsked) {
  const vesk::tests::VirtualDisplay display;
  const struct {
    const char* chain;
    bool with_editor;
    long most_sleeps;  ///< in two seconds
  } cases[] = {
      {"aumu:Null:Vesk", false, 10},
      {"aumu:Tone:Vesk", true, 90},  // the panel looks at its unit 30 times a second
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.chain);
    const auto host = start(real_host(test.chain));
    if (test.with_editor) {
      host->open_editor(0, "Idle");
      ASSERT_TRUE(wait_until([&] { return host->open_mask() == 1; }));
      std::this_thread::sleep_for(1s);  // the display's events of its opening
    }
    const long before = process_sleeps(host->pid());
    std::this_thread::sleep_for(2s);
    EXPECT_LE(process_sleeps(host->pid()) - before, test.most_sleeps + sanitizers_sleeps);

    // Had it to be looked for, each would take the second after which a host looks by itself.
    const auto begin = Clock::now();
    for (int i = 0; i < 20; ++i) {
      host->set_parameter(0, 0, 0.5f);
      EXPECT_TRUE(host->settle(20s));
    }
    EXPECT_LT(Clock::now() - begin, 10s);
    EXPECT_TRUE(host->stop().orderly());
  }
}

TEST(ClientIdle, AViewThatFailsWhileItsHostSleepsIsClosedAndNothingElseEnds) {
  const vesk::tests::VirtualDisplay display;
  for (const int variant : {kThrowsInMainQueueTask, kThrowsInTimer, kBreaksItsDisplay}) {
    SCOPED_TRACE(variant);
    const auto host = start(real_host("aumu:Edit:Vesk#1=" + std::to_string(variant)));
    const std::string title = "Fails " + std::to_string(variant);
    host->open_editor(0, title);
    const auto window = vesk::tests::find_window(title);
    ASSERT_TRUE(window);
    ASSERT_TRUE(wait_until([&] { return host->open_mask() == 1; }));
    vesk::tests::click(*window, 150, 60);
    EXPECT_TRUE(wait_until([&] { return host->open_mask() == 0; }));
    EXPECT_EQ(host->render(64, 0, {}, 5s), Answer::answered);
    EXPECT_TRUE(host->stop().orderly()) << host->obituary();
  }
}
