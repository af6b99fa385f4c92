#include "tools/program/input_file.hpp"

#include <cerrno>
#include <cstdio>
#include <memory>

namespace vesk::tools {

std::optional<std::vector<std::uint8_t>> read_file(const std::string& path, std::size_t most_bytes,
                                                   int& cause) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  std::vector<std::uint8_t> bytes;
  std::uint8_t buffer[65'536];
  // A folder can be opened; reading it is what fails.
  while (file) {
    const std::size_t got = std::fread(buffer, 1, sizeof buffer, file.get());
    bytes.insert(bytes.end(), buffer, buffer + got);
    if (bytes.size() > most_bytes) {
      cause = EFBIG;
      return std::nullopt;
    }
    if (got < sizeof buffer && std::ferror(file.get()) == 0) return bytes;
    if (got < sizeof buffer) break;
  }
  cause = errno;
  return std::nullopt;
}

}  // namespace vesk::tools
