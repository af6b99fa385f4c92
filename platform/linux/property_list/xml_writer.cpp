// Writes the XML form. Equal lists give equal bytes: keys sorted, one spelling for every number.

#include <cmath>

#include "platform/linux/core_foundation/number.hpp"
#include "platform/linux/core_foundation/text_of.hpp"
#include "platform/linux/property_list/property_list.hpp"

namespace vesk::platform::cf {

namespace {

constexpr std::string_view opening =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

class XmlWriter {
 public:
  std::string write(CFPropertyListRef list) {
    out_ = opening;
    object(list, 0);
    out_ += "</plist>\n";
    return std::move(out_);
  }

 private:
  void indent(std::size_t level) { out_.append(level, '\t'); }

  void element(std::size_t level, std::string_view name, std::string_view content) {
    indent(level);
    out_.append("<").append(name).append(">").append(content);
    out_.append("</").append(name).append(">\n");
  }

  static std::string escaped(CFStringRef string) {
    std::string text;
    for (char c : text_of(string)) {
      switch (c) {
        case '&':
          text += "&amp;";
          break;
        case '<':
          text += "&lt;";
          break;
        case '>':
          text += "&gt;";
          break;
        case '\r':
          text += "&#13;";
          break;  // bare, every reader makes it a line feed
        default:
          text += c;
      }
    }
    return text;
  }

  void number(std::size_t level, CFNumberRef ref) {
    NumberValue value;
    read_number(ref, value);
    if (value.kind != NumberValue::Kind::real) return element(level, "integer", digits_of(value));
    if (std::isnan(value.real)) return element(level, "real", "nan");
    if (std::isinf(value.real))
      return element(level, "real", value.real < 0 ? "-infinity" : "+infinity");
    // A float is a double exactly.
    element(level, "real", digits_of(value));
  }

  void data(std::size_t level, CFDataRef ref) {
    const std::string text = encode_base64({reinterpret_cast<const char*>(CFDataGetBytePtr(ref)),
                                            static_cast<std::size_t>(CFDataGetLength(ref))});
    const std::size_t width = 76 - 8 * std::min<std::size_t>(level, 8);
    indent(level);
    out_ += "<data>\n";
    for (std::size_t i = 0; i < text.size(); i += width) {
      indent(level);
      out_.append(text, i, width).append("\n");
    }
    indent(level);
    out_ += "</data>\n";
  }

  void object(CFTypeRef ref, std::size_t level) {
    switch (list_kind(ref)) {
      case ListKind::string:
        return element(level, "string", escaped(static_cast<CFStringRef>(ref)));
      case ListKind::data:
        return data(level, static_cast<CFDataRef>(ref));
      case ListKind::number:
        return number(level, static_cast<CFNumberRef>(ref));
      case ListKind::boolean:
        indent(level);
        out_ += CFBooleanGetValue(static_cast<CFBooleanRef>(ref)) ? "<true/>\n" : "<false/>\n";
        return;
      case ListKind::date:
        return element(level, "date",
                       write_date(CFDateGetAbsoluteTime(static_cast<CFDateRef>(ref))).value_or(""));
      case ListKind::array: {
        const auto array = static_cast<CFArrayRef>(ref);
        const CFIndex count = CFArrayGetCount(array);
        indent(level);
        out_ += count == 0 ? "<array/>\n" : "<array>\n";
        if (count == 0) return;
        for (CFIndex i = 0; i < count; ++i) object(CFArrayGetValueAtIndex(array, i), level + 1);
        indent(level);
        out_ += "</array>\n";
        return;
      }
      case ListKind::dictionary: {
        const auto entries = sorted_entries(static_cast<CFDictionaryRef>(ref));
        indent(level);
        out_ += entries.empty() ? "<dict/>\n" : "<dict>\n";
        if (entries.empty()) return;
        for (const auto& [key, value] : entries) {
          element(level + 1, "key", escaped(key));
          object(value, level + 1);
        }
        indent(level);
        out_ += "</dict>\n";
        return;
      }
      case ListKind::none:
        return;  // refused by the check before
    }
  }

  std::string out_;
};

}  // namespace

std::string write_xml_list(CFPropertyListRef list) {
  return XmlWriter().write(list);
}

}  // namespace vesk::platform::cf
