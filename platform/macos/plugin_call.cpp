#include "platform/plugin_call.hpp"

namespace vesk::platform {

// The system's crash reports name the component that died.
PluginCall::PluginCall(unsigned plugin, const char* phase) noexcept VESK_REALTIME
    : outer_plugin_(plugin),
      outer_phase_(phase) {}

PluginCall::~PluginCall() noexcept VESK_REALTIME = default;

}  // namespace vesk::platform
