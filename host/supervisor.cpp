#include "host/supervisor.hpp"

#include <os/os_sync_wait_on_address.h>
#include <signal.h>

#include <cstring>
#include <iterator>
#include <utility>

#include "host/diagnostics.hpp"
#include "platform/parent_bell.hpp"
#include "platform/parent_watch.hpp"
#include "platform/plugin_call.hpp"

namespace vesk::host {
namespace {

constexpr std::chrono::seconds periodic_save{10};
constexpr std::uint64_t look_interval_ns = 10'000'000;
constexpr unsigned mask_bits = 32;
// A counter that the parent has set ahead by more than its ring makes this thread go round the ring
// several times. After so many rounds the rest waits for the next turn.
constexpr unsigned laps_per_turn = 128;

/// Gives the signals that ask a process to end back their meaning when it goes. A toolkit that
/// starts takes them for its own event loop, which never runs here, and the host would ignore them.
class EndSignals {
 public:
  EndSignals() {
    for (std::size_t i = 0; i < std::size(signals); ++i)
      sigaction(signals[i], nullptr, &before_[i]);
  }
  ~EndSignals() {
    for (std::size_t i = 0; i < std::size(signals); ++i)
      sigaction(signals[i], &before_[i], nullptr);
  }
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

 private:
  static constexpr int signals[] = {SIGTERM, SIGINT, SIGHUP, SIGQUIT};
  struct sigaction before_[std::size(signals)];
};

}  // namespace

Supervisor::Supervisor(Block& block, Chain& chain, std::string label)
    : block_(block),
      plugins_(chain.plugins),
      label_(std::move(label)),
      saver_(&block, &chain.plugins),
      windows_([this](unsigned plugin) { saver_.save(plugin); }),
      last_periodic_save_(Clock::now()),
      params_read_(load_acquire(block.param_write)),
      windows_read_(load_acquire(block.window_write)) {}

void Supervisor::run() {
  const double turn_seconds =
      static_cast<double>(platform::longest_wait_ns(look_interval_ns)) / 1e9;
  while (load_acquire(block_.quit) == 0) {
    apply_parameters();
    serve_windows();
    const std::uint32_t open_mask = windows_.open_mask();
    store_release(block_.open_mask, open_mask);
    save_open_editors(open_mask);
    if (platform::parent_has_gone()) {
      // Stops the render thread as well.
      store_release(block_.quit, 1);
      os_sync_wake_by_address_any(&block_.render_request, sizeof block_.render_request,
                                  OS_SYNC_WAKE_BY_ADDRESS_SHARED);
      break;
    }
    windows_.pump(turn_seconds);
  }
  platform::announce_end();
}

template <class Act>
void Supervisor::follow(const std::uint32_t& counter, std::uint32_t slots, std::uint32_t& read,
                        Act act) {
  // Acquire: pairs with the parent's release store after it filled the slots. Should it have run
  // ahead by more than the ring, slots are acted on more than once: the last values still win.
  const std::uint32_t written = load_acquire(counter);
  for (unsigned lap = 0; read != written && lap < laps_per_turn; ++lap) {
    // A ring's worth is never cut short; what lies beyond must not keep the host from ending.
    if (lap > 0 && load_acquire(block_.quit) != 0) return;
    for (std::uint32_t i = 0; read != written && i < slots; ++i, ++read) act(read % slots);
  }
}

void Supervisor::apply_parameters() {
  follow(block_.param_write, param_slots, params_read_, [this](std::uint32_t slot) {
    const ParamChange& change = block_.params[slot];
    const std::uint32_t plugin = load_relaxed(change.plugin);
    if (plugin >= plugins_.size()) return;
    const platform::PluginCall call(plugin, "parameter");
    plugins_[plugin]->set_parameter(change.id, change.value);
  });
}

void Supervisor::serve_windows() {
  follow(block_.window_write, window_slots, windows_read_, [this](std::uint32_t slot) {
    const WindowRequest& request = block_.window_requests[slot];
    const std::uint32_t kind = load_relaxed(request.kind);
    const std::uint32_t plugin = load_relaxed(request.plugin);
    if (kind == WindowRequest::close_all)
      windows_.close_all();
    else if (kind == WindowRequest::open && plugin < plugins_.size())
      open_editor(plugin, request.title);
  });
}

void Supervisor::open_editor(unsigned plugin, const char* title_field) {
  saver_.capture_baseline(plugin);
  const std::string title(title_field, strnlen(title_field, title_bytes));
  const EndSignals kept;
  const platform::PluginCall call(plugin, "editor");
  if (!windows_.open(plugin, plugins_[plugin]->unit(), title))
    print_line("plugin host " + label_ + ": no window for plugin " + std::to_string(plugin));
}

void Supervisor::save_open_editors(std::uint32_t open_mask) {
  if (open_mask == 0) return;
  if (Clock::now() - last_periodic_save_ <= periodic_save) return;
  last_periodic_save_ = Clock::now();
  for (unsigned plugin = 0; plugin < plugins_.size() && plugin < mask_bits; ++plugin)
    if ((open_mask >> plugin & 1) != 0) saver_.save(plugin);
}

}  // namespace vesk::host
