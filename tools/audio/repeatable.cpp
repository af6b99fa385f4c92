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

bool read_at(int descriptor, std::uint8_t* bytes, std::size_t count, off_t place) {
  while (count > 0) {
    const ssize_t got = pread(descriptor, bytes, count, place);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    bytes += got;
    place += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

/// Calls `visit` with every page, its serial number and checksum zero. False where the file is no
/// row of pages, or `visit` is not content.
bool visit_pages(int descriptor, const std::function<bool(Page& page, off_t place)>& visit) {
  const off_t end = lseek(descriptor, 0, SEEK_END);
  for (off_t place = 0; place < end;) {
    Page page(header_bytes);
    if (!read_at(descriptor, page.data(), header_bytes, place) ||
        std::memcmp(page.data(), "OggS", 4) != 0)
      return false;
    const std::size_t segments = page[count_at];
    page.resize(header_bytes + segments);
    if (!read_at(descriptor, &page[header_bytes], segments, place + off_t{header_bytes}))
      return false;
    std::size_t body = 0;
    for (std::size_t i = 0; i < segments; ++i) body += page[header_bytes + i];
    const std::size_t head = page.size();
    page.resize(head + body);
    if (!read_at(descriptor, page.data() + head, body, place + static_cast<off_t>(head)))
      return false;
    put(page, serial_at, 0);
    put(page, checksum_at, 0);
    if (!visit(page, place)) return false;
    place += static_cast<off_t>(page.size());
  }
  return true;
}

bool write_at(int descriptor, const std::uint8_t* bytes, std::size_t count, off_t place) {
  return pwrite(descriptor, bytes, count, place) == static_cast<ssize_t>(count);
}

bool number_ogg_stream(int descriptor) {
  std::uint32_t serial = 0;
  return visit_pages(descriptor,
                     [&](const Page& page, off_t) {
                       serial = serial * 31 + checksum_of(page);
                       return true;
                     }) &&
         visit_pages(descriptor, [&](Page& page, off_t place) {
           put(page, serial_at, serial);
           put(page, checksum_at, checksum_of(page));
           return write_at(descriptor, page.data(), header_bytes, place);
         });
}

/// It stands before the samples.
bool take_out_peaks(int descriptor) {
  std::array<std::uint8_t, 8> head{};  // name and size of a chunk
  off_t place = 12;
  while (read_at(descriptor, head.data(), head.size(), place) &&
         std::memcmp(head.data(), "data", 4) != 0) {
    std::uint32_t size = 0;
    for (std::size_t i = 8; i-- > 4;) size = size << 8 | head[i];
    if (std::memcmp(head.data(), "PEAK", 4) == 0) {
      std::vector<std::uint8_t> chunk(head.begin(), head.end());
      std::memcpy(chunk.data(), "JUNK", 4);
      chunk.resize(head.size() + std::min<std::size_t>(size, 4096));
      return write_at(descriptor, chunk.data(), chunk.size(), place);
    }
    place += off_t{8} + size + size % 2;
  }
  return true;
}

}  // namespace

bool make_repeatable(OutputFile& file, std::string& error) {
  const int descriptor = file.descriptor();
  std::array<std::uint8_t, 4> kind{};
  errno = 0;
  bool is_done = read_at(descriptor, kind.data(), kind.size(), 0);
  if (is_done && std::memcmp(kind.data(), "OggS", 4) == 0)
    is_done = number_ogg_stream(descriptor);
  else if (is_done && std::memcmp(kind.data(), "fLaC", 4) != 0)
    is_done = take_out_peaks(descriptor);
  if (!is_done)
    error = file.path() + ": cannot be written: " +
            (errno != 0 ? std::generic_category().message(errno) : "libsndfile wrote half a file");
  return is_done;
}

}  // namespace vesk::tools
