// Reads the XML form, strictly. expat parses; nothing outside the file is ever fetched, and a file
// that declares entities is refused before one can be expanded.

#include <expat.h>

#include <charconv>
#include <climits>
#include <limits>
#include <memory>

#include "platform/linux/core_foundation/number.hpp"
#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/property_list/property_list.hpp"

namespace vesk::platform::cf {

namespace {

enum class Element : std::uint8_t {
  plist,
  array,
  dictionary,
  key,
  string,
  data,
  date,
  real,
  integer,
  true_,
  false_,
  unknown
};

Element element_named(std::string_view name) {
  constexpr std::pair<std::string_view, Element> names[] = {
      {"plist", Element::plist}, {"array", Element::array},   {"dict", Element::dictionary},
      {"key", Element::key},     {"string", Element::string}, {"data", Element::data},
      {"date", Element::date},   {"real", Element::real},     {"integer", Element::integer},
      {"true", Element::true_},  {"false", Element::false_},
  };
  for (const auto& [known, element] : names)
    if (known == name) return element;
  return Element::unknown;
}

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(blanks);
  if (start == text.npos) return {};
  return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

/// Decimal or 0x, with a sign; anything that 64 bits hold with or without one.
CFNumberRef make_integer(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.remove_prefix(1);
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  std::uint64_t magnitude;
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const auto result = std::from_chars(begin, end, magnitude, base);
  if (result.ec != std::errc() || result.ptr != end) return nullptr;
  if (!is_negative) return make_unsigned_number(magnitude);
  if (magnitude > std::uint64_t{1} << 63) return nullptr;
  const auto value = static_cast<std::int64_t>(0 - magnitude);
  return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
}

CFNumberRef make_real(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  if (is_negative || text.starts_with('+')) text.remove_prefix(1);
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  double value;
  if (lower == "nan") {
    value = std::numeric_limits<double>::quiet_NaN();
  } else if (lower == "inf" || lower == "infinity") {
    value = std::numeric_limits<double>::infinity();
  } else {
    const char* end = lower.data() + lower.size();
    const auto result = std::from_chars(lower.data(), end, value);
    // from_chars knows spellings of its own that begin with a letter or a second sign.
    if (lower.empty() || !((lower[0] >= '0' && lower[0] <= '9') || lower[0] == '.') ||
        result.ec != std::errc() || result.ptr != end) {
      return nullptr;
    }
  }
  if (is_negative) value = -value;
  return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
}

class XmlReader {
 public:
  XmlReader(CFOptionFlags options, PropertyListError& error) : builder_(options), error_(error) {}
  XmlReader(const XmlReader&) = delete;
  XmlReader& operator=(const XmlReader&) = delete;
  ~XmlReader() {
    for (Container& container : open_) {
      release_all(container.keys);
      release_all(container.values);
    }
    if (root_) CFRelease(root_);
  }

  CFPropertyListRef read(std::string_view bytes) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate(nullptr), XML_ParserFree);
    if (!parser) {
      error_.message = "there is no memory to read a property list";
      return nullptr;
    }
    parser_ = parser.get();
    XML_SetUserData(parser_, this);
    XML_SetElementHandler(
        parser_,
        [](void* self, const char* name, const char**) {
          static_cast<XmlReader*>(self)->start(element_named(name), name);
        },
        [](void* self, const char*) { static_cast<XmlReader*>(self)->end(); });
    XML_SetCharacterDataHandler(parser_, [](void* self, const char* text, int count) {
      static_cast<XmlReader*>(self)->characters({text, static_cast<std::size_t>(count)});
    });
    XML_SetStartDoctypeDeclHandler(
        parser_, [](void* self, const char*, const char*, const char*, int has_declarations) {
          if (has_declarations)
            static_cast<XmlReader*>(self)->fail("the document type holds declarations");
        });
    XML_SetSkippedEntityHandler(parser_, [](void* self, const char* name, int) {
      static_cast<XmlReader*>(self)->fail("there is no entity &" + std::string(name) + ";");
    });

    std::size_t at = 0;
    do {
      const std::size_t count = std::min<std::size_t>(bytes.size() - at, 1 << 20);
      const bool is_last = at + count == bytes.size();
      if (XML_Parse(parser_, bytes.data() + at, static_cast<int>(count), is_last) !=
          XML_STATUS_OK) {
        if (!has_failed_) fail(XML_ErrorString(XML_GetErrorCode(parser_)));
        return nullptr;
      }
      at += count;
    } while (at < bytes.size());
    if (!root_) fail("it holds no object");
    return std::exchange(root_, nullptr);
  }

 private:
  struct Container {
    Element element;
    std::vector<CFTypeRef> keys;
    std::vector<CFTypeRef> values;
    bool is_full() const { return element != Element::dictionary || keys.size() == values.size(); }
  };

  void fail(std::string_view why) {
    if (has_failed_) return;
    has_failed_ = true;
    error_.message = "the property list is damaged in line " +
                     std::to_string(XML_GetCurrentLineNumber(parser_)) + ": " + std::string(why);
    XML_StopParser(parser_, XML_FALSE);
  }

  /// expat may still deliver what it has in hand after a stop; nothing of it counts.
  void start(Element element, std::string_view name) {
    if (has_failed_) return;
    if (leaf_ != Element::unknown) return fail("an element stands inside a value");
    if (element != Element::plist && values_++ == most_values) return fail(too_many_values);
    switch (element) {
      case Element::unknown:
        return fail("there is no element <" + std::string(name) + ">");
      case Element::plist:
        if (depth_++ > 0) return fail("<plist> stands inside the list");
        return;
      case Element::array:
      case Element::dictionary:
        if (!takes_value()) return;
        if (open_.size() == deepest_nesting) return fail("it is nested too deeply");
        open_.push_back({element, {}, {}});
        break;
      case Element::key:
        if (open_.empty() || open_.back().element != Element::dictionary)
          return fail("a key stands outside a dictionary");
        if (!open_.back().is_full()) return fail("a key has no value");
        leaf_ = element;
        break;
      default:
        if (!takes_value()) return;
        leaf_ = element;
        break;
    }
    ++depth_;
    text_.clear();
  }

  bool takes_value() {
    if (open_.empty()) {
      if (!root_) return true;
      fail("it holds more than one object");
    } else if (open_.back().element == Element::dictionary && open_.back().is_full()) {
      fail("a value has no key");
    } else {
      return true;
    }
    return false;
  }

  void characters(std::string_view text) {
    if (has_failed_) return;
    if (leaf_ == Element::unknown) {
      if (!trimmed(text).empty()) fail("text stands outside a value");
    } else {
      text_ += text;
    }
  }

  void end() {
    if (has_failed_) return;
    --depth_;
    if (leaf_ != Element::unknown) return end_leaf(std::exchange(leaf_, Element::unknown));
    if (open_.empty()) return;  // </plist>
    if (!open_.back().is_full()) return fail("a key has no value");
    Container container = std::move(open_.back());
    open_.pop_back();
    if (container.element == Element::array)
      add(builder_.array(container.values));
    else
      add(builder_.dictionary(container.keys, container.values));
  }

  void end_leaf(Element element) {
    switch (element) {
      case Element::key:
      case Element::string: {
        const bool is_key = element == Element::key;
        if (is_key && text_.empty()) return fail("<key> is empty");
        CFStringRef string = make_string_from_utf8(text_);
        if (!string) return fail("a text is no UTF-8");
        return is_key ? open_.back().keys.push_back(string) : add(string);
      }
      case Element::data: {
        const auto bytes = decode_base64(text_);
        return bytes ? add(make_data(*bytes)) : fail("<data> is not base 64");
      }
      case Element::date: {
        const auto seconds = read_date(trimmed(text_));
        return seconds ? add(CFDateCreate(nullptr, *seconds)) : fail("<date> holds no date");
      }
      case Element::integer: {
        CFNumberRef number = make_integer(trimmed(text_));
        return number ? add(number) : fail("<integer> holds no integer of 64 bits");
      }
      case Element::real: {
        CFNumberRef number = make_real(trimmed(text_));
        return number ? add(number) : fail("<real> holds no number");
      }
      default:
        if (!trimmed(text_).empty()) return fail("a boolean has contents");
        return add(element == Element::true_ ? kCFBooleanTrue : kCFBooleanFalse);
    }
  }

  /// Takes over the reference.
  void add(CFTypeRef object) {
    if (open_.empty())
      root_ = object;
    else
      open_.back().values.push_back(object);
  }

  const ListBuilder builder_;
  PropertyListError& error_;
  XML_Parser parser_ = nullptr;
  bool has_failed_ = false;
  std::size_t depth_ = 0;  ///< Open elements.
  std::size_t values_ = 0;
  std::vector<Container> open_;
  Element leaf_ = Element::unknown;  ///< The open element that holds text.
  std::string text_;
  CFPropertyListRef root_ = nullptr;
};

}  // namespace

CFPropertyListRef create_from_xml(std::string_view bytes, CFOptionFlags options,
                                  PropertyListError& error) {
  // Editors leave a mark or blanks in front, which XML itself forbids before its declaration.
  if (bytes.starts_with("\xef\xbb\xbf")) bytes.remove_prefix(3);
  const bool is_utf16 = bytes.starts_with("\xff\xfe") || bytes.starts_with("\xfe\xff");
  if (!is_utf16) {
    bytes.remove_prefix(std::min(bytes.find_first_not_of(blanks), bytes.size()));
    if (!bytes.starts_with('<')) {
      error.message = bytes.empty() ? "there is nothing to read a property list from"
                                    : "this is no property list, neither XML nor binary";
      return nullptr;
    }
  }
  return XmlReader(options, error).read(bytes);
}

}  // namespace vesk::platform::cf
