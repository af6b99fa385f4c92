#include "tools/soak/editor_stage.hpp"

#include <chrono>
#include <thread>

#include "tools/soak/driven_host.hpp"

namespace vesk::tools {
namespace {

constexpr auto between_periods = std::chrono::milliseconds(10);
constexpr int periods_open = 40;

}  // namespace

bool open_editor(Life& life) {
  if (!life.begin("editor")) return false;
  const auto host = DrivenHost::start(life, {.mode = client::Mode::real_time,
                                             .preset_path = life.preset_path,
                                             .environment = life.settings.editor_environment});
  if (!host || !host->play(host->settings().period)) return false;
  host->host().open_editor(0, life.result.name);
  if (!host->settle()) return false;
  for (int i = 0; i < periods_open; ++i) {
    if (!host->play(host->settings().period)) return false;
    std::this_thread::sleep_for(between_periods);
  }
  if (host->host().open_mask() == 0) {
    const auto lines = host->host().last_lines();
    life.remark("editor", "no window came" + (lines.empty() ? "" : ": " + lines.back()), false);
  } else {
    life.result.editor_was_opened = true;
  }
  host->host().close_editors();
  if (!host->settle()) return false;
  const bool is_back = host->play(host->settings().period);
  if (is_back && host->host().open_mask() != 0)
    life.remark("editor", "the window stayed open after it was closed", false);
  return is_back && host->close();
}

}  // namespace vesk::tools
