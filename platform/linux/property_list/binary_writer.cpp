// Writes the binary form. Equal texts, numbers, dates and bytes are stored once.

#include <cstring>
#include <unordered_map>

#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/property_list/property_list.hpp"

namespace vesk::platform::cf {

namespace {

void append_big_endian(std::string& bytes, std::uint64_t value, std::size_t count) {
  for (std::size_t i = count; i-- > 0;) bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

std::size_t bytes_for(std::uint64_t largest) {
  return largest < 1u << 8 ? 1 : largest < 1u << 16 ? 2 : largest < std::uint64_t{1} << 32 ? 4 : 8;
}

std::string integer(std::uint64_t value) {
  const std::size_t size = bytes_for(value);
  std::string bytes(1, static_cast<char>(0x10 | (size == 1   ? 0
                                                 : size == 2 ? 1
                                                 : size == 4 ? 2
                                                             : 3)));
  append_big_endian(bytes, value, size);
  return bytes;
}

/// A marker with its count, which moves into an integer of its own when it is large.
std::string marker(unsigned kind, std::size_t count) {
  std::string bytes(1, static_cast<char>(kind << 4 | (count < 15 ? count : 15)));
  return count < 15 ? bytes : bytes + integer(count);
}

std::string scalar(CFTypeRef ref) {
  std::string bytes;
  switch (list_kind(ref)) {
    case ListKind::boolean:
      return std::string(1, CFBooleanGetValue(static_cast<CFBooleanRef>(ref)) ? '\x09' : '\x08');
    case ListKind::number: {
      NumberValue value;
      read_number(static_cast<CFNumberRef>(ref), value);
      if (value.kind == Number::Kind::unsigned_integer) {
        bytes = '\x14';
        append_big_endian(bytes, 0, 8);
        append_big_endian(bytes, value.unsigned_integer, 8);
      } else if (value.kind == Number::Kind::integer) {
        // Eight bytes are the only signed size.
        if (value.integer >= 0) return integer(static_cast<std::uint64_t>(value.integer));
        bytes = '\x13';
        append_big_endian(bytes, static_cast<std::uint64_t>(value.integer), 8);
      } else if (value.is_single) {
        const auto single = static_cast<float>(value.real);
        std::uint32_t bits;
        std::memcpy(&bits, &single, sizeof bits);
        bytes = '\x22';
        append_big_endian(bytes, bits, 4);
      } else {
        std::uint64_t bits;
        std::memcpy(&bits, &value.real, sizeof bits);
        bytes = '\x23';
        append_big_endian(bytes, bits, 8);
      }
      return bytes;
    }
    case ListKind::date: {
      const double seconds = CFDateGetAbsoluteTime(static_cast<CFDateRef>(ref));
      std::uint64_t bits;
      std::memcpy(&bits, &seconds, sizeof bits);
      bytes = '\x33';
      append_big_endian(bytes, bits, 8);
      return bytes;
    }
    case ListKind::data: {
      const auto data = static_cast<CFDataRef>(ref);
      const auto count = static_cast<std::size_t>(CFDataGetLength(data));
      bytes = marker(4, count);
      return bytes.append(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), count);
    }
    default: {
      const Characters characters(static_cast<CFStringRef>(ref));
      if (characters.ascii()) {
        bytes = marker(5, characters.size());
        return bytes.append(characters.ascii(), characters.size());
      }
      bytes = marker(6, characters.size());
      for (std::size_t i = 0; i < characters.size(); ++i)
        append_big_endian(bytes, characters[i], 2);
      return bytes;
    }
  }
}

class BinaryWriter {
 public:
  std::string write(CFPropertyListRef list) {
    const std::size_t top = collect(list);
    const std::size_t reference_size = bytes_for(objects_.size() - 1);
    std::string out = "bplist00";
    std::vector<std::size_t> offsets;
    for (const Stored& stored : objects_) {
      offsets.push_back(out.size());
      out += stored.bytes;
      for (std::size_t reference : stored.references)
        append_big_endian(out, reference, reference_size);
    }
    const std::size_t table = out.size();
    const std::size_t offset_size = bytes_for(table);
    for (std::size_t offset : offsets) append_big_endian(out, offset, offset_size);
    out.append(6, '\0');
    append_big_endian(out, offset_size, 1);
    append_big_endian(out, reference_size, 1);
    append_big_endian(out, objects_.size(), 8);
    append_big_endian(out, top, 8);
    append_big_endian(out, table, 8);
    return out;
  }

 private:
  struct Stored {
    std::string bytes;
    std::vector<std::size_t> references;
  };

  /// Numbers the object and all in it.
  std::size_t collect(CFTypeRef ref) {
    const ListKind kind = list_kind(ref);
    if (kind == ListKind::array) {
      const std::size_t index = reserve();
      const auto array = static_cast<CFArrayRef>(ref);
      const CFIndex count = CFArrayGetCount(array);
      std::vector<std::size_t> references;
      references.reserve(static_cast<std::size_t>(count));
      for (CFIndex i = 0; i < count; ++i)
        references.push_back(collect(CFArrayGetValueAtIndex(array, i)));
      objects_[index] = {marker(0xa, references.size()), std::move(references)};
      return index;
    }
    if (kind == ListKind::dictionary) {
      const std::size_t index = reserve();
      const auto entries = sorted_entries(static_cast<CFDictionaryRef>(ref));
      std::vector<std::size_t> references;
      references.reserve(2 * entries.size());
      for (const auto& entry : entries) references.push_back(collect(entry.first));
      for (const auto& entry : entries) references.push_back(collect(entry.second));
      objects_[index] = {marker(0xd, entries.size()), std::move(references)};
      return index;
    }
    std::string bytes = scalar(ref);
    const auto [found, is_new] = scalars_.try_emplace(bytes, objects_.size());
    if (is_new) objects_.push_back({std::move(bytes), {}});
    return found->second;
  }

  std::size_t reserve() {
    objects_.emplace_back();
    return objects_.size() - 1;
  }

  std::vector<Stored> objects_;
  std::unordered_map<std::string, std::size_t> scalars_;
};

}  // namespace

std::string write_binary_list(CFPropertyListRef list) {
  return BinaryWriter().write(list);
}

}  // namespace vesk::platform::cf
