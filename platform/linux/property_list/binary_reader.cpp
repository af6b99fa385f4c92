// Reads the binary form: a header, objects, a table of their offsets, a trailer of 32 bytes.
//
// Written here and not left to a library, for three reasons: the one at hand cannot tell -1 from
// 2^64 - 1, expands an object again at every reference to it (a small file of shared arrays then
// fills the memory), and recurses as deep as a file says.

#include <cstring>

#include "platform/linux/core_foundation/number.hpp"
#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/property_list/property_list.hpp"

namespace vesk::platform::cf {

namespace {

constexpr std::size_t header_size = 8;
constexpr std::size_t trailer_size = 32;

class BinaryReader {
 public:
  BinaryReader(std::string_view bytes, CFOptionFlags options, PropertyListError& error)
      : bytes_(bytes), builder_(options), error_(error) {
    // What the list would measure with every reference written out, as the XML form does. Files
    // share texts and numbers; one that grows far beyond itself is a bomb.
    expansion_left_ = (std::size_t{64} << 20) + 16 * bytes.size();
  }
  BinaryReader(const BinaryReader&) = delete;
  BinaryReader& operator=(const BinaryReader&) = delete;
  ~BinaryReader() {
    for (Slot& slot : slots_)
      if (slot.object) CFRelease(slot.object);
  }

  CFPropertyListRef read() {
    if (bytes_.size() >= header_size && bytes_[6] != '0') {
      error_.code = unknown_version;
      error_.message = "the binary property list has a version that is not known here";
      return nullptr;
    }
    if (bytes_.size() < header_size + trailer_size) return fail("it is cut off");
    const std::size_t trailer = bytes_.size() - trailer_size;
    offset_size_ = byte(trailer + 6);
    reference_size_ = byte(trailer + 7);
    const std::uint64_t count = big_endian(trailer + 8, 8);
    const std::uint64_t top = big_endian(trailer + 16, 8);
    const std::uint64_t table = big_endian(trailer + 24, 8);
    if (offset_size_ < 1 || offset_size_ > 8 || reference_size_ < 1 || reference_size_ > 8 ||
        table < header_size || table > trailer || count == 0 ||
        count > (trailer - table) / offset_size_ || top >= count) {
      return fail("its trailer is wrong");
    }
    if (count > most_values) return fail(too_many_values);
    table_ = static_cast<std::size_t>(table);
    slots_.resize(static_cast<std::size_t>(count));
    return object(static_cast<std::size_t>(top), 0);
  }

 private:
  struct Slot {
    CFTypeRef object = nullptr;  ///< Kept when it may be shared.
    std::size_t size = 0;        ///< Its measure, written out.
    bool is_open = false;        ///< Being read: a reference to it closes a circle.
  };
  /// Where the contents of an object lie.
  struct Extent {
    std::size_t start = 0;
    std::size_t count = 0;
  };

  std::nullptr_t fail(std::string_view why) {
    if (error_.message.empty())
      error_.message = "the binary property list is damaged: " + std::string(why);
    return nullptr;
  }

  std::uint8_t byte(std::size_t at) const { return static_cast<std::uint8_t>(bytes_[at]); }

  /// The place is known to lie within the file.
  std::uint64_t big_endian(std::size_t at, std::size_t count) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) value = value << 8 | byte(at + i);
    return value;
  }

  bool take(std::size_t size) {
    if (size > expansion_left_) return false;
    expansion_left_ -= size;
    return true;
  }

  /// The object with that number (+1), or null.
  CFTypeRef object(std::size_t index, int nesting) {
    Slot& slot = slots_[index];
    if (slot.is_open) return fail("it contains itself");
    if (slot.object) {
      if (!take(slot.size)) return fail("written out it would be enormous");
      return CFRetain(slot.object);
    }
    const std::uint64_t offset = big_endian(table_ + index * offset_size_, offset_size_);
    if (offset < header_size || offset >= table_) return fail("an object lies outside the file");
    const std::size_t before = expansion_left_;
    slot.is_open = true;
    CFTypeRef result = parse(static_cast<std::size_t>(offset), nesting);
    slot.is_open = false;
    if (!result) return nullptr;
    slot.size = before - expansion_left_;
    if (is_shareable(result)) slot.object = CFRetain(result);
    return result;
  }

  bool is_shareable(CFTypeRef result) const {
    const ListKind kind = list_kind(result);
    const bool is_container = kind == ListKind::array || kind == ListKind::dictionary;
    return !is_container || !builder_.containers_change();
  }

  CFTypeRef parse(std::size_t at, int nesting) {
    const std::uint8_t marker = byte(at);
    const std::uint8_t low = marker & 15;
    if (!take(1)) return fail("written out it would be enormous");
    switch (marker >> 4) {
      case 0x0:
        if (marker == 0x08) return kCFBooleanFalse;
        if (marker == 0x09) return kCFBooleanTrue;
        break;
      case 0x1:
        return integer(at);
      case 0x2:
        return real(at, low);
      case 0x3:
        return date(at, low);
      case 0x4:
        if (const auto extent = contents(at, 1)) return make_data(text(*extent));
        return nullptr;
      case 0x5:
        if (const auto extent = contents(at, 1)) return ascii(text(*extent));
        return nullptr;
      case 0x6:
        if (const auto extent = contents(at, 2)) return utf16(*extent);
        return nullptr;
      case 0xa:
        return array(at, nesting);
      case 0xd:
        return dictionary(at, nesting);
      default:
        break;
    }
    return fail("it holds an object of a kind that is not known here");
  }

  std::string_view text(const Extent& extent) const {
    return bytes_.substr(extent.start, extent.count);
  }

  /// The bytes of an integer object at `at`, its marker included: 0 when it is none.
  std::size_t integer_size(std::size_t at) const {
    if (at >= table_ || byte(at) >> 4 != 1 || (byte(at) & 15) > 4) return 0;
    const std::size_t size = std::size_t{1} << (byte(at) & 15);
    return table_ - at - 1 >= size ? size : 0;
  }

  /// Count and place of an object's contents, each `unit` bytes; checked against the file.
  std::optional<Extent> contents(std::size_t at, std::size_t unit) {
    Extent extent;
    std::uint64_t count = byte(at) & 15;
    extent.start = at + 1;
    if (count == 15) {
      const std::size_t size = integer_size(at + 1);
      if (size == 0 || size > 8) {
        fail("a length is wrong");
        return std::nullopt;
      }
      count = big_endian(at + 2, size);
      extent.start = at + 2 + size;
    }
    if (count > (table_ - extent.start) / unit) {
      fail("an object reaches beyond the file");
      return std::nullopt;
    }
    extent.count = static_cast<std::size_t>(count);
    if (!take(extent.count * unit)) {
      fail("written out it would be enormous");
      return std::nullopt;
    }
    return extent;
  }

  CFTypeRef integer(std::size_t at) {
    const std::size_t size = integer_size(at);
    if (size == 0) return fail("an integer is cut off");
    // One, two and four bytes have no sign, eight have one; sixteen are for what is above that.
    if (size <= 4) return make_unsigned_number(big_endian(at + 1, size));
    const std::uint64_t bits = big_endian(at + 1 + (size - 8), 8);
    const std::uint64_t high = size == 16 ? big_endian(at + 1, 8) : bits >> 63 ? UINT64_MAX : 0;
    if (high == 0) return make_unsigned_number(bits);
    const auto value = static_cast<std::int64_t>(bits);
    if (high != UINT64_MAX || value >= 0) return fail("an integer does not fit 64 bits");
    return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
  }

  CFTypeRef real(std::size_t at, std::uint8_t low) {
    const std::size_t size = std::size_t{1} << low;
    if ((low != 2 && low != 3) || table_ - at - 1 < size) return fail("a real is wrong");
    const std::uint64_t bits = big_endian(at + 1, size);
    if (low == 3) return CFNumberCreate(nullptr, kCFNumberFloat64Type, &bits);
    const auto single = static_cast<std::uint32_t>(bits);
    return CFNumberCreate(nullptr, kCFNumberFloat32Type, &single);
  }

  CFTypeRef date(std::size_t at, std::uint8_t low) {
    if (low != 3 || table_ - at - 1 < 8) return fail("a date is wrong");
    const std::uint64_t bits = big_endian(at + 1, 8);
    double seconds;
    std::memcpy(&seconds, &bits, sizeof seconds);
    return CFDateCreate(nullptr, seconds);
  }

  CFTypeRef ascii(std::string_view characters) {
    for (char c : characters)
      if (static_cast<unsigned char>(c) >= 0x80) return fail("a text is not ASCII");
    return make_ascii_string(characters);
  }

  CFTypeRef utf16(const Extent& extent) {
    std::u16string units(extent.count, u'\0');
    for (std::size_t i = 0; i < extent.count; ++i)
      units[i] = static_cast<char16_t>(big_endian(extent.start + 2 * i, 2));
    return make_string(units);
  }

  /// Reads `count` references from `at` on into objects; false when one is damaged.
  bool references(std::size_t at, std::size_t count, int nesting, std::vector<CFTypeRef>& objects) {
    // Each reference is a value of the list, and may be one that is made anew.
    if (count > values_left_) {
      fail(too_many_values);
      return false;
    }
    values_left_ -= count;
    objects.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      const std::uint64_t index = big_endian(at + i * reference_size_, reference_size_);
      if (index >= slots_.size()) {
        fail("a reference leads nowhere");
        return false;
      }
      CFTypeRef value = object(static_cast<std::size_t>(index), nesting + 1);
      if (!value) return false;
      objects.push_back(value);
    }
    return true;
  }

  CFTypeRef array(std::size_t at, int nesting) {
    if (nesting == deepest_nesting) return fail("it is nested too deeply");
    const auto extent = contents(at, reference_size_);
    if (!extent) return nullptr;
    std::vector<CFTypeRef> values;
    if (!references(extent->start, extent->count, nesting, values)) {
      release_all(values);
      return nullptr;
    }
    return builder_.array(values);
  }

  CFTypeRef dictionary(std::size_t at, int nesting) {
    if (nesting == deepest_nesting) return fail("it is nested too deeply");
    const auto extent = contents(at, 2 * reference_size_);
    if (!extent) return nullptr;
    std::vector<CFTypeRef> keys, values;
    bool is_whole =
        references(extent->start, extent->count, nesting, keys) &&
        references(extent->start + extent->count * reference_size_, extent->count, nesting, values);
    for (std::size_t i = 0; is_whole && i < keys.size(); ++i) {
      if (list_kind(keys[i]) == ListKind::string) continue;
      fail("a key is no text");
      is_whole = false;
    }
    if (is_whole) return builder_.dictionary(keys, values);
    release_all(keys);
    release_all(values);
    return nullptr;
  }

  const std::string_view bytes_;
  const ListBuilder builder_;
  PropertyListError& error_;
  std::size_t offset_size_ = 0;
  std::size_t reference_size_ = 0;
  std::size_t table_ = 0;  ///< Where the offsets begin and the objects end.
  std::size_t expansion_left_ = 0;
  std::size_t values_left_ = most_values - 1;  ///< The outermost has no reference.
  std::vector<Slot> slots_;
};

}  // namespace

CFPropertyListRef create_from_binary(std::string_view bytes, CFOptionFlags options,
                                     PropertyListError& error) {
  // A new list has a reference. NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount)
  return BinaryReader(bytes, options, error).read();
}

}  // namespace vesk::platform::cf
