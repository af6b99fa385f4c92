#include "platform/linux/core_foundation/url.hpp"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/linux/core_foundation/error.hpp"
#include "platform/linux/core_foundation/string.hpp"

namespace vesk::platform::cf {

namespace {

struct Url : Object {
  static constexpr Type type_of = Type::url;
  Url(CFStringRef string_, CFURLRef base_) : Object(type_of, plain), string(string_), base(base_) {}

  const Owner<CFStringRef> string;
  const Owner<CFURLRef> base;
};

/// The text of any URL, resolved against its base.
std::string absolute_text(CFURLRef ref) {
  if (auto* table = foreign(ref)) return utf8(table->url_string(ref));
  const Url* url = own<Url>(ref);
  if (!url) return {};
  std::string text = utf8(url->string.get());
  return url->base ? resolve_url(absolute_text(url->base.get()), text) : text;
}

bool equal_urls(const Object* object, CFTypeRef other) {
  return absolute_text(as_ref<CFURLRef>(object)) == absolute_text(static_cast<CFURLRef>(other));
}

CFHashCode hash_url(const Object* object) {
  return std::hash<std::string>()(absolute_text(as_ref<CFURLRef>(object)));
}

CFStringRef describe_url(const Object* object) {
  return make_string_from_utf8(absolute_text(as_ref<CFURLRef>(object)));
}

/// `text` is a valid URL, so ASCII.
CFURLRef make_url(std::string_view text, CFURLRef base = nullptr) {
  return as_ref<CFURLRef>(make<Url>(0, make_ascii_string(text),
                                    base ? static_cast<CFURLRef>(CFRetain(base)) : nullptr));
}

/// The same URL with another path.
CFURLRef with_path(std::string_view text, std::string_view path) {
  const UrlParts parts = split_url(text);
  std::string result;
  if (!parts.scheme.empty()) result.append(parts.scheme).append(":");
  if (parts.has_authority) result.append("//").append(parts.authority);
  return make_url(result.append(path).append(parts.query).append(parts.fragment));
}

std::string_view without_slashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

std::string_view last_component(std::string_view path) {
  path = without_slashes(path);
  return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

/// Where the extension's point stands in a path without trailing slashes, or npos.
std::size_t extension_point(std::string_view path) {
  const std::string_view name = last_component(path);
  const std::size_t point = name.rfind('.');
  if (point == name.npos || point == 0 || point + 1 == name.size()) return path.npos;
  return without_slashes(path).size() - name.size() + point;
}

}  // namespace

const TypeOperations url_operations{"CFURL", destroy<Url>, equal_urls, hash_url, describe_url};

CFURLRef make_file_url(std::string_view path, bool is_directory) {
  std::u16string units;
  if (path.empty() || path.find('\0') != path.npos || !append_utf8(path, units)) return nullptr;
  std::string whole(path);
  if (!whole.starts_with('/')) {
    char folder[PATH_MAX];
    if (!::getcwd(folder, sizeof folder)) return nullptr;
    std::string_view start(folder);
    whole = std::string(start == "/" ? std::string_view() : start) + "/" + whole;
  }
  if (is_directory && !whole.ends_with('/')) whole += '/';
  return make_url("file://" + escape_path(whole));
}

std::optional<std::string> file_path(CFURLRef ref) {
  const std::string text = absolute_text(ref);
  const UrlParts parts = split_url(text);
  if (parts.path.empty() || (!parts.scheme.empty() && parts.scheme != "file")) return std::nullopt;
  std::string path = unescape(parts.path);
  if (path.find('\0') != std::string::npos) return std::nullopt;
  return std::string(without_slashes(path));
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
  return make_file_url(utf8(path), isDirectory);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef string, CFURLRef base) {
  if (!string) return nullptr;
  const std::string text = utf8(string);
  return is_valid_url(text) ? make_url(text, base) : nullptr;
}

CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                              CFStringEncoding encoding, CFURLRef base) {
  Owner<CFStringRef> text(CFStringCreateWithBytes(allocator, bytes, count, encoding, false));
  return CFURLCreateWithString(allocator, text.get(), base);
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef ref) {
  if (!ref) return nullptr;
  const Url* url = own<Url>(ref);
  if (!url || !url->base) return static_cast<CFURLRef>(CFRetain(ref));
  return make_url(absolute_text(ref));
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

CFStringRef CFURLCopyPath(CFURLRef ref) {
  const std::string text = utf8(CFURLGetString(ref));
  const UrlParts parts = split_url(text);
  return parts.path.empty() ? nullptr : make_ascii_string(parts.path);
}

CFStringRef CFURLGetString(CFURLRef ref) {
  if (auto* table = foreign(ref)) return table->url_string(ref);
  const Url* url = own<Url>(ref);
  return url ? url->string.get() : nullptr;
}

CFURLRef CFURLGetBaseURL(CFURLRef ref) {
  const Url* url = own<Url>(ref);
  return url ? url->base.get() : nullptr;
}

CFStringRef CFURLCopyScheme(CFURLRef ref) {
  const std::string text = absolute_text(ref);
  const std::string_view scheme = split_url(text).scheme;
  return scheme.empty() ? nullptr : make_ascii_string(scheme);
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef ref) {
  const std::string text = absolute_text(ref);
  return make_string_from_utf8(unescape(last_component(split_url(text).path)));
}

CFStringRef CFURLCopyPathExtension(CFURLRef ref) {
  const std::string text = absolute_text(ref);
  const std::string_view path = without_slashes(split_url(text).path);
  const std::size_t point = extension_point(path);
  return point == path.npos ? nullptr : make_string_from_utf8(unescape(path.substr(point + 1)));
}

Boolean CFURLHasDirectoryPath(CFURLRef ref) {
  const std::string text = absolute_text(ref);
  const std::string_view path = split_url(text).path;
  const std::string_view name = path.substr(path.rfind('/') + 1);
  return name.empty() || name == "." || name == "..";
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef ref, CFStringRef component,
                                               Boolean isDirectory) {
  if (!ref || !component) return nullptr;
  const std::string text = absolute_text(ref);
  std::string path(split_url(text).path);
  if (!path.ends_with('/')) path += '/';
  path += escape_path(utf8(component));
  if (isDirectory && !path.ends_with('/')) path += '/';
  return with_path(text, path);
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef ref) {
  if (!ref) return nullptr;
  const std::string text = absolute_text(ref);
  const std::string_view path = without_slashes(split_url(text).path);
  return with_path(text, path.substr(0, path.rfind('/') + 1));
}

CFURLRef CFURLCreateCopyAppendingPathExtension(CFAllocatorRef, CFURLRef ref,
                                               CFStringRef extension) {
  if (!ref || !extension) return nullptr;
  const std::string text = absolute_text(ref);
  const std::string_view path = split_url(text).path;
  return with_path(text, std::string(without_slashes(path)) + "." + escape_path(utf8(extension)) +
                             (path.size() > 1 && path.ends_with('/') ? "/" : ""));
}

CFURLRef CFURLCreateCopyDeletingPathExtension(CFAllocatorRef, CFURLRef ref) {
  if (!ref) return nullptr;
  const std::string text = absolute_text(ref);
  const std::string_view path = split_url(text).path;
  const std::size_t point = extension_point(path);
  if (point == path.npos) return make_url(text);
  return with_path(text, std::string(path.substr(0, point)) + (path.ends_with('/') ? "/" : ""));
}

Boolean CFURLResourceIsReachable(CFURLRef ref, CFErrorRef* error) {
  const auto path = file_path(ref);
  const bool is_there = path && ::access(path->c_str(), F_OK) == 0;
  if (!is_there && error) {
    const int code = path ? errno : EINVAL;
    *error = make_error(kCFErrorDomainPOSIX, code, absolute_text(ref) + ": " + std::strerror(code));
  }
  return is_there;
}

CFStringRef CFURLCreateStringByReplacingPercentEscapes(CFAllocatorRef, CFStringRef text,
                                                       CFStringRef leave) {
  if (!text || !leave) return CFStringCreateCopy(nullptr, text);
  return make_string_from_utf8(unescape(utf8(text), utf8(leave)));
}
