#include "platform/linux/property_list/property_list.hpp"

#include <algorithm>

#include "platform/linux/core_foundation/error.hpp"
#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/text_of.hpp"

namespace vesk::platform::cf {

namespace {

/// Whether XML 1.0 has a way to spell the character.
bool is_xml_character(char32_t character) {
  return character == '\t' || character == '\n' || character == '\r' ||
         (character >= 0x20 && character < 0xd800) || (character >= 0xe000 && character < 0xfffe) ||
         character >= 0x10000;
}

std::optional<std::string> check_string(CFStringRef string) {
  const Characters characters(string);
  for (std::size_t i = 0, units; i < characters.size(); i += units) {
    const char32_t character = code_point(characters, i, units);
    if (!is_xml_character(character))
      return "a text holds character " + std::to_string(character) + ", which XML cannot spell";
  }
  return std::nullopt;
}

std::optional<std::string> check(CFTypeRef object, int nesting, std::size_t& values_left) {
  if (values_left-- == 0) return too_many_values;
  switch (list_kind(object)) {
    case ListKind::none:
      if (!object) return "there is no object";
      return "it holds " + text_of(Owner<CFStringRef>(copy_description(object)).get()) +
             ", which no property list can";
    case ListKind::string:
      return check_string(static_cast<CFStringRef>(object));
    case ListKind::date:
      if (!write_date(CFDateGetAbsoluteTime(static_cast<CFDateRef>(object))))
        return "a date lies outside the years 1 to 9999";
      return std::nullopt;
    case ListKind::array: {
      if (nesting == deepest_nesting) return "it is nested too deeply";
      const auto array = static_cast<CFArrayRef>(object);
      for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
        if (auto fault = check(CFArrayGetValueAtIndex(array, i), nesting + 1, values_left))
          return fault;
      return std::nullopt;
    }
    case ListKind::dictionary: {
      if (nesting == deepest_nesting) return "it is nested too deeply";
      const auto dictionary = static_cast<CFDictionaryRef>(object);
      const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
      std::vector<CFTypeRef> keys(count), values(count);
      CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
      for (std::size_t i = 0; i < count; ++i) {
        if (values_left-- == 0) return too_many_values;
        if (list_kind(keys[i]) != ListKind::string) return "a key is no text";
        const auto key = static_cast<CFStringRef>(keys[i]);
        // Readers refuse such a key, and with it everything else that was saved.
        if (CFStringGetLength(key) == 0) return "a key is empty";
        if (auto fault = check_string(key)) return fault;
        if (auto fault = check(values[i], nesting + 1, values_left)) return fault;
      }
      return std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

std::nullptr_t fail(CFErrorRef* out, const PropertyListError& error) {
  if (out) *out = make_error(error.code, error.message);
  return nullptr;
}

}  // namespace

ListKind list_kind(CFTypeRef object) {
  const CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) return ListKind::string;
  if (type == CFDataGetTypeID()) return ListKind::data;
  if (type == CFNumberGetTypeID()) return ListKind::number;
  if (type == CFBooleanGetTypeID()) return ListKind::boolean;
  if (type == CFDateGetTypeID()) return ListKind::date;
  if (type == CFArrayGetTypeID()) return ListKind::array;
  if (type == CFDictionaryGetTypeID()) return ListKind::dictionary;
  return ListKind::none;
}

CFDataRef make_data(std::string_view bytes) {
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                      static_cast<CFIndex>(bytes.size()));
}

CFArrayRef ListBuilder::array(std::vector<CFTypeRef>& values) const {
  CFArrayRef array;
  if (containers_change_) {
    CFMutableArrayRef changing = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (CFTypeRef value : values) CFArrayAppendValue(changing, value);
    array = changing;
  } else {
    array = CFArrayCreate(nullptr, values.data(), static_cast<CFIndex>(values.size()),
                          &kCFTypeArrayCallBacks);
  }
  release_all(values);
  return array;
}

CFDictionaryRef ListBuilder::dictionary(std::vector<CFTypeRef>& keys,
                                        std::vector<CFTypeRef>& values) const {
  CFDictionaryRef dictionary;
  if (containers_change_) {
    CFMutableDictionaryRef changing = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (std::size_t i = 0; i < keys.size(); ++i)
      CFDictionarySetValue(changing, keys[i], values[i]);
    dictionary = changing;
  } else {
    // At creation the first of equal keys counts.
    std::reverse(keys.begin(), keys.end());
    std::reverse(values.begin(), values.end());
    dictionary =
        CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                           &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  }
  release_all(keys);
  release_all(values);
  return dictionary;
}

void release_all(std::vector<CFTypeRef>& objects) {
  for (CFTypeRef object : objects) CFRelease(object);
  objects.clear();
}

std::vector<std::pair<CFStringRef, CFTypeRef>> sorted_entries(CFDictionaryRef dictionary) {
  const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
  std::vector<CFTypeRef> keys(count), values(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  std::vector<std::pair<CFStringRef, CFTypeRef>> entries(count);
  for (std::size_t i = 0; i < count; ++i)
    entries[i] = {static_cast<CFStringRef>(keys[i]), values[i]};
  std::sort(entries.begin(), entries.end(), [](const auto& first, const auto& second) {
    return CFStringCompare(first.first, second.first, 0) == kCFCompareLessThan;
  });
  return entries;
}

std::optional<std::string> check_list(CFPropertyListRef list) {
  std::size_t values_left = most_values;
  return check(list, 0, values_left);
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error) {
  const std::string_view bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                               static_cast<std::size_t>(CFDataGetLength(data)));
  PropertyListError fault;
  const bool is_binary = bytes.starts_with("bplist");
  const CFPropertyListRef list = is_binary ? create_from_binary(bytes, options, fault)
                                           : create_from_xml(bytes, options, fault);
  if (!list) return fail(error, fault);
  if (format)
    *format = is_binary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
  return list;
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef, CFPropertyListRef list,
                                   CFPropertyListFormat format, CFOptionFlags, CFErrorRef* error) {
  PropertyListError fault{not_writable, {}};
  if (format != kCFPropertyListXMLFormat_v1_0)
    fault.message = "property lists are written in the XML form only";
  else if (auto what = check_list(list))
    fault.message = "this property list cannot be written: " + *what;
  else
    return make_data(write_xml_list(list));
  return fail(error, fault);
}
