#include "host/supervisor.hpp"

#include <cstring>
#include <utility>

#include "host/diagnostics.hpp"
#include "platform/obituary.hpp"
#include "platform/parent_watch.hpp"

namespace vesk::host {
namespace {

constexpr std::chrono::seconds kPeriodicSave{10};
constexpr double kTurnSeconds = 0.01;
constexpr unsigned kMaskBits = 32;

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
  while (load_acquire(block_.quit) == 0) {
    apply_parameters();
    serve_windows();
    const std::uint32_t open_mask = windows_.open_mask();
    store_release(block_.open_mask, open_mask);
    save_open_editors(open_mask);
    if (platform::parent_has_gone()) {
      // Stops the render thread as well.
      store_release(block_.quit, 1);
      return;
    }
    windows_.pump(kTurnSeconds);
  }
}

void Supervisor::close_editors() {
  windows_.close_all();
}

void Supervisor::apply_parameters() {
  // Acquire: pairs with the parent's release store after it filled the slots. Should it have run
  // ahead by more than the ring, slots are applied more than once: the last values still win.
  const std::uint32_t written = load_acquire(block_.param_write);
  for (; params_read_ != written; ++params_read_) {
    const ParamChange change = block_.params[params_read_ % param_slots];
    if (change.plugin >= plugins_.size()) continue;
    const platform::PluginCall call(change.plugin, "parameter");
    plugins_[change.plugin]->set_parameter(change.id, change.value);
  }
}

void Supervisor::serve_windows() {
  const std::uint32_t written = load_acquire(block_.window_write);
  for (; windows_read_ != written; ++windows_read_) {
    const WindowRequest request = block_.window_requests[windows_read_ % window_slots];
    if (request.kind == WindowRequest::close_all)
      windows_.close_all();
    else if (request.kind == WindowRequest::open && request.plugin < plugins_.size())
      open_editor(request.plugin, request);
  }
}

void Supervisor::open_editor(unsigned plugin, const WindowRequest& request) {
  saver_.capture_baseline(plugin);
  const std::string title(request.title, strnlen(request.title, title_bytes));
  const platform::PluginCall call(plugin, "editor");
  if (!windows_.open(plugin, plugins_[plugin]->unit(), title))
    print_line("plugin host " + label_ + ": no window for plugin " + std::to_string(plugin));
}

void Supervisor::save_open_editors(std::uint32_t open_mask) {
  if (open_mask == 0) return;
  const auto now = Clock::now();
  if (now - last_periodic_save_ <= kPeriodicSave) return;
  last_periodic_save_ = now;
  for (unsigned plugin = 0; plugin < plugins_.size() && plugin < kMaskBits; ++plugin)
    if ((open_mask >> plugin & 1) != 0) saver_.save(plugin);
}

}  // namespace vesk::host
