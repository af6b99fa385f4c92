// How texts are stored, and making them.

#include "platform/linux/core_foundation/string.hpp"

#include <algorithm>
#include <cstring>

namespace vesk::platform::cf {

namespace {

/// A text that does not change holds ASCII bytes with a NUL, or UTF-16 units, behind its header.
/// One that can be changed holds UTF-16 units in a buffer of its own.
struct String : Object {
  static constexpr Type type_of = Type::string;

  String(Flags flags_, std::size_t length_)
      : Object(type_of, static_cast<std::uint16_t>(flags_)), length(length_) {}

  char* ascii = nullptr;  ///< One of the first two is set, unless `flags` say changeable.
  char16_t* wide = nullptr;
  std::u16string text;
  const std::size_t length;  ///< Of the first two.
};

bool equal_strings(const Object* object, CFTypeRef other) {
  return CFStringCompare(as_ref<CFStringRef>(object), static_cast<CFStringRef>(other), 0) ==
         kCFCompareEqualTo;
}

CFHashCode hash_string(const Object* object) {
  const Characters characters(as_ref<CFStringRef>(object));
  CFHashCode hash = 0xcbf29ce484222325u;
  for (std::size_t i = 0; i < characters.size(); ++i)
    hash = (hash ^ characters[i]) * 0x100000001b3u;
  return hash;
}

CFStringRef describe_string(const Object* object) {
  return CFStringCreateCopy(nullptr, as_ref<CFStringRef>(object));
}

template <class Text>
bool is_ascii(const Text& text) {
  return std::all_of(text.begin(), text.end(),
                     [](auto unit) { return static_cast<std::uint32_t>(unit) < 0x80; });
}

/// `text` holds nothing but ASCII.
template <class Text>
CFStringRef store_ascii(const Text& text) {
  auto* string = make<String>(text.size() + 1, plain, text.size());
  string->ascii = reinterpret_cast<char*>(string + 1);
  char* end = std::transform(text.begin(), text.end(), string->ascii,
                             [](auto unit) { return static_cast<char>(unit); });
  *end = '\0';
  return as_ref<CFStringRef>(string);
}

}  // namespace

const TypeOperations string_operations{"CFString", destroy<String>, equal_strings, hash_string,
                                       describe_string};

Characters::Characters(CFStringRef ref) {
  if (auto* table = foreign(ref)) {
    const CFIndex length = table->string_length(ref);
    copy_.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    if (length > 0) {
      table->string_get_characters(ref, CFRangeMake(0, length),
                                   reinterpret_cast<UniChar*>(copy_.data()));
    }
    wide_ = copy_.data();
    size_ = copy_.size();
  } else if (const String* string = own<String>(ref)) {
    ascii_ = string->ascii;
    wide_ = string->is_changeable() ? string->text.data() : string->wide;
    size_ = string->is_changeable() ? string->text.size() : string->length;
  } else if (ref && reinterpret_cast<const Object*>(ref)->type == Type::literal) {
    const auto* literal = reinterpret_cast<const Literal*>(ref);
    if (literal->form == Literal::ascii)
      ascii_ = static_cast<const char*>(literal->characters);
    else
      wide_ = static_cast<const char16_t*>(literal->characters);
    size_ = static_cast<std::size_t>(literal->length);
  }
}

std::u16string Characters::units() const {
  if (ascii_) return {ascii_, ascii_ + size_};
  return {wide_, size_};
}

CFStringRef make_string(std::u16string_view units) {
  if (is_ascii(units)) return store_ascii(units);
  auto* string = make<String>(units.size() * sizeof(char16_t), plain, units.size());
  string->wide = reinterpret_cast<char16_t*>(string + 1);
  std::copy(units.begin(), units.end(), string->wide);
  return as_ref<CFStringRef>(string);
}

CFMutableStringRef make_changeable_string(std::u16string_view units) {
  auto* string = make<String>(0, changeable, 0u);
  string->text = units;
  return as_ref<CFMutableStringRef>(string);
}

CFStringRef make_ascii_string(std::string_view text) {
  return store_ascii(text);
}

CFStringRef make_string_from_utf8(std::string_view text) {
  if (is_ascii(text)) return store_ascii(text);
  std::u16string units;
  return append_utf8(text, units) ? make_string(units) : nullptr;
}

void replace_units(CFMutableStringRef ref, CFRange range, std::u16string_view units) {
  const CFIndex size = CFStringGetLength(ref);
  if (!ref || range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return;
  }
  if (auto* table = foreign(ref)) {
    return table->string_replace(ref, range, reinterpret_cast<const UniChar*>(units.data()),
                                 static_cast<CFIndex>(units.size()));
  }
  if (String* string = own_changeable<String>(ref)) {
    string->text.replace(static_cast<std::size_t>(range.location),
                         static_cast<std::size_t>(range.length), units);
  }
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFStringGetTypeID(void) {
  return static_cast<CFTypeID>(Type::string);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef, const char* text, CFStringEncoding encoding) {
  if (!text) return nullptr;
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text),
                                 static_cast<CFIndex>(std::strlen(text)), encoding, false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  if (count < 0 || (count > 0 && !bytes)) return nullptr;
  std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
  switch (encoding) {
    case kCFStringEncodingUTF8:
      if (isExternalRepresentation && text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
      return make_string_from_utf8(text);
    case kCFStringEncodingISOLatin1:
      return make_string(std::u16string(bytes, bytes + count));
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
      return is_ascii(text) ? make_ascii_string(text) : nullptr;
    default:
      return nullptr;
  }
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units, CFIndex count) {
  if (count < 0 || (count > 0 && !units)) return nullptr;
  return make_string({reinterpret_cast<const char16_t*>(units), static_cast<std::size_t>(count)});
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef ref) {
  if (!ref) return nullptr;
  const auto* object = reinterpret_cast<const Object*>(ref);
  const bool may_change = foreign(ref) || object->is_changeable();
  if (!may_change) return static_cast<CFStringRef>(CFRetain(ref));
  return make_string(Characters(ref).units());
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex) {
  return make_changeable_string({});
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex, CFStringRef ref) {
  return ref ? make_changeable_string(Characters(ref).units()) : nullptr;
}

void CFStringAppend(CFMutableStringRef ref, CFStringRef text) {
  replace_units(ref, CFRangeMake(CFStringGetLength(ref), 0), Characters(text).units());
}

void CFStringAppendCString(CFMutableStringRef ref, const char* text, CFStringEncoding encoding) {
  const Owner<CFStringRef> string(CFStringCreateWithCString(nullptr, text, encoding));
  if (string) CFStringAppend(ref, string.get());
}

void CFStringReplace(CFMutableStringRef ref, CFRange range, CFStringRef text) {
  replace_units(ref, range, Characters(text).units());
}
