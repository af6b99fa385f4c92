#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/cf_text.hpp"
#include "tests/support/comma_locale.hpp"

using vesk::tests::make;
using vesk::tests::own;
using vesk::tests::Owned;
using vesk::tests::taken;

namespace {

using Encoded = std::string;

/// The list in `bytes`, or null with the error's code and text.
Owned<CFPropertyListRef> read(const Encoded& bytes, CFIndex* code = nullptr,
                              std::string* message = nullptr,
                              CFOptionFlags options = kCFPropertyListImmutable,
                              CFPropertyListFormat* format = nullptr) {
  const auto data = own(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                     static_cast<CFIndex>(bytes.size())));
  CFErrorRef error = nullptr;
  auto list = own(CFPropertyListCreateWithData(nullptr, data.get(), options, format, &error));
  EXPECT_EQ(list == nullptr, error != nullptr);
  if (!error) return list;
  if (code) *code = CFErrorGetCode(error);
  if (message) *message = taken(CFErrorCopyDescription(error));
  CFRelease(error);
  return list;
}

/// The list as XML.
Encoded write(CFPropertyListRef list) {
  const auto data =
      own(CFPropertyListCreateData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (!data) return "(null)";
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
          static_cast<std::size_t>(CFDataGetLength(data.get()))};
}
Encoded write(const Owned<CFPropertyListRef>& list) {
  return write(list.get());
}

Encoded document(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "</plist>\n";
}

const std::string sample_body =
    "<dict>\n"
    "\t<key>array</key>\n"
    "\t<array>\n\t\t<true/>\n\t\t<false/>\n\t\t<array/>\n\t\t<dict/>\n\t</array>\n"
    "\t<key>big</key>\n\t<integer>18446744073709551615</integer>\n"
    "\t<key>code</key>\n\t<integer>-1734964077</integer>\n"
    "\t<key>data</key>\n\t<data>\n\tAAEC/w==\n\t</data>\n"
    "\t<key>date</key>\n\t<date>1999-12-31T23:59:59Z</date>\n"
    "\t<key>empty</key>\n\t<data>\n\t</data>\n"
    "\t<key>real</key>\n\t<real>0.30000000000000004</real>\n"
    "\t<key>text &amp; more</key>\n\t<string>a&lt;b&gt;\tK\xc3\xa4se &#13;\n</string>\n"
    "</dict>\n";

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

TEST(PropertyList, XmlIsReadAndWrittenByteForByte) {
  const auto list = read(document(sample_body));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(write(list), document(sample_body));
  const auto* text = static_cast<CFStringRef>(
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(list.get()), CFSTR("text & more")));
  EXPECT_TRUE(CFEqual(text, CFSTR("a<b>\tKäse \r\n")));
}

TEST(PropertyList, BinaryListsOfOthersAreRead) {
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

TEST(PropertyList, NumbersComeBackBitForBit) {
  const vesk::tests::CommaLocale locale;
  locale.enter();
  struct Number {
    CFNumberType type;
    UInt64 bits;
  };
  std::vector<Number> numbers;
  const auto add_real = [&](double real) {
    if (std::isnan(real)) return;
    numbers.push_back({kCFNumberDoubleType, std::bit_cast<UInt64>(real)});
    numbers.push_back({kCFNumberFloatType, std::bit_cast<UInt32>(static_cast<float>(real))});
  };
  using Limits = std::numeric_limits<double>;
  for (double real : {0.0, 0.1 + 0.2, 1.0 / 3, 123456789.12345679, 5e-324, 1e22, Limits::max(),
                      Limits::infinity()})
    for (double sign : {1, -1}) add_real(sign * real);
  for (std::int64_t integer : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN, INT64_MAX,
                               std::int64_t{255}, std::int64_t{65536}, std::int64_t{1} << 32})
    numbers.push_back({kCFNumberSInt64Type, static_cast<UInt64>(integer)});
  std::mt19937_64 random(11);
  for (int i = 0; i < 500; ++i) {
    add_real(std::bit_cast<double>(random()));
    numbers.push_back({kCFNumberSInt64Type, random() >> (random() % 64)});
  }
  CFMutableArrayRef list = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (const Number& number : numbers)
    CFArrayAppendValue(list, own(CFNumberCreate(nullptr, number.type, &number.bits)).get());

  const Encoded bytes = write(list);
  CFRelease(list);
  const auto back = read(bytes);
  ASSERT_NE(back, nullptr);
  const auto array = static_cast<CFArrayRef>(back.get());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const void* number = CFArrayGetValueAtIndex(array, static_cast<CFIndex>(i));
    UInt64 bits = 0;
    ASSERT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(number), numbers[i].type, &bits));
    EXPECT_EQ(bits, numbers[i].bits) << "number " << i << " of type " << numbers[i].type;
  }
  EXPECT_EQ(write(back), bytes);
  vesk::tests::CommaLocale::leave();
}

TEST(PropertyList, SpellingsThatAreAccepted) {
  const struct {
    const char* body;
    const char* written;
  } cases[] = {
      {"<integer> -0x1F </integer>", "<integer>-31</integer>\n"},
      {"<integer>+7</integer>", "<integer>7</integer>\n"},
      {"<real>+INFinity</real>", "<real>+infinity</real>\n"},
      {"<real>-inf</real>", "<real>-infinity</real>\n"},
      {"<real>NaN</real>", "<real>nan</real>\n"},
      {"<real> 1e3 </real>", "<real>1000</real>\n"},
      {"<string/>", "<string></string>\n"},
      {"<string>a<!-- no -->b<![CDATA[<&]]></string>", "<string>ab&lt;&amp;</string>\n"},
      {"<string>&#x1F3B5;&quot;</string>", "<string>\xf0\x9f\x8e\xb5\"</string>\n"},
      {"<data>A A\n\tE=</data>", "<data>\nAAE=\n</data>\n"},
      {"<date>0001-01-01T00:00:00Z</date>", "<date>0001-01-01T00:00:00Z</date>\n"},
      {"<date>9999-12-31T23:59:59Z</date>", "<date>9999-12-31T23:59:59Z</date>\n"},
      {"<date>2000-02-29T00:00:00Z</date>", "<date>2000-02-29T00:00:00Z</date>\n"},
      {"<true></true>", "<true/>\n"},
      {"<dict><key>a</key><true/><key>a</key><false/></dict>",
       "<dict>\n\t<key>a</key>\n\t<false/>\n</dict>\n"},
  };
  for (const auto& c : cases) {
    // With and without declaration and outer element, after a mark or blanks.
    for (const Encoded& form : {document(c.body), Encoded(c.body),
                                "\xef\xbb\xbf" + document(c.body), "\n  " + document(c.body)}) {
      const auto list = read(form);
      ASSERT_NE(list, nullptr) << form;
      EXPECT_EQ(write(list), document(c.written));
    }
  }
}

TEST(PropertyList, ValuesOfEverySizeAreRead) {
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

TEST(PropertyList, DamagedXmlIsRefusedWithAReason) {
  const struct {
    const char* body;
    const char* reason;
  } cases[] = {
      {"", "holds no object"},
      {"<integer>zz</integer>", "holds no integer"},
      {"<integer>1.5</integer>", "holds no integer"},
      {"<integer>--1</integer>", "holds no integer"},
      {"<integer>18446744073709551616</integer>", "holds no integer"},
      {"<integer>-9223372036854775809</integer>", "holds no integer"},
      {"<real/>", "holds no number"},
      {"<real>1,5</real>", "holds no number"},
      {"<real>nan(1)</real>", "holds no number"},
      {"<real>1e999</real>", "holds no number"},
      {"<data>!!</data>", "not base 64"},
      {"<data>AAE</data>", "not base 64"},
      {"<data>AA=E</data>", "not base 64"},
      {"<data>A===</data>", "not base 64"},
      {"<date>2001-02-29T00:00:00Z</date>", "holds no date"},
      {"<date>2001-01-01 00:00:00Z</date>", "holds no date"},
      {"<date>2001-01-01T24:00:00Z</date>", "holds no date"},
      {"<dict><key>a</key></dict>", "a key has no value"},
      {"<dict><key>a</key><key>b</key><true/></dict>", "a key has no value"},
      {"<dict><key></key><true/></dict>", "<key> is empty"},
      {"<dict><true/></dict>", "a value has no key"},
      {"<key>a</key>", "outside a dictionary"},
      {"<array><key>a</key></array>", "outside a dictionary"},
      {"<true/><true/>", "more than one object"},
      {"<array>x</array>", "text stands outside"},
      {"<string>a<string/></string>", "inside a value"},
      {"<true>x</true>", "a boolean has contents"},
      {"<plist><true/></plist>", "<plist> stands inside"},
      {"<set/>", "no element <set>"},
      {"<string>&nope;</string>", "no entity"},
      {"<array>", "mismatched tag"},
      {"<string>\xff</string>", "not well-formed"},
  };
  for (const auto& c : cases) {
    CFIndex code = 0;
    std::string message;
    EXPECT_EQ(read(document(c.body), &code, &message), nullptr) << c.body;
    EXPECT_EQ(code, 3840) << c.body;
    EXPECT_NE(message.find(c.reason), std::string::npos) << c.body << ": " << message;
  }
  for (const Encoded& bytes : {Encoded(), Encoded("  "), Encoded("x"), Encoded("<"),
                               document("<true/>") + "x", Encoded("\xff\xfe", 2)})
    EXPECT_EQ(read(bytes), nullptr) << bytes;
}

TEST(PropertyList, DamagedBinaryListsAreRefused) {
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

TEST(PropertyList, WhateverCanBeReadCanBeWrittenAndMoreNeither) {
  const auto nested = [](int levels) {
    Encoded bytes;
    for (int i = 0; i < levels; ++i) bytes += "<array>";
    for (int i = 0; i < levels; ++i) bytes += "</array>";
    return document(bytes);
  };
  const auto nested_binary = [](std::size_t levels) {
    std::vector<Encoded> objects;
    for (std::size_t i = 1; i < levels; ++i) objects.push_back("\xa1" + big_endian(i, 2));
    objects.emplace_back("\xa0", 1);
    return binary_of(objects, 2);
  };
  const auto many = [](int count) {
    Encoded bytes = "<array>";
    for (int i = 0; i < count; ++i) bytes += "<dict/>";
    return document(bytes + "</array>");
  };
  const struct {
    Encoded most, more;
    const char* reason;
  } cases[] = {
      {nested(512), nested(513), "nested too deeply"},
      {nested_binary(512), nested_binary(513), "nested too deeply"},
      {many((1 << 20) - 1), many(1 << 20), "more than a million values"},
  };
  for (const auto& c : cases) {
    const auto most = read(c.most);
    ASSERT_NE(most, nullptr) << c.reason;
    EXPECT_NE(write(most), "(null)") << c.reason;
    const void* values[] = {most.get()};
    EXPECT_EQ(write(own(CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks))), "(null)");
    std::string message;
    EXPECT_EQ(read(c.more, nullptr, &message), nullptr) << c.reason;
    EXPECT_NE(message.find(c.reason), std::string::npos) << message;
  }
  std::string message;
  EXPECT_EQ(read("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>"
                 "<plist><string>&b;</string></plist>",
                 nullptr, &message),
            nullptr);
  EXPECT_NE(message.find("declarations"), std::string::npos) << message;
}

TEST(PropertyList, OptionsSayWhetherContainersMayBeChanged) {
  // In the binary form both keys share one array.
  const Encoded shared =
      binary_of({Encoded("\xd2\x01\x02\x03\x03", 5), "Qa", "Qb", Encoded("\xa0", 1)});
  for (const Encoded& bytes :
       {document("<dict><key>a</key><array/><key>b</key><array/></dict>"), shared}) {
    for (const auto options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers}) {
      const auto list = read(bytes, nullptr, nullptr, options);
      ASSERT_NE(list, nullptr);
      auto dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(list.get()));
      const auto count = [&](CFStringRef key) {
        return CFArrayGetCount(static_cast<CFArrayRef>(CFDictionaryGetValue(dictionary, key)));
      };
      CFArrayAppendValue(static_cast<CFMutableArrayRef>(
                             const_cast<void*>(CFDictionaryGetValue(dictionary, CFSTR("a")))),
                         kCFBooleanTrue);
      CFDictionarySetValue(dictionary, CFSTR("new"), kCFBooleanTrue);
      const bool may_change = options == kCFPropertyListMutableContainers;
      EXPECT_EQ(CFDictionaryGetCount(dictionary), may_change ? 3 : 2);
      EXPECT_EQ(count(CFSTR("a")), may_change ? 1 : 0);
      EXPECT_EQ(count(CFSTR("b")), 0);
    }
  }
}

TEST(PropertyList, WhatIsNoPropertyListIsNotWritten) {
  CFMutableArrayRef circle = CFArrayCreateMutable(nullptr, 0, nullptr);
  CFArrayAppendValue(circle, circle);
  CFMutableDictionaryRef keyed = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(keyed, kCFBooleanTrue, kCFBooleanTrue);
  // The reader's own refusal: written all the same, it would cost the rest of the state.
  CFMutableDictionaryRef unnamed = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(unnamed, CFSTR(""), kCFBooleanTrue);
  const UniChar half = 0xd800;
  CFStringRef surrogate = CFStringCreateWithCharacters(nullptr, &half, 1);
  CFDateRef far = CFDateCreate(nullptr, 1e18);
  CFURLRef url = CFURLCreateWithFileSystemPath(nullptr, CFSTR("/x"), kCFURLPOSIXPathStyle, false);
  const struct {
    CFTypeRef list;
    const char* reason;
  } cases[] = {
      {circle, "nested too deeply"},   {keyed, "a key is no text"}, {unnamed, "a key is empty"},
      {surrogate, "character 55296"},  {far, "years 1 to 9999"},    {url, "it holds file:///x"},
      {nullptr, "there is no object"},
  };
  const auto refusal = [](CFTypeRef list, CFPropertyListFormat format) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateData(nullptr, list, format, 0, &error), nullptr);
    if (!error) return std::string("(no error)");
    EXPECT_EQ(CFErrorGetCode(error), 3851);
    const std::string message = taken(CFErrorCopyDescription(error));
    CFRelease(error);
    return message;
  };
  for (const auto& c : cases) {
    const std::string message = refusal(c.list, kCFPropertyListXMLFormat_v1_0);
    EXPECT_NE(message.find(c.reason), std::string::npos) << message;
    if (c.list) CFRelease(c.list);
  }
  EXPECT_NE(refusal(kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0).find("XML form only"),
            std::string::npos);
}

TEST(PropertyList, NoTruncationOrBitFlipCrashes) {
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
