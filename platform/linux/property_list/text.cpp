// The two values that XML spells in a way of its own: bytes and dates.

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "platform/linux/property_list/property_list.hpp"

namespace vesk::platform::cf {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t no_digit = 0xff, blank = 0xfe;

constexpr std::array<std::uint8_t, 256> digits = [] {
  std::array<std::uint8_t, 256> table;
  table.fill(no_digit);
  for (std::uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(alphabet[i])] = i;
  for (char c : {' ', '\t', '\n', '\r'}) table[static_cast<unsigned char>(c)] = blank;
  return table;
}();

constexpr std::chrono::sys_days first_day_of_2001{std::chrono::year{2001} / 1 / 1};

}  // namespace

std::string encode_base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    for (std::size_t k = 0; k < 4; ++k)
      text += k <= count ? alphabet[group >> (18 - 6 * k) & 63] : '=';
  }
  return text;
}

std::optional<std::string> decode_base64(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  std::size_t count = 0, padding = 0;
  for (char c : text) {
    const std::uint8_t digit = digits[static_cast<unsigned char>(c)];
    if (digit == blank) continue;
    if (c == '=') {
      // Padding fills up the last group of two or three digits.
      if (count % 4 < 2) return std::nullopt;
      ++padding;
    } else if (digit == no_digit || padding > 0) {
      return std::nullopt;
    }
    group = group << 6 | (c == '=' ? 0u : digit);
    if (++count % 4 != 0) continue;
    for (std::size_t k = 0; k < 3 - std::min<std::size_t>(padding, 3); ++k)
      bytes += static_cast<char>(group >> (16 - 8 * k) & 0xff);
    group = 0;
  }
  if (count % 4 != 0 || padding > 2) return std::nullopt;
  return bytes;
}

std::optional<std::string> write_date(CFAbsoluteTime seconds) {
  const double whole = std::floor(seconds);
  // Year 1 to year 9999, as seconds from 2001; the comparison also refuses not-a-number.
  if (!(whole >= -63113904000.0 && whole < 252455616000.0)) return std::nullopt;
  const auto count = static_cast<std::int64_t>(whole);
  const std::int64_t days = count / 86400 - (count % 86400 < 0);
  const auto time = static_cast<int>(count - days * 86400);
  const std::chrono::year_month_day date(first_day_of_2001 + std::chrono::days(days));
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), time / 3600,
                time / 60 % 60, time % 60);
  return text;
}

std::optional<CFAbsoluteTime> read_date(std::string_view text) {
  constexpr std::string_view pattern = "dddd-dd-ddTdd:dd:ddZ";
  if (text.size() != pattern.size()) return std::nullopt;
  std::array<int, 6> fields{};
  std::size_t field = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == 'd') {
      if (text[i] < '0' || text[i] > '9') return std::nullopt;
      fields[field] = fields[field] * 10 + (text[i] - '0');
    } else if (text[i] != pattern[i]) {
      return std::nullopt;
    } else {
      ++field;
    }
  }
  const auto [year, month, day, hour, minute, second] = fields;
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (year < 1 || !date.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const auto days = (std::chrono::sys_days(date) - first_day_of_2001).count();
  return static_cast<double>(days) * 86400.0 + hour * 3600 + minute * 60 + second;
}

}  // namespace vesk::platform::cf
