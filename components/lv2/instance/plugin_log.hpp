#pragma once

// What plugins say themselves, on standard error.

#include <lv2/log/log.h>
#include <lv2/urid/urid.h>

#include <string>

namespace vesk::lv2 {

/// The log feature of one plugin or of its interface; must outlive it, at one address.
///
/// Every line that it logs comes out under the plugin's name, the first 1023 bytes of a message;
/// traces are dropped, since they are the one kind that may be sent while the plugin runs.
class PluginLog {
 public:
  /// `trace` is the number of log:Trace in the plugin's own table.
  PluginLog(std::string plugin, LV2_URID trace);
  PluginLog(const PluginLog&) = delete;
  PluginLog& operator=(const PluginLog&) = delete;

  LV2_Log_Log* feature() { return &feature_; }

 private:
  static int log(LV2_Log_Handle handle, LV2_URID type, const char* format, va_list arguments);
  static int log_arguments(LV2_Log_Handle handle, LV2_URID type, const char* format, ...)
      __attribute__((format(printf, 3, 4)));

  std::string plugin_;
  LV2_URID trace_;
  LV2_Log_Log feature_;
};

}  // namespace vesk::lv2
