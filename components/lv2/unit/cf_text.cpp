#include "components/lv2/unit/cf_text.hpp"

#include <algorithm>

namespace vesk::lv2 {

CFStringRef copy_cf_string(std::string_view text) {
  const auto* bytes = reinterpret_cast<const UInt8*>(text.data());
  const auto count = static_cast<CFIndex>(text.size());
  CFStringRef string =
      CFStringCreateWithBytes(kCFAllocatorDefault, bytes, count, kCFStringEncodingUTF8, false);
  if (string == nullptr) {
    string = CFStringCreateWithBytes(kCFAllocatorDefault, bytes, count, kCFStringEncodingISOLatin1,
                                     false);
  }
  return string;
}

std::string text_of(CFStringRef string) {
  if (string == nullptr) return {};
  const CFRange all = CFRangeMake(0, CFStringGetLength(string));
  CFIndex bytes = 0;
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false, nullptr, 0, &bytes);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  CFStringGetBytes(string, all, kCFStringEncodingUTF8, '?', false,
                   reinterpret_cast<UInt8*>(text.data()), bytes, &bytes);
  return text;
}

std::string cut_utf8(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return std::string(text);
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

std::string first_words(std::string_view text, std::size_t characters) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  std::size_t end = 0;        // of what fits
  std::size_t words_end = 0;  // of the words in it
  for (std::size_t taken = 0; end < text.size() && taken < characters; ++taken) {
    do {
      ++end;
    } while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80);
    if (end == text.size() || text[end] == ' ') words_end = end;
  }
  const std::string_view words = text.substr(0, words_end != 0 ? words_end : end);
  const std::size_t last = words.find_last_not_of(" -:,;/(");
  return std::string(words.substr(0, last != words.npos ? last + 1 : words.size()));
}

}  // namespace vesk::lv2
