#include "components/unit_support/diagnostics.hpp"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cstddef>

namespace vesk {
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

}  // namespace vesk
