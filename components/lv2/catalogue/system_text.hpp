#pragma once

// The system's words for errors and signals, from functions that any thread may call.

#include <cstring>
#include <string>

namespace vesk::lv2 {

inline std::string error_text(int error) {
  const char* text = ::strerrordesc_np(error);
  return text ? text : "error " + std::to_string(error);
}

inline std::string signal_text(int signal) {
  const char* text = ::sigdescr_np(signal);
  return text ? text : "signal " + std::to_string(signal);
}

}  // namespace vesk::lv2
