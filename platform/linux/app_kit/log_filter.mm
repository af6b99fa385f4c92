#import "platform/linux/app_kit/log_filter.hpp"

#import <Foundation/Foundation.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <string_view>

namespace vesk::platform {
namespace {

NSLog_printf_handler* outer_handler = nullptr;

bool is_toolkit_file(std::string_view path) {
  return path.find("/libgnustep-") != path.npos || path.find("/GNUstep/") != path.npos;
}

bool is_log_call(const char* symbol) {
  return symbol && (std::string_view(symbol) == "NSLog" || std::string_view(symbol) == "NSLogv");
}

/// Whether the code that called NSLog is the toolkit's: the first frame outside NSLog tells.
bool toolkit_is_logging() {
  void* frames[16];
  const int count = backtrace(frames, 16);
  bool inside_log = false;
  for (int frame = 0; frame < count; ++frame) {
    Dl_info info;
    if (dladdr(frames[frame], &info) == 0 || !info.dli_fname) return false;
    const bool logging = is_log_call(info.dli_sname);
    if (inside_log && !logging) return is_toolkit_file(info.dli_fname);
    inside_log = logging;
  }
  return false;
}

void log_filtered(NSString* message) {
  if (!toolkit_is_logging()) outer_handler(message);
}

}  // namespace

void drop_toolkit_messages() {
  if (outer_handler) return;
  outer_handler = _NSLog_printf_handler;
  _NSLog_printf_handler = log_filtered;
}

}  // namespace vesk::platform
