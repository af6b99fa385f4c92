// Taking URLs apart and putting them together, by the generic syntax of RFC 3986.

#include <cctype>

#include "platform/linux/core_foundation/url.hpp"

namespace vesk::platform::cf {

namespace {

bool is_letter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

int hex_digit(char c) {
  if (is_digit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool is_one_of(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

/// Letters of a path segment that stand for themselves (pchar without the percent sign).
bool is_path_character(char c) {
  return is_letter(c) || is_digit(c) || is_one_of(c, "-._~!$&'()*+,;=:@");
}

/// Section 5.2.4 of the RFC.
std::string remove_dot_segments(std::string_view path) {
  std::string result;
  while (!path.empty()) {
    const std::size_t start = path.starts_with('/') ? 1 : 0;
    const std::size_t end = path.find('/', start);
    const std::string_view segment = path.substr(start, end == path.npos ? path.npos : end - start);
    const bool is_last = end == path.npos;
    if (segment == "." || segment == "..") {
      if (segment == "..") {
        const std::size_t slash = result.rfind('/');
        result.erase(slash == std::string::npos ? 0 : slash);
      }
      if (is_last && (start == 1 || !result.empty())) result += '/';
    } else {
      result += path.substr(0, is_last ? path.npos : end);
    }
    path.remove_prefix(is_last ? path.size() : end);
  }
  return result;
}

}  // namespace

UrlParts split_url(std::string_view text) {
  UrlParts parts;
  if (!text.empty() && is_letter(text[0])) {
    std::size_t i = 1;
    while (i < text.size() &&
           (is_letter(text[i]) || is_digit(text[i]) || is_one_of(text[i], "+-.")))
      ++i;
    if (i < text.size() && text[i] == ':') {
      parts.scheme = text.substr(0, i);
      text.remove_prefix(i + 1);
    }
  }
  if (const std::size_t mark = text.find('#'); mark != text.npos) {
    parts.fragment = text.substr(mark);
    text = text.substr(0, mark);
  }
  if (const std::size_t mark = text.find('?'); mark != text.npos) {
    parts.query = text.substr(mark);
    text = text.substr(0, mark);
  }
  if (text.starts_with("//")) {
    const std::size_t end = text.find('/', 2);
    parts.has_authority = true;
    parts.authority = text.substr(2, end == text.npos ? text.npos : end - 2);
    text = end == text.npos ? std::string_view() : text.substr(end);
  }
  parts.path = text;
  return parts;
}

bool is_valid_url(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (i + 2 >= text.size() || hex_digit(text[i + 1]) < 0 || hex_digit(text[i + 2]) < 0)
        return false;
      i += 2;
    } else if (!is_path_character(text[i]) && !is_one_of(text[i], "/?#[]")) {
      return false;
    }
  }
  return !text.empty();
}

std::string resolve_url(std::string_view base_text, std::string_view relative_text) {
  const UrlParts base = split_url(base_text), relative = split_url(relative_text);
  if (!relative.scheme.empty()) return std::string(relative_text);
  std::string result;
  if (!base.scheme.empty()) result.append(base.scheme).append(":");
  const UrlParts& authority = relative.has_authority ? relative : base;
  if (authority.has_authority) result.append("//").append(authority.authority);
  if (relative.has_authority || relative.path.starts_with('/')) {
    result.append(remove_dot_segments(relative.path)).append(relative.query);
  } else if (relative.path.empty()) {
    result.append(base.path).append(relative.query.empty() ? base.query : relative.query);
  } else {
    std::string merged(base.path.substr(0, base.path.rfind('/') + 1));
    if (merged.empty() && base.has_authority) merged = "/";
    result.append(remove_dot_segments(merged.append(relative.path))).append(relative.query);
  }
  return result.append(relative.fragment);
}

std::string escape_path(std::string_view path) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string text;
  for (char c : path) {
    if (is_path_character(c) || c == '/') {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}

std::string unescape(std::string_view text, std::string_view leave) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = hex_digit(text[i + 1]), low = hex_digit(text[i + 2]);
      const char byte = static_cast<char>(high * 16 + low);
      if (high >= 0 && low >= 0 && !is_one_of(byte, leave)) {
        bytes += byte;
        i += 2;
        continue;
      }
    }
    bytes += text[i];
  }
  return bytes;
}

}  // namespace vesk::platform::cf
