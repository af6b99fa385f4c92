#pragma once

/// What the readers and writers of property lists share.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"

namespace vesk::platform::cf {

/// Containers in containers, the outermost counted. Far more than any state has, and little enough
/// for recursion on the smallest thread stack in use.
inline constexpr int deepest_nesting = 512;

/// Values in a list, keys and containers counted. A hundred times what large states have; an object
/// in memory takes up to 30 times the room it has in a file, so the file's size is no bound.
inline constexpr std::size_t most_values = std::size_t{1} << 20;
inline constexpr char too_many_values[] = "it holds more than a million values";

// Codes of the errors, as Foundation numbers them.
inline constexpr CFIndex corrupt = 3840, unknown_version = 3841, not_writable = 3851;

/// Why something could not be read or written.
struct PropertyListError {
  CFIndex code = corrupt;
  std::string message;
};

enum class ListKind : std::uint8_t { none, string, data, number, boolean, date, array, dictionary };
ListKind list_kind(CFTypeRef object);

/// Makes the containers of a list that is being read, changeable or not as the caller wished. Each
/// result is +1 and takes over the references given to it.
class ListBuilder {
 public:
  explicit ListBuilder(CFOptionFlags options)
      : containers_change_(options != kCFPropertyListImmutable) {}

  bool containers_change() const { return containers_change_; }
  CFArrayRef array(std::vector<CFTypeRef>& values) const;
  /// Of equal keys the last one counts.
  CFDictionaryRef dictionary(std::vector<CFTypeRef>& keys, std::vector<CFTypeRef>& values) const;

 private:
  bool containers_change_;
};

/// Data (+1) of `bytes`.
CFDataRef make_data(std::string_view bytes);

/// Releases what a damaged list leaves behind.
void release_all(std::vector<CFTypeRef>& objects);

/// Keys and values in the order of CFStringCompare, which they are written in.
std::vector<std::pair<CFStringRef, CFTypeRef>> sorted_entries(CFDictionaryRef dictionary);

/// A list (+1) or null with `error`.
CFPropertyListRef create_from_xml(std::string_view bytes, CFOptionFlags options,
                                  PropertyListError& error);
CFPropertyListRef create_from_binary(std::string_view bytes, CFOptionFlags options,
                                     PropertyListError& error);

/// The bytes of a list that `check_list` has found fit.
std::string write_xml_list(CFPropertyListRef list);
/// Nothing, or what keeps `list` from being written as XML.
std::optional<std::string> check_list(CFPropertyListRef list);

std::string encode_base64(std::string_view bytes);
/// White space is skipped; anything else that is no base 64, padding included, is refused.
std::optional<std::string> decode_base64(std::string_view text);

/// "2001-01-01T00:00:00Z" for whole seconds of the years 1 to 9999, and back.
std::optional<std::string> write_date(CFAbsoluteTime seconds);
std::optional<CFAbsoluteTime> read_date(std::string_view text);

}  // namespace vesk::platform::cf
