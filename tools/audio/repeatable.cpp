#include "tools/audio/repeatable.hpp"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <system_error>
#include <vector>

namespace vesk::tools {
namespace {

// RFC 3533, section 6: a page is a header of 27 bytes, so many segment lengths as its last byte
// says, and the segments.
constexpr std::size_t header_bytes = 27;
constexpr std::size_t serial_at = 14;
constexpr std::size_t checksum_at = 22;
constexpr std::size_t count_at = 26;

using Page = std::vector<std::uint8_t>;

/// The format's checksum: polynomial 0x04c11db7, highest bit first, from 0.
std::uint32_t checksum_of(const Page& page) {
  static const auto table = [] {
    std::array<std::uint32_t, 256> made{};
    for (std::uint32_t i = 0; i < made.size(); ++i) {
      std::uint32_t rest = i << 24;
      for (int bit = 0; bit < 8; ++bit) rest = rest << 1 ^ (rest >> 31 ? 0x04c11db7u : 0u);
      made[i] = rest;
    }
    return made;
  }();
  std::uint32_t sum = 0;
  for (const std::uint8_t byte : page) sum = sum << 8 ^ table[sum >> 24 ^ byte];
  return sum;
}

void put(Page& page, std::size_t at, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) page[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// Whether all of the bytes are there.
bool read_all(const OutputFile& file, std::uint8_t* bytes, std::size_t count, off_t place) {
  return file.read_at(bytes, count, place) == static_cast<ssize_t>(count);
}

/// Calls `visit` with every page, its serial number and checksum zero. False where the file is no
/// row of pages, or `visit` is not content.
bool visit_pages(const OutputFile& file,
                 const std::function<bool(Page& page, off_t place)>& visit) {
  const off_t end = lseek(file.descriptor(), 0, SEEK_END);
  for (off_t place = 0; place < end;) {
    Page page(header_bytes);
    if (!read_all(file, page.data(), header_bytes, place) ||
        std::memcmp(page.data(), "OggS", 4) != 0)
      return false;
    const std::size_t segments = page[count_at];
    page.resize(header_bytes + segments);
    if (!read_all(file, &page[header_bytes], segments, place + off_t{header_bytes})) return false;
    std::size_t body = 0;
    for (std::size_t i = 0; i < segments; ++i) body += page[header_bytes + i];
    const std::size_t head = page.size();
    page.resize(head + body);
    if (!read_all(file, page.data() + head, body, place + static_cast<off_t>(head))) return false;
    put(page, serial_at, 0);
    put(page, checksum_at, 0);
    if (!visit(page, place)) return false;
    place += static_cast<off_t>(page.size());
  }
  return true;
}

bool write_at(const OutputFile& file, const std::uint8_t* bytes, std::size_t count, off_t place) {
  return pwrite(file.descriptor(), bytes, count, place) == static_cast<ssize_t>(count);
}

bool number_ogg_stream(const OutputFile& file) {
  std::uint32_t serial = 0;
  return visit_pages(file,
                     [&](const Page& page, off_t) {
                       serial = serial * 31 + checksum_of(page);
                       return true;
                     }) &&
         visit_pages(file, [&](Page& page, off_t place) {
           put(page, serial_at, serial);
           put(page, checksum_at, checksum_of(page));
           return write_at(file, page.data(), header_bytes, place);
         });
}

/// It stands before the samples.
bool take_out_peaks(const OutputFile& file) {
  std::array<std::uint8_t, 8> head{};  // name and size of a chunk
  off_t place = 12;
  while (read_all(file, head.data(), head.size(), place) &&
         std::memcmp(head.data(), "data", 4) != 0) {
    std::uint32_t size = 0;
    for (std::size_t i = 8; i-- > 4;) size = size << 8 | head[i];
    if (std::memcmp(head.data(), "PEAK", 4) == 0) {
      std::vector<std::uint8_t> chunk(head.begin(), head.end());
      std::memcpy(chunk.data(), "JUNK", 4);
      chunk.resize(head.size() + std::min<std::size_t>(size, 4096));
      return write_at(file, chunk.data(), chunk.size(), place);
    }
    place += off_t{8} + size + size % 2;
  }
  return true;
}

}  // namespace

bool make_repeatable(OutputFile& file, std::string& error) {
  std::array<std::uint8_t, 4> kind{};
  errno = 0;
  bool is_done = read_all(file, kind.data(), kind.size(), 0);
  if (is_done && std::memcmp(kind.data(), "OggS", 4) == 0)
    is_done = number_ogg_stream(file);
  else if (is_done && std::memcmp(kind.data(), "fLaC", 4) != 0)
    is_done = take_out_peaks(file);
  if (!is_done)
    error = file.path() + ": cannot be written: " +
            (errno != 0 ? std::generic_category().message(errno) : "libsndfile wrote half a file");
  return is_done;
}

}  // namespace vesk::tools
