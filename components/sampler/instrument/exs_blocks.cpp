#include "components/sampler/instrument/exs_blocks.hpp"

#include <algorithm>
#include <bit>
#include <string_view>

#include "components/sampler/instrument/text.hpp"

namespace vesk::sampler {
namespace {

constexpr std::size_t header_size = 84, size_at = 4, magic_at = 16;

using ByteSpan = std::span<const std::byte>;

enum class Magic { none, little_endian, big_endian };

Magic magic_of(ByteSpan bytes) {
  if (bytes.size() < magic_at + 4) return Magic::none;
  const std::string_view word(reinterpret_cast<const char*>(bytes.data()) + magic_at, 4);
  if (word == "TBOS" || word == "JBOS") return Magic::little_endian;
  return word == "SOBT" || word == "SOBJ" ? Magic::big_endian : Magic::none;
}

/// Big-endian files have the type last, as 00 01 00 TT, or the whole word swapped, as TT 00 01 01.
std::uint8_t type_byte(const ExsFields& header, bool is_big_endian) {
  const bool is_first = is_big_endian && header.u8(2) == 1;
  return header.u8(is_first ? 0 : 3);
}

/// A size that leads to the end of the file or to another block.
bool leads_on(ByteSpan content, std::size_t size) {
  return size == content.size() ||
         (size < content.size() && magic_of(content.subspan(size)) != Magic::none);
}

/// Bit 15 is no part of the size in one old variant, which also sets a bit of the type; in new
/// files blocks can be that large.
std::size_t content_size(ByteSpan content, std::uint32_t size, bool is_old_variant) {
  constexpr std::uint32_t flag = 0x8000;
  if ((size & flag) == 0) return size;
  const bool is_flagged =
      is_old_variant || (!leads_on(content, size) && leads_on(content, size & ~flag));
  return is_flagged ? size & ~flag : size;
}

}  // namespace

bool ExsFields::has(std::size_t at, std::size_t width) const {
  return at <= bytes_.size() && width <= bytes_.size() - at;
}

std::uint8_t ExsFields::u8(std::size_t at, std::uint8_t otherwise) const {
  return has(at, 1) ? std::to_integer<std::uint8_t>(bytes_[at]) : otherwise;
}

std::int8_t ExsFields::i8(std::size_t at, std::int8_t otherwise) const {
  return static_cast<std::int8_t>(u8(at, static_cast<std::uint8_t>(otherwise)));
}

std::uint16_t ExsFields::u16(std::size_t at, std::uint16_t otherwise) const {
  if (!has(at, 2)) return otherwise;
  const unsigned first = u8(at), second = u8(at + 1);
  return static_cast<std::uint16_t>(is_big_endian_ ? first << 8 | second : second << 8 | first);
}

std::int16_t ExsFields::i16(std::size_t at, std::int16_t otherwise) const {
  return static_cast<std::int16_t>(u16(at, static_cast<std::uint16_t>(otherwise)));
}

std::uint32_t ExsFields::u32(std::size_t at, std::uint32_t otherwise) const {
  if (!has(at, 4)) return otherwise;
  const std::uint32_t first = u16(at), second = u16(at + 2);
  return is_big_endian_ ? first << 16 | second : second << 16 | first;
}

std::int32_t ExsFields::i32(std::size_t at, std::int32_t otherwise) const {
  return static_cast<std::int32_t>(u32(at, static_cast<std::uint32_t>(otherwise)));
}

float ExsFields::f32(std::size_t at, float otherwise) const {
  return std::bit_cast<float>(u32(at, std::bit_cast<std::uint32_t>(otherwise)));
}

std::string ExsFields::text(std::size_t at, std::size_t room) const {
  if (at >= bytes_.size()) return {};
  const ByteSpan bytes = bytes_.subspan(at, std::min(room, bytes_.size() - at));
  const auto length = std::ranges::find(bytes, std::byte{0}) - bytes.begin();
  return to_utf8({reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length)});
}

std::vector<ExsBlock> exs_blocks(ByteSpan file) {
  std::vector<ExsBlock> blocks;
  while (file.size() >= header_size) {
    const Magic magic = magic_of(file);
    if (magic == Magic::none) break;
    const bool is_big_endian = magic == Magic::big_endian;
    const ExsFields header(file.first(header_size), is_big_endian);
    const std::uint8_t type = type_byte(header, is_big_endian);
    file = file.subspan(header_size);
    const std::size_t size = content_size(file, header.u32(size_at), (type & 0x80) != 0);
    if (size > file.size()) break;
    // The bits above tell variants apart, not types.
    const auto kind = static_cast<ExsBlockType>(type & 0x0F);
    if (blocks.empty() && kind != ExsBlockType::instrument) break;
    blocks.push_back({kind, header, ExsFields(file.first(size), is_big_endian)});
    file = file.subspan(size);
  }
  return blocks;
}

}  // namespace vesk::sampler
