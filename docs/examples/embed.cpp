// Plays one note through a chain in a process of its own and prints the peak.
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

#include "vesk/host_process.hpp"

using namespace vesk::client;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s CHAIN, for example aumu:Sm48:LV2_\n", argv[0]);
    return 2;
  }
  Options options;
  options.chain = argv[1];
  options.period_frames = 128;
  std::string error;
  const auto host = HostProcess::start(options, error);
  if (host == nullptr) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }

  // The audio thread. Everything it calls is real-time safe.
  float peak = 0;
  std::thread audio([&] {
    const auto period = std::chrono::nanoseconds(128 * 1'000'000'000LL / 48'000);
    auto due = std::chrono::steady_clock::now();
    std::array<MidiEvent, 1> note{MidiEvent{0x90, 60, 100, 0, 0}};
    std::span<const MidiEvent> events = note;
    for (int i = 0; i < 375; ++i) {
      // A period that is not answered in time is silence; what it would have carried is kept.
      const Answer answer = host->render(128, i * 128.0, events, period / 2);
      if (answer == Answer::host_gone) return;
      if (answer == Answer::answered || answer == Answer::timed_out) events = {};
      if (answer == Answer::answered)
        for (const float sample : host->output(0).first(128))
          peak = std::max(peak, std::abs(sample));
      std::this_thread::sleep_until(due += period);
    }
  });
  audio.join();

  // Another thread: what became of it, and why.
  const Health health = host->diagnose();
  if (health == Health::dead) std::fprintf(stderr, "%s\n", host->obituary().c_str());
  std::printf("peak %.3f, an answer took %.0f us\n", static_cast<double>(peak),
              static_cast<double>(host->answer_times().recent_us));
  return host->stop().orderly() ? 0 : 1;
}
