#pragma once

// What modules say to the user, on standard error.

#include <string_view>

namespace vesk {

/// Writes "plugin host: LINE" with a newline, in one write, so that lines of several threads stay
/// whole. Any thread; allocates nothing, but not real-time safe.
void say(std::string_view line);

/// The same with "plugin host: PLUGIN: TEXT".
void say_of(std::string_view plugin, std::string_view text);

}  // namespace vesk
