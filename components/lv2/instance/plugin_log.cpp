#include "components/lv2/instance/plugin_log.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string_view>
#include <utility>

#include "components/unit_support/diagnostics.hpp"

namespace vesk::lv2 {
PluginLog::PluginLog(std::string plugin, LV2_URID trace)
    : plugin_(std::move(plugin)), trace_(trace), feature_{this, &log_arguments, &log} {}

int PluginLog::log(LV2_Log_Handle handle, LV2_URID type, const char* format, va_list arguments) {
  const auto& self = *static_cast<const PluginLog*>(handle);
  if (type == self.trace_) return 0;
  char text[1024];
  const int written = std::vsnprintf(text, sizeof text, format, arguments);
  if (written <= 0) return written;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    if (!line.empty()) say_of(self.plugin_, line);
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
  }
  return written;
}

int PluginLog::log_arguments(LV2_Log_Handle handle, LV2_URID type, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int written = log(handle, type, format, arguments);
  va_end(arguments);
  return written;
}

}  // namespace vesk::lv2
