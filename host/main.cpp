// The life of one host process: check the block, load the chain, render and supervise, stop.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <thread>

#include "host/chain.hpp"
#include "host/diagnostics.hpp"
#include "host/mapped_block.hpp"
#include "host/parent_workgroup.hpp"
#include "host/render_loop.hpp"
#include "host/supervisor.hpp"
#include "platform/host_process.hpp"
#include "platform/render_thread.hpp"

namespace vesk::host {
namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;
// Some 20 seconds of audio. A larger number, such as -1, was not meant, and plugins that were told
// to make room for such a period would have no memory.
constexpr unsigned longest_period = 1u << 20;

void report_workgroup(const std::string& label, os_workgroup_t workgroup) {
  const bool joined = g_joined_workgroup.load(std::memory_order_acquire);
  const char* const outcome = workgroup == nullptr ? "not shared"
                              : joined             ? "joined"
                                                   : "join failed";
  print_line("plugin host " + label + ": workgroup " + outcome);
}

/// Renders and supervises a loaded chain until it is told to stop.
void run(Block& block, Chain& chain, const std::string& label, double sample_rate,
         unsigned max_frames, unsigned period_frames) {
  const os_workgroup_t workgroup = obtain_parent_workgroup();
  std::thread render_thread(render_loop, &block, std::ref(chain.plugins), chain.first_is_effect,
                            sample_rate, max_frames, period_frames, workgroup);
  {
    Supervisor supervisor(block, chain, label);
    supervisor.run();
    // Its end closes the editors, which saves the state of each. From then on nothing of a view's
    // runs any more: no timer or task of one may find its plugin disposed of.
  }
  render_thread.join();
  report_workgroup(label, workgroup);
  chain.dispose();
}

int run_host(int argc, char** argv) {
  if (argc != 6) {
    print_line(std::string("usage: ") + argv[0] +
               " SHM_NAME PLUGIN SAMPLE_RATE MAX_FRAMES PERIOD_FRAMES");
    return exit_usage;
  }
  const std::string label = argv[2];
  platform::prepare_host_process(argv[2]);
  Block* const block = map_block(argv[1]);
  if (block == nullptr) return exit_failure;

  // The client wrote them. NOLINTBEGIN(bugprone-unchecked-string-to-number-conversion)
  const double sample_rate = std::atof(argv[3]);
  const auto max_frames = std::min(static_cast<unsigned>(std::atoi(argv[4])), longest_period);
  const auto period_frames = static_cast<unsigned>(std::atoi(argv[5]));
  // NOLINTEND(bugprone-unchecked-string-to-number-conversion)

  Chain chain;
  std::string error;
  if (!load_chain(label, sample_rate, max_frames, *block, chain, error)) {
    publish_failure(*block, error);
    return exit_failure;
  }
  // Before `ready`, so that the first period meets no page fault.
  platform::touch_pages(block, block_size);
  publish_ready(*block);
  run(*block, chain, label, sample_rate, max_frames, period_frames);
  return 0;
}

}  // namespace
}  // namespace vesk::host

int main(int argc, char** argv) {
  return vesk::host::run_host(argc, argv);
}
