#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vesk::tools {

/// JSON that keeps the order of its members and writes a float so that it reads back as the same
/// one, in no more digits than that takes. What is no number becomes null.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

/// The text of a value. Bytes that are not UTF-8 become the replacement character.
inline std::string json_text(const Json& value) {
  return value.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace vesk::tools
