#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vesk::tools {

/// The whole content of the file at `path`. Empty with the system's error number in `cause`:
/// EISDIR for a folder, EFBIG for more than `most_bytes`.
std::optional<std::vector<std::uint8_t>> read_file(const std::string& path, std::size_t most_bytes,
                                                   int& cause);

}  // namespace vesk::tools
