#include "plugin/plugin_instance.hpp"

namespace vesk {

void PluginInstance::begin_render(unsigned, double) noexcept VESK_REALTIME {}

void PluginInstance::poll() {}

}  // namespace vesk
