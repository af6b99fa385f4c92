#pragma once

#include <string>
#include <system_error>

namespace vesk::client {

/// The system's text for an error number; unlike `strerror`'s, no other thread can change it.
inline std::string error_text(int error) {
  return std::generic_category().message(error);
}

}  // namespace vesk::client
