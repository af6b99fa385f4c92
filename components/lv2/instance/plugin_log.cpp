#include "components/lv2/instance/plugin_log.hpp"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace vesk::lv2 {
namespace {

// Gathered rather than joined: a plugin may log where nothing should be allocated.
template <std::size_t count>
void write_line(const std::array<std::string_view, count>& texts) {
  std::array<iovec, count> parts;
  for (std::size_t i = 0; i < count; ++i)
    parts[i] = {const_cast<char*>(texts[i].data()), texts[i].size()};
  [[maybe_unused]] const ssize_t sent =
      writev(STDERR_FILENO, parts.data(), static_cast<int>(parts.size()));
}

}  // namespace

void say(std::string_view line) {
  write_line<3>({"plugin host: ", line, "\n"});
}

void say_of(std::string_view plugin, std::string_view text) {
  write_line<5>({"plugin host: ", plugin, ": ", text, "\n"});
}

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
