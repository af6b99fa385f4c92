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
#include <string_view>

#include "components/lv2/unit/editor_link.hpp"

namespace vesk::lv2 {
namespace {

constexpr std::string_view offered[] = {
    LV2_URID__map,
    LV2_URID__unmap,
    LV2_OPTIONS__options,
    LV2_LOG__log,
    LV2_UI__parent,
    LV2_UI__idleInterface,
    LV2_UI__resize,
    LV2_UI__portMap,
    LV2_UI__portSubscribe,
    LV2_UI__touch,
    LV2_INSTANCE_ACCESS_URI,
    LV2_DATA_ACCESS_URI,
    // What the view does anyway.
    LV2_UI__fixedSize,
    LV2_UI__noUserResize,
};

bool is_embeddable(const Editor& editor) {
  return editor.class_uri == LV2_UI__X11UI && access(editor.library.c_str(), R_OK) == 0 &&
         std::all_of(editor.required_features.begin(), editor.required_features.end(),
                     [](const std::string& feature) {
                       return std::find(std::begin(offered), std::end(offered), feature) !=
                              std::end(offered);
                     });
}

}  // namespace

const Editor* embeddable_editor(const Description& plugin) {
  const auto found = std::find_if(plugin.editors.begin(), plugin.editors.end(), &is_embeddable);
  return found != plugin.editors.end() ? &*found : nullptr;
}

std::string editor_bundle() {
  static const char anchor = 0;
  Dl_info module{};
  if (dladdr(&anchor, &module) == 0 || module.dli_fname == nullptr) return {};
  const std::string file = module.dli_fname;
  const std::size_t slash = file.rfind('/');
  if (slash == std::string::npos) return {};
  const std::string folder = file.substr(0, slash + 1) + editor_bundle_name;
  return access(folder.c_str(), R_OK | X_OK) == 0 ? folder : std::string{};
}

}  // namespace vesk::lv2
