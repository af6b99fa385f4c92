#include "components/lv2/unit/editor_choice.hpp"

#include <dlfcn.h>
#include <lv2/data-access/data-access.h>
#include <lv2/instance-access/instance-access.h>
#include <lv2/log/log.h>
#include <lv2/options/options.h>
#include <lv2/ui/ui.h>
#include <lv2/urid/urid.h>
#include <unistd.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::string_view offered[] = {
    LV2_URID__map,
    LV2_URID__unmap,
    LV2_OPTIONS__options,
    LV2_LOG__log,
    LV2_UI__idleInterface,
    LV2_UI__resize,
    LV2_UI__portMap,
    LV2_UI__portSubscribe,
    LV2_UI__touch,
    // What is done anyway.
    LV2_UI__fixedSize,
    LV2_UI__noUserResize,
    LV2_UI_PREFIX "makeResident",
};
/// In the host's own process, which has the plugin's instance, and inside an X window.
constexpr std::string_view offered_to_x11[] = {
    LV2_UI__parent,
    LV2_INSTANCE_ACCESS_URI,
    LV2_DATA_ACCESS_URI,
};
constexpr std::string_view offered_to_external[] = {external_host, external_class};

bool holds(std::span<const std::string_view> features, const std::string& feature) {
  return std::find(features.begin(), features.end(), feature) != features.end();
}

bool is_embeddable(const Editor& editor, InterfaceKind kind) {
  std::span<const std::string_view> more;
  if (kind == InterfaceKind::x11) more = offered_to_x11;
  if (kind == InterfaceKind::external) more = offered_to_external;
  return access(editor.library.c_str(), R_OK) == 0 &&
         std::all_of(editor.required_features.begin(), editor.required_features.end(),
                     [&](const std::string& feature) {
                       return holds(offered, feature) || holds(more, feature);
                     });
}

/// A file beside this module.
std::string neighbour(const char* name, int mode) {
  static const char anchor = 0;
  Dl_info module{};
  if (dladdr(&anchor, &module) == 0 || module.dli_fname == nullptr) return {};
  const std::string file = module.dli_fname;
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return {};
  std::string path = file.substr(0, slash + 1) + name;
  return access(path.c_str(), mode) == 0 ? path : std::string{};
}

}  // namespace

const Editor* embeddable_editor(const Description& plugin) {
  const bool has_helper = !editor_helper().empty();
  const Editor* found = nullptr;
  for (const Editor& editor : plugin.editors) {
    const InterfaceKind kind = interface_kind(editor.class_uri);
    if (kind == InterfaceKind::other || !is_embeddable(editor, kind)) continue;
    if (kind == InterfaceKind::x11) return &editor;
    if (found == nullptr && has_helper) found = &editor;
  }
  return found;
}

std::string editor_bundle() {
  return neighbour(editor_bundle_name, R_OK | X_OK);
}

std::string editor_helper() {
  return neighbour("vesk-lv2-ui", X_OK);
}

}  // namespace vesk::lv2
