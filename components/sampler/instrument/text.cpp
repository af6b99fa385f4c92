#include "components/sampler/instrument/text.hpp"

#include <array>
#include <optional>

namespace vesk::sampler {
namespace {

/// Takes a code point from the front of `bytes`; nothing, with one byte taken, where there is none.
std::optional<char32_t> take(std::string_view& bytes) {
  const auto first = static_cast<unsigned char>(bytes.front());
  bytes.remove_prefix(1);
  if (first < 0x80) return first;
  const unsigned more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  if (first < 0xC2 || first > 0xF4 || bytes.size() < more) return std::nullopt;
  char32_t point = first & (0x3Fu >> more);
  for (unsigned i = 0; i < more; ++i) {
    const auto next = static_cast<unsigned char>(bytes[i]);
    if ((next & 0xC0) != 0x80) return std::nullopt;
    point = point << 6 | (next & 0x3F);
  }
  constexpr std::array<char32_t, 4> first_of_length{0, 0x80, 0x800, 0x10000};
  if (point < first_of_length[more] || point > 0x10FFFF || (point >= 0xD800 && point < 0xE000))
    return std::nullopt;
  bytes.remove_prefix(more);
  return point;
}

void append(std::string& text, char32_t point) {
  const auto put = [&text](char32_t byte) { text += static_cast<char>(byte); };
  if (point < 0x80) return put(point);
  if (point < 0x800) {
    put(0xC0 | point >> 6);
  } else {
    if (point < 0x10000) {
      put(0xE0 | point >> 12);
    } else {
      put(0xF0 | point >> 18);
      put(0x80 | (point >> 12 & 0x3F));
    }
    put(0x80 | (point >> 6 & 0x3F));
  }
  put(0x80 | (point & 0x3F));
}

constexpr std::u32string_view mac_roman_upper_half =
    U"ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø"
    U"¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";
static_assert(mac_roman_upper_half.size() == 128);

/// From U+00C0 to U+017F, the letter without its accent; what has none stays.
constexpr std::u32string_view latin_bases =
    U"aaaaaaæceeeeiiiiðnooooo×øuuuuyþßaaaaaaæceeeeiiiiðnooooo÷øuuuuyþy"
    U"aaaaaaccccccccdd\u0111\u0111eeeeeeeeeegggggggghh\u0127\u0127iiiiiiiii\u0131"
    U"\u0133\u0133jjkk\u0138llllll\u0140\u0140\u0142\u0142nnnnnn\u0149\u014B\u014B"
    U"oooooo\u0153\u0153rrrrrrsssssssstttt\u0167\u0167uuuuuuuuuuuuwwyyyzzzzzz\u017F";
static_assert(latin_bases.size() == 0x180 - 0xC0);

/// A kana that a voicing mark has been joined with, without it.
char32_t unvoiced(char32_t point) {
  const char32_t katakana = point >= 0x30A0 ? 0x60 : 0;
  const char32_t kana = point - katakana;
  if (kana == 0x3094) return 0x3046 + katakana;
  if (kana >= 0x304B && kana <= 0x3062) return point - (kana - 0x304B) % 2;
  if (kana >= 0x3064 && kana <= 0x3069) return point - kana % 2;
  if (kana >= 0x306F && kana <= 0x307D) return point - (kana - 0x306F) % 3;
  return point;
}

char32_t base_of(char32_t point) {
  if (point < 0x80) return point >= 'A' && point <= 'Z' ? point + 0x20 : point;
  if (point >= 0xC0 && point < 0x180) return latin_bases[point - 0xC0];
  if (point >= 0x386 && point <= 0x3CE) {  // Greek, accents from U+0301 and U+0308
    constexpr std::u32string_view accented = U"ΆΈΉΊΌΎΏΐΪΫάέήίΰϊϋόύώ",
                                  plain = U"αεηιουωιιυαεηιυιυουω";
    if (const auto at = accented.find(point); at != accented.npos) return plain[at];
    return point >= 0x391 && point <= 0x3A9 ? point + 0x20 : point;
  }
  if (point >= 0x400 && point < 0x460) {  // Cyrillic
    if (point < 0x410)
      point += 0x50;
    else if (point < 0x430)
      point += 0x20;
    constexpr std::u32string_view accented = U"йѐёѓїќѝў", plain = U"иеегікиу";
    const auto at = accented.find(point);
    return at == accented.npos ? point : plain[at];
  }
  return point >= 0x3040 && point < 0x3100 ? unvoiced(point) : point;
}

bool is_joined_mark(char32_t point) {
  return (point >= 0x300 && point < 0x370) || point == 0x3099 || point == 0x309A;
}

/// A syllable as the two or three letters that it is written with.
void append_hangul(std::string& text, char32_t syllable) {
  const char32_t number = syllable - 0xAC00;
  append(text, 0x1100 + number / (21 * 28));
  append(text, 0x1161 + number / 28 % 21);
  if (number % 28 != 0) append(text, 0x11A7 + number % 28);
}

}  // namespace

std::string to_utf8(std::string_view bytes) {
  bool is_utf8 = true;
  for (std::string_view rest = bytes; is_utf8 && !rest.empty();) is_utf8 = take(rest).has_value();
  if (is_utf8) return std::string(bytes);
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    append(text, byte < 0x80 ? byte : mac_roman_upper_half[byte - 0x80]);
  }
  return text;
}

std::string folded(std::string_view name) {
  std::string text;
  for (std::string_view rest = name; !rest.empty();) {
    const char byte = rest.front();
    const auto point = take(rest);
    if (!point)
      text += byte;
    else if (*point >= 0xAC00 && *point < 0xAC00 + 11172)
      append_hangul(text, *point);
    else if (!is_joined_mark(*point))
      append(text, base_of(*point));
  }
  return text;
}

}  // namespace vesk::sampler
