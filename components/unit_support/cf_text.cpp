#include "components/unit_support/cf_text.hpp"

namespace vesk {

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

std::string cut_utf8(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return std::string(text);
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  return std::string(text.substr(0, end));
}

}  // namespace vesk
