#pragma once

#include <string>
#include <string_view>

namespace vesk::tools {

/// A JSON string with its quotes. Bytes that are not UTF-8 become the replacement character.
std::string json_string(std::string_view text);

/// A JSON number that reads back to the same float; null for what JSON has no number for.
std::string json_number(float value);

}  // namespace vesk::tools
