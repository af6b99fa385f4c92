#include "platform/linux/core_foundation/string.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <mutex>
#include <unordered_map>

namespace vesk::platform::cf {

namespace {

CFHashCode hash_characters(const Characters& string) {
  CFHashCode hash = 0xcbf29ce484222325u;
  for (std::size_t i = 0; i < string.size(); ++i) hash = (hash ^ string[i]) * 0x100000001b3u;
  return hash ? hash : 1;  // 0 means "not taken yet"
}

CFHashCode hash_string(const Object* object) {
  const CFStringRef ref = as_ref<CFStringRef>(object);
  const String* string = own<String>(ref);
  if (!string || string->text) return hash_characters(Characters(ref));
  CFHashCode hash = string->hash.load(std::memory_order_relaxed);
  if (hash == 0) {
    hash = hash_characters(Characters(ref));
    string->hash.store(hash, std::memory_order_relaxed);
  }
  return hash;
}

bool equal_strings(const Object* object, CFTypeRef other) {
  return CFStringCompare(as_ref<CFStringRef>(object), static_cast<CFStringRef>(other),
                         CFStringCompareFlags{}) == kCFCompareEqualTo;
}

CFStringRef describe_string(const Object* object) {
  return CFStringCreateCopy(nullptr, as_ref<CFStringRef>(object));
}

void destroy_string(Object* object) {
  delete static_cast<String*>(object)->text;
  destroy<String>(object);
}

/// A text with room for its ASCII bytes behind the header.
String* make_ascii(std::size_t length, Flags flags, char*& bytes) {
  auto* string = make<String>(length + 1, static_cast<std::uint16_t>(flags), length);
  bytes = reinterpret_cast<char*>(string + 1);
  bytes[length] = '\0';
  string->ascii = bytes;
  return string;
}

template <class Unit>
bool is_ascii(const Unit* units, std::size_t count) {
  return std::all_of(units, units + count,
                     [](Unit unit) { return static_cast<std::uint32_t>(unit) < 0x80; });
}

}  // namespace

const TypeOperations string_operations{"CFString", destroy_string, equal_strings, hash_string,
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
    return;
  }
  const String* string = own<String>(ref);
  if (!string) return;
  ascii_ = string->ascii;
  wide_ = string->text ? string->text->data() : string->wide;
  size_ = string->text ? string->text->size() : string->length;
}

CFStringRef make_string(std::u16string_view units, bool is_changeable) {
  if (is_changeable) {
    auto* string = make<String>(0, static_cast<std::uint16_t>(changeable), 0u);
    string->text = new std::u16string(units);
    return as_ref<CFStringRef>(string);
  }
  if (is_ascii(units.data(), units.size())) {
    char* bytes;
    String* string = make_ascii(units.size(), plain, bytes);
    std::transform(units.begin(), units.end(), bytes,
                   [](char16_t unit) { return static_cast<char>(unit); });
    return as_ref<CFStringRef>(string);
  }
  auto* string = make<String>(units.size() * sizeof(char16_t), static_cast<std::uint16_t>(plain),
                              units.size());
  auto* stored = reinterpret_cast<char16_t*>(string + 1);
  std::copy(units.begin(), units.end(), stored);
  string->wide = stored;
  return as_ref<CFStringRef>(string);
}

CFStringRef make_ascii_string(std::string_view text) {
  char* bytes;
  String* string = make_ascii(text.size(), plain, bytes);
  std::copy(text.begin(), text.end(), bytes);
  return as_ref<CFStringRef>(string);
}

CFStringRef make_string_from_utf8(std::string_view text, bool is_changeable) {
  if (!is_changeable && is_ascii(text.data(), text.size())) return make_ascii_string(text);
  std::u16string units;
  return append_utf8(text, units) ? make_string(units, is_changeable) : nullptr;
}

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFStringRef __CFStringMakeConstantString(const char* text) {
  // Made with the first literal, which may stand in a table that is built before main.
  static constinit std::mutex mutex;
  static std::unordered_map<std::string_view, CFStringRef>* literals = nullptr;
  const std::string_view key(text ? text : "");
  std::lock_guard lock(mutex);
  if (!literals) literals = new std::unordered_map<std::string_view, CFStringRef>;
  if (const auto found = literals->find(key); found != literals->end()) return found->second;

  // The literal lies in a bundle that could go away: both texts are copies.
  const std::size_t size = key.size() + 1;
  char* kept = static_cast<char*>(::operator new(size));
  std::memcpy(kept, key.data(), key.size());
  kept[key.size()] = '\0';
  String* string;
  if (is_ascii(kept, key.size())) {
    string = make<String>(0, static_cast<std::uint16_t>(constant), key.size());
    string->ascii = kept;
  } else {
    // A literal that is no UTF-8 is taken byte by byte.
    std::u16string units;
    if (!append_utf8(key, units)) units.assign(key.begin(), key.end());
    auto* wide = static_cast<char16_t*>(::operator new(units.size() * sizeof(char16_t)));
    std::copy(units.begin(), units.end(), wide);
    string = make<String>(0, static_cast<std::uint16_t>(constant), units.size());
    string->wide = wide;
  }
  const CFStringRef ref = as_ref<CFStringRef>(string);
  literals->emplace(std::string_view(kept, key.size()), ref);
  return ref;
}

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
  if (encoding == kCFStringEncodingUTF8) {
    if (isExternalRepresentation && text.starts_with("\xef\xbb\xbf")) text.remove_prefix(3);
    return make_string_from_utf8(text);
  }
  std::u16string units;
  return decode(bytes, text.size(), encoding, units) ? make_string(units) : nullptr;
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* units, CFIndex count) {
  if (count < 0 || (count > 0 && !units)) return nullptr;
  return make_string({reinterpret_cast<const char16_t*>(units), static_cast<std::size_t>(count)});
}

CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef, CFDataRef data,
                                                     CFStringEncoding encoding) {
  return CFStringCreateWithBytes(nullptr, CFDataGetBytePtr(data), CFDataGetLength(data), encoding,
                                 true);
}

CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef, const char* path) {
  return CFStringCreateWithCString(nullptr, path, kCFStringEncodingUTF8);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef ref) {
  if (!ref) return nullptr;
  const String* string = own<String>(ref);
  if (string && !string->is_changeable()) return static_cast<CFStringRef>(CFRetain(ref));
  const Characters characters(ref);
  return make_string({characters.wide(), characters.size()});
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef ref, CFRange range) {
  const Characters characters(ref);
  const auto size = static_cast<CFIndex>(characters.size());
  if (!ref || range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return nullptr;
  }
  const auto start = static_cast<std::size_t>(range.location);
  const auto count = static_cast<std::size_t>(range.length);
  if (characters.ascii()) return make_ascii_string({characters.ascii() + start, count});
  return make_string({characters.wide() + start, count});
}

CFIndex CFStringGetLength(CFStringRef ref) {
  if (auto* table = foreign(ref)) return table->string_length(ref);
  return static_cast<CFIndex>(Characters(ref).size());
}

UniChar CFStringGetCharacterAtIndex(CFStringRef ref, CFIndex index) {
  UniChar unit = 0;
  CFStringGetCharacters(ref, CFRangeMake(index, 1), &unit);
  return unit;
}

void CFStringGetCharacters(CFStringRef ref, CFRange range, UniChar* units) {
  const CFIndex size = CFStringGetLength(ref);
  if (!units || range.location < 0 || range.length < 0 || range.location > size ||
      range.length > size - range.location) {
    return;
  }
  if (auto* table = foreign(ref)) return table->string_get_characters(ref, range, units);
  const Characters characters(ref);
  for (CFIndex i = 0; i < range.length; ++i)
    units[i] = characters[static_cast<std::size_t>(range.location + i)];
}

const char* CFStringGetCStringPtr(CFStringRef ref, CFStringEncoding encoding) {
  const String* string = own<String>(ref);
  if (!string || !string->ascii || std::memchr(string->ascii, 0, string->length)) return nullptr;
  switch (encoding) {
    case kCFStringEncodingASCII:
    case kCFStringEncodingUTF8:
    case kCFStringEncodingISOLatin1:
    case kCFStringEncodingMacRoman:
    case kCFStringEncodingWindowsLatin1:
      return string->ascii;
    default:
      return nullptr;
  }
}

const UniChar* CFStringGetCharactersPtr(CFStringRef ref) {
  const String* string = own<String>(ref);
  if (!string) return nullptr;
  return reinterpret_cast<const UniChar*>(string->text ? string->text->data() : string->wide);
}

Boolean CFStringGetCString(CFStringRef ref, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (!ref || !buffer || size <= 0) return false;
  const CFIndex length = CFStringGetLength(ref);
  CFIndex used = 0;
  if (CFStringGetBytes(ref, CFRangeMake(0, length), encoding, 0, false,
                       reinterpret_cast<UInt8*>(buffer), size, &used) != length ||
      used >= size) {
    return false;
  }
  buffer[used] = '\0';
  return true;
}

CFIndex CFStringGetBytes(CFStringRef ref, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex size,
                         CFIndex* used) {
  const Characters characters(ref);
  const auto length = static_cast<CFIndex>(characters.size());
  CFIndex written = 0;
  const auto put = [&](const UInt8* bytes, std::size_t count) {
    if (buffer) {
      if (size - written < static_cast<CFIndex>(count)) return false;
      std::memcpy(buffer + written, bytes, count);
    }
    written += static_cast<CFIndex>(count);
    return true;
  };
  if (used) *used = 0;
  if (range.location < 0 || range.length < 0 || range.location > length ||
      range.length > length - range.location) {
    return 0;
  }
  UInt8 bytes[4];
  if (isExternalRepresentation &&
      (encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF32) &&
      !put(bytes, encode(0xfeff, encoding, bytes))) {
    return 0;
  }
  const auto end = static_cast<std::size_t>(range.location + range.length);
  auto i = static_cast<std::size_t>(range.location);
  while (i < end) {
    std::size_t units;
    const char32_t character = code_point(characters, i, units);
    if (i + units > end) break;
    std::size_t count = encode(character, encoding, bytes);
    if (count == 0 && lossByte != 0) {
      bytes[0] = lossByte;
      count = 1;
    }
    if (count == 0 || !put(bytes, count)) break;
    i += units;
  }
  if (used) *used = written;
  return static_cast<CFIndex>(i) - range.location;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex units, CFStringEncoding encoding) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      return 3 * units;
    case kCFStringEncodingUTF16:
      return 2 * units + 2;
    case kCFStringEncodingUTF16BE:
    case kCFStringEncodingUTF16LE:
      return 2 * units;
    case kCFStringEncodingUTF32:
      return 4 * units + 4;
    case kCFStringEncodingUTF32BE:
    case kCFStringEncodingUTF32LE:
      return 4 * units;
    default:
      return units;
  }
}

CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef, CFStringRef ref,
                                               CFStringEncoding encoding, UInt8 lossByte) {
  const CFRange all = CFRangeMake(0, CFStringGetLength(ref));
  CFIndex size = 0;
  if (!ref || CFStringGetBytes(ref, all, encoding, lossByte, true, nullptr, 0, &size) != all.length)
    return nullptr;
  Owner<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 0));
  CFDataSetLength(data.get(), size);
  if (CFDataGetLength(data.get()) != size) return nullptr;
  CFStringGetBytes(ref, all, encoding, lossByte, true, CFDataGetMutableBytePtr(data.get()), size,
                   nullptr);
  return data.release();
}

Boolean CFStringGetFileSystemRepresentation(CFStringRef ref, char* buffer, CFIndex size) {
  return CFStringGetCString(ref, buffer, size, kCFStringEncodingUTF8);
}

CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef ref) {
  return 3 * CFStringGetLength(ref) + 1;
}

CFStringEncoding CFStringGetSystemEncoding(void) {
  return kCFStringEncodingUTF8;
}

CFStringEncoding CFStringGetFastestEncoding(CFStringRef ref) {
  return Characters(ref).ascii() ? kCFStringEncodingASCII : kCFStringEncodingUTF16;
}

namespace {

/// The ASCII start of a text without leading blanks and plus sign, as from_chars wants it.
std::string number_text(CFStringRef ref) {
  const Characters characters(ref);
  std::string text;
  for (std::size_t i = 0; i < characters.size() && characters[i] < 0x80; ++i)
    text += static_cast<char>(characters[i]);
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  text.erase(0, start == std::string::npos ? text.size() : start);
  if (text.starts_with('+')) text.erase(0, 1);
  return text;
}

}  // namespace

SInt32 CFStringGetIntValue(CFStringRef ref) {
  const std::string text = number_text(ref);
  SInt32 value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  return text.starts_with('-') ? INT32_MIN : INT32_MAX;
}

double CFStringGetDoubleValue(CFStringRef ref) {
  const std::string text = number_text(ref);
  double value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}
