#include "platform/linux/core_foundation/url.hpp"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform::cf {

namespace {

struct Url : Object {
  static constexpr Type type_of = Type::url;
  explicit Url(CFStringRef string_) : Object(type_of, plain), string(string_) {}
  const Owner<CFStringRef> string;
};

bool equal_urls(const Object* object, CFTypeRef other) {
  return CFEqual(CFURLGetString(as_ref<CFURLRef>(object)),
                 CFURLGetString(static_cast<CFURLRef>(other)));
}

CFHashCode hash_url(const Object* object) {
  return CFHash(CFURLGetString(as_ref<CFURLRef>(object)));
}

CFStringRef describe_url(const Object* object) {
  return CFStringCreateCopy(nullptr, CFURLGetString(as_ref<CFURLRef>(object)));
}

bool is_letter_or_digit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

int hex_digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Bytes of a path as a URL spells them (RFC 3986), slashes kept.
std::string escaped(std::string_view path) {
  constexpr char digits[] = "0123456789ABCDEF";
  constexpr std::string_view plain_marks = "/-._~!$&'()*+,;=:@";
  std::string text;
  for (const char c : path) {
    if (is_letter_or_digit(c) || plain_marks.find(c) != plain_marks.npos) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}

std::string unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool may_be_escape = text[i] == '%' && i + 2 < text.size();
    const int high = may_be_escape ? hex_digit(text[i + 1]) : -1;
    const int low = may_be_escape ? hex_digit(text[i + 2]) : -1;
    const bool is_escape = high >= 0 && low >= 0;
    bytes += is_escape ? static_cast<char>(high * 16 + low) : text[i];
    if (is_escape) i += 2;
  }
  return bytes;
}

}  // namespace

const TypeOperations url_operations{"CFURL", destroy<Url>, equal_urls, hash_url, describe_url};

CFURLRef make_file_url(std::string_view path, bool is_directory) {
  // Any other bytes may name a file, UTF-8 or not.
  if (path.empty() || path.find('\0') != path.npos) return nullptr;
  std::string whole(path);
  if (!whole.starts_with('/')) {
    char folder[PATH_MAX];
    if (!::getcwd(folder, sizeof folder)) return nullptr;
    const std::string start(folder);
    whole = (start == "/" ? start : start + "/") + whole;
  }
  if (is_directory && !whole.ends_with('/')) whole += '/';
  return as_ref<CFURLRef>(make<Url>(0, make_ascii_string("file://" + escaped(whole))));
}

std::optional<std::string> file_path(CFURLRef ref) {
  const std::string whole = text_of(CFURLGetString(ref));
  constexpr std::string_view scheme = "file:";
  std::string_view text(whole);
  if (!text.starts_with(scheme)) return std::nullopt;
  text = text.substr(scheme.size(), text.find_first_of("?#") - scheme.size());
  if (text.starts_with("//")) text.remove_prefix(std::min(text.find('/', 2), text.size()));
  std::string path = unescaped(text);
  if (path.empty() || path.find('\0') != std::string::npos) return std::nullopt;
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFURLGetTypeID(void) {
  return static_cast<CFTypeID>(Type::url);
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path, CFIndex count,
                                                 Boolean isDirectory) {
  if (!path || count <= 0) return nullptr;
  return make_file_url({reinterpret_cast<const char*>(path), static_cast<std::size_t>(count)},
                       isDirectory);
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef path, CFURLPathStyle style,
                                       Boolean isDirectory) {
  if (!path || style != kCFURLPOSIXPathStyle) return nullptr;
  return make_file_url(vesk::platform::text_of(path), isDirectory);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef ref, Boolean, UInt8* buffer, CFIndex size) {
  const auto path = file_path(ref);
  if (!path || !buffer || static_cast<CFIndex>(path->size()) >= size) return false;
  std::memcpy(buffer, path->c_str(), path->size() + 1);
  return true;
}

CFStringRef CFURLCopyFileSystemPath(CFURLRef ref, CFURLPathStyle style) {
  const auto path = file_path(ref);
  return path && style == kCFURLPOSIXPathStyle ? make_string_from_utf8(*path) : nullptr;
}

CFStringRef CFURLGetString(CFURLRef ref) {
  if (auto* table = foreign(ref)) return table->url_string(ref);
  const Url* url = own<Url>(ref);
  return url ? url->string.get() : nullptr;
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef ref) {
  const auto path = file_path(ref);
  if (!path) return nullptr;
  return make_string_from_utf8(*path == "/" ? *path : path->substr(path->rfind('/') + 1));
}

Boolean CFURLHasDirectoryPath(CFURLRef ref) {
  return vesk::platform::text_of(CFURLGetString(ref)).ends_with('/');
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef ref, CFStringRef component,
                                               Boolean isDirectory) {
  const auto path = file_path(ref);
  if (!path || !component) return nullptr;
  return make_file_url((*path == "/" ? *path : *path + "/") + vesk::platform::text_of(component),
                       isDirectory);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef ref) {
  const auto path = file_path(ref);
  return path ? make_file_url(path->substr(0, path->rfind('/') + 1), true) : nullptr;
}
