#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "tests/support/property_list_bytes.hpp"

namespace {

using namespace vesk::tests;

// Made by another implementation (Python's plistlib): {"data": b"\x00\x01", "date":
// 2001-01-01T00:00:01, "list": [True, False, "é", 1.5], "n": -3, "u": 2**64-1}.
const Encoded foreign_binary(
    "bplist00"
    "\xd5\x01\x02\x03\x04\x05\x06\x07\x08\x0d\x0e"                  // the dictionary, 8
    "Tdata"                                                         // 19
    "Tdate"                                                         // 24
    "Tlist"                                                         // 29
    "Qn"                                                            // 34
    "Qu"                                                            // 36
    "\x42\x00\x01"                                                  // 38
    "\x33\x3f\xf0\0\0\0\0\0\0"                                      // 41
    "\xa4\x09\x0a\x0b\x0c"                                          // 50
    "\x09"                                                          // 55
    "\x08"                                                          // 56
    "\x61\x00\xe9"                                                  // 57
    "\x23\x3f\xf8\0\0\0\0\0\0"                                      // 60
    "\x13\xff\xff\xff\xff\xff\xff\xff\xfd"                          // 69
    "\x14\0\0\0\0\0\0\0\0\xff\xff\xff\xff\xff\xff\xff\xff"          // 78
    "\x08\x13\x18\x1d\x22\x24\x26\x29\x32\x37\x38\x39\x3c\x45\x4e"  // offsets, 95
    "\0\0\0\0\0\0\x01\x01\0\0\0\0\0\0\0\x0f\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x5f",
    142);

TEST(PropertyListBytes, BinaryListsOfOthersAreRead) {
  CFPropertyListFormat format{};
  const auto list = read(foreign_binary, nullptr, nullptr, 0, &format);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
  EXPECT_EQ(write(list), document("<dict>\n\t<key>data</key>\n\t<data>\n\tAAE=\n\t</data>\n"
                                  "\t<key>date</key>\n\t<date>2001-01-01T00:00:01Z</date>\n"
                                  "\t<key>list</key>\n\t<array>\n\t\t<true/>\n\t\t<false/>\n"
                                  "\t\t<string>é</string>\n\t\t<real>1.5</real>\n\t</array>\n"
                                  "\t<key>n</key>\n\t<integer>-3</integer>\n"
                                  "\t<key>u</key>\n\t<integer>18446744073709551615</integer>\n"
                                  "</dict>\n"));
}

Encoded big_endian(std::uint64_t value, std::size_t count) {
  Encoded bytes;
  while (count-- > 0) bytes += static_cast<char>(value >> (8 * count));
  return bytes;
}

/// A binary list of objects; offsets and references have `size` bytes.
Encoded binary_of(const std::vector<Encoded>& objects, std::size_t size = 1) {
  Encoded bytes = "bplist00", table;
  for (const Encoded& object : objects) {
    table += big_endian(bytes.size(), size);
    bytes += object;
  }
  const std::size_t table_at = bytes.size();
  return bytes + table + big_endian(size, 7) + big_endian(size, 1) + big_endian(objects.size(), 8) +
         big_endian(0, 8) + big_endian(table_at, 8);
}

TEST(PropertyListBytes, ValuesOfEverySizeAreRead) {
  const struct {
    Encoded object;
    const char* written;
  } cases[] = {
      {"\x10\xff", "<integer>255</integer>\n"},
      {"\x11\xff\xfe", "<integer>65534</integer>\n"},
      {"\x12\xff\xff\xff\xfe", "<integer>4294967294</integer>\n"},
      {"\x13" + big_endian(INT64_MAX, 8), "<integer>9223372036854775807</integer>\n"},
      {"\x13" + big_endian(std::uint64_t{1} << 63, 8), "<integer>-9223372036854775808</integer>\n"},
      {"\x14" + big_endian(~0ull, 8) + big_endian(~0ull, 8), "<integer>-1</integer>\n"},
      {"\x14" + big_endian(0, 8) + big_endian(~0ull, 8),
       "<integer>18446744073709551615</integer>\n"},
      {"\x22\x3e\xaa\xaa\xab", "<real>0.3333333432674408</real>\n"},
      {"\x23" + big_endian(0x3fb999999999999aull, 8), "<real>0.1</real>\n"},
      {"\x33" + big_endian(0xc17e285010000000ull, 8), "<date>1999-12-31T23:59:59Z</date>\n"},
      {Encoded("\x40", 1), "<data>\n</data>\n"},
      {"\x5f\x10\x10" + Encoded(16, 'x'), "<string>xxxxxxxxxxxxxxxx</string>\n"},
      {Encoded("\x63\0a\xd8\x3c\xdf\xb5", 7), "<string>a🎵</string>\n"},
  };
  for (const auto& c : cases) {
    const auto list = read(binary_of({c.object}));
    ASSERT_NE(list, nullptr) << c.written;
    EXPECT_EQ(write(list), document(c.written));
  }
}

TEST(PropertyListBytes, SharedAndDeepContainersAreRead) {
  for (const CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers}) {
    const auto list =
        read(binary_of({"\xa2\x01\x01", Encoded("\xa0", 1)}), nullptr, nullptr, options);
    ASSERT_NE(list, nullptr);
    const auto array = static_cast<CFArrayRef>(list.get());
    auto first =
        static_cast<CFMutableArrayRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, 0)));
    CFArrayAppendValue(first, kCFBooleanTrue);
    const bool may_change = options == kCFPropertyListMutableContainers;
    EXPECT_EQ(write(list), document(may_change ? "<array>\n\t<array>\n\t\t<true/>\n\t</array>\n"
                                                 "\t<array/>\n</array>\n"
                                               : "<array>\n\t<array/>\n\t<array/>\n</array>\n"));
  }
  const auto nested = [](std::size_t levels) {
    std::vector<Encoded> objects;
    for (std::size_t i = 1; i < levels; ++i) objects.push_back("\xa1" + big_endian(i, 2));
    objects.emplace_back("\xa0", 1);
    return binary_of(objects, 2);
  };
  const auto deepest = read(nested(512));
  ASSERT_NE(deepest, nullptr);
  EXPECT_EQ(read(nested(513)), nullptr);
}

TEST(PropertyListBytes, DamagedBinaryListsAreRefused) {
  std::vector<Encoded> doubling;
  for (char i = 1; i < 50; ++i) doubling.push_back({'\xa2', i, i});
  doubling.push_back("Qx");
  Encoded references;
  for (int i = 0; i < 1 << 20; ++i) references += big_endian(1, 4);
  const struct {
    const char* name;
    Encoded bytes;
  } cases[] = {
      {"itself", binary_of({Encoded("\xa1\0", 2)})},
      {"a circle of two", binary_of({"\xa1\x01", Encoded("\xa1\0", 2)})},
      {"doubling fifty times", binary_of(doubling)},
      {"reference to nowhere", binary_of({"\xa1\x07"})},
      {"key is no text", binary_of({"\xd1\x01\x01", "\x09"})},
      {"null", binary_of({Encoded("\0", 1)})},
      {"uid", binary_of({"\x80\x01"})},
      {"text with high bytes", binary_of({"\x51\xe9"})},
      {"length beyond the file", binary_of({"\x5f\x13\x7f\xff\xff\xff\xff\xff\xff\xff"})},
      {"length that is no integer", binary_of({"\x5f\x23\x3f\xf0"})},
      {"real of eight words", binary_of({Encoded("\x25\0\0\0\0", 5)})},
      {"integer above 64 bits", binary_of({Encoded("\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\0", 17)})},
      {"header only", "bplist00"},
      {"no objects", binary_of({})},
      {"a million references",
       binary_of({Encoded("\xaf\x12\0\x10\0\0", 6) + references, "\x09"}, 4)},
  };
  for (const auto& c : cases) {
    CFIndex code = 0;
    EXPECT_EQ(read(c.bytes, &code), nullptr) << c.name;
    EXPECT_EQ(code, 3840) << c.name;
  }
  std::string message;
  read(cases[1].bytes, nullptr, &message);
  EXPECT_NE(message.find("contains itself"), std::string::npos) << message;
  CFIndex code = 0;
  EXPECT_EQ(read("bplist15" + foreign_binary.substr(8), &code), nullptr);
  EXPECT_EQ(code, 3841);
}

TEST(PropertyListBytes, NoTruncationOrBitFlipCrashes) {
  const Encoded valid[] = {document(sample_body), foreign_binary};
  int accepted = 0;
  const auto survive = [&accepted](const Encoded& bytes) {
    const auto list = read(bytes);
    if (!list) return;
    ++accepted;
    // What was read and can be written can be read again.
    if (const Encoded written = write(list); written != "(null)") {
      const auto again = read(written);
      EXPECT_NE(again, nullptr);
    }
  };
  for (const Encoded& bytes : valid) {
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_TRUE(length + 1 == bytes.size() || !read(bytes.substr(0, length)))
          << "cut at " << length;
    }
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (int bit = 0; bit < 8; ++bit) {
        Encoded flipped = bytes;
        flipped[at] = static_cast<char>(flipped[at] ^ 1 << bit);
        survive(flipped);
      }
    }
  }
  std::mt19937 random(3);
  for (int i = 0; i < 3000; ++i) {
    Encoded noise = valid[1];
    for (int k = 0; k < 6; ++k)
      noise[8 + random() % (noise.size() - 8)] = static_cast<char>(random());
    survive(noise);
  }
  EXPECT_GT(accepted, 0);
}

}  // namespace
