#pragma once

// An EXS24 file is a chain of blocks; this takes it apart, whatever the bytes are.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vesk::sampler {

/// Numbers and texts at places in a block. What does not lie in it as a whole reads as `otherwise`:
/// each generation of the format has longer blocks than the one before, and some files cut them.
class ExsFields {
 public:
  ExsFields() = default;
  ExsFields(std::span<const std::byte> bytes, bool is_big_endian)
      : bytes_(bytes), is_big_endian_(is_big_endian) {}

  std::uint8_t u8(std::size_t at, std::uint8_t otherwise = 0) const;
  std::int8_t i8(std::size_t at, std::int8_t otherwise = 0) const;
  std::uint16_t u16(std::size_t at, std::uint16_t otherwise = 0) const;
  std::int16_t i16(std::size_t at, std::int16_t otherwise = 0) const;
  std::uint32_t u32(std::size_t at, std::uint32_t otherwise = 0) const;
  std::int32_t i32(std::size_t at, std::int32_t otherwise = 0) const;
  float f32(std::size_t at, float otherwise) const;
  /// UTF-8, up to the first zero or `room` bytes.
  std::string text(std::size_t at, std::size_t room) const;
  bool has(std::size_t at, std::size_t width) const;
  std::size_t size() const { return bytes_.size(); }

 private:
  std::span<const std::byte> bytes_;
  bool is_big_endian_ = false;
};

enum class ExsBlockType : std::uint8_t {
  instrument = 0,
  zone = 1,
  group = 2,
  sample = 3,
  parameters = 4
};

struct ExsBlock {
  ExsBlockType type;  ///< or another number up to 15
  ExsFields header, content;
  std::string name() const { return header.text(20, 64); }
};

/// The blocks from the front to the first bytes that are none. Empty when the file does not begin
/// with an instrument. They refer to `file`.
std::vector<ExsBlock> exs_blocks(std::span<const std::byte> file);

}  // namespace vesk::sampler
