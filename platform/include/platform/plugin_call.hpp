#pragma once

#include "platform/realtime.hpp"

namespace vesk::platform {

/// What a thread is doing inside a plugin, kept so that a crash can be told in one line:
/// "plugin host LABEL: plugin INDEX died in PHASE: SIGNAL".
///
/// `phase` is a literal such as "load" or "render". Nests: the destructor restores what was
/// there before. One thread each; two stores, real-time safe.
class PluginCall {
 public:
  PluginCall(unsigned plugin, const char* phase) noexcept VESK_REALTIME;
  ~PluginCall() noexcept VESK_REALTIME;
  PluginCall(const PluginCall&) = delete;
  PluginCall& operator=(const PluginCall&) = delete;

 private:
  [[maybe_unused]] unsigned outer_plugin_;
  [[maybe_unused]] const char* outer_phase_;
};

}  // namespace vesk::platform
