#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <bit>
#include <clocale>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::string;

CFDataRef data_of(const Bytes& bytes) {
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                      static_cast<CFIndex>(bytes.size()));
}

/// The list in `bytes` (+1), or null with the error's code and text.
CFPropertyListRef read(const Bytes& bytes, CFIndex* code = nullptr, std::string* message = nullptr,
                       CFOptionFlags options = kCFPropertyListImmutable) {
  CFDataRef data = data_of(bytes);
  CFErrorRef error = nullptr;
  CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, data, options, nullptr, &error);
  CFRelease(data);
  EXPECT_EQ(list == nullptr, error != nullptr);
  if (!error) return list;
  if (code) *code = CFErrorGetCode(error);
  CFStringRef text = CFErrorCopyDescription(error);
  char buffer[512];
  EXPECT_TRUE(CFStringGetCString(text, buffer, sizeof buffer, kCFStringEncodingUTF8));
  if (message) *message = buffer;
  CFRelease(text);
  CFRelease(error);
  return list;
}

Bytes write(CFPropertyListRef list, CFPropertyListFormat format = kCFPropertyListXMLFormat_v1_0) {
  CFDataRef data = CFPropertyListCreateData(nullptr, list, format, 0, nullptr);
  if (!data) return "(null)";
  Bytes bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
              static_cast<std::size_t>(CFDataGetLength(data)));
  CFRelease(data);
  return bytes;
}

Bytes document(const std::string& body) {
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

TEST(PropertyList, XmlIsReadAndWrittenByteForByte) {
  CFPropertyListRef list = read(document(sample_body));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(write(list), document(sample_body));
  const auto* text = static_cast<CFStringRef>(
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(list), CFSTR("text & more")));
  EXPECT_TRUE(CFEqual(text, CFSTR("a<b>\tKäse \r\n")));

  // The binary form holds the same, and so does a copy.
  CFPropertyListRef binary = read(write(list, kCFPropertyListBinaryFormat_v1_0));
  ASSERT_NE(binary, nullptr);
  EXPECT_TRUE(CFEqual(list, binary));
  EXPECT_EQ(write(binary), document(sample_body));
  CFPropertyListRef copy = CFPropertyListCreateDeepCopy(nullptr, list, kCFPropertyListImmutable);
  EXPECT_EQ(write(copy), document(sample_body));
  for (CFPropertyListRef made : {list, binary, copy}) CFRelease(made);
}

TEST(PropertyList, EqualListsGiveEqualBytesWhateverTheOrder) {
  Bytes forms[2][2];
  for (int order = 0; order < 2; ++order) {
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (int i = 0; i < 50; ++i) {
      const int n = order == 0 ? i : 49 - i;
      CFStringRef key = CFStringCreateWithFormat(nullptr, nullptr, CFSTR("key %d"), n);
      CFNumberRef value = CFNumberCreate(nullptr, kCFNumberIntType, &n);
      CFDictionarySetValue(dictionary, key, value);
      CFRelease(key);
      CFRelease(value);
    }
    forms[order][0] = write(dictionary);
    forms[order][1] = write(dictionary, kCFPropertyListBinaryFormat_v1_0);
    CFRelease(dictionary);
  }
  EXPECT_EQ(forms[0][0], forms[1][0]);
  EXPECT_EQ(forms[0][1], forms[1][1]);
}

TEST(PropertyList, NumbersComeBackBitForBit) {
  const char* const comma = std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed
  std::mt19937_64 random(11);
  std::vector<double> reals{0.0,
                            -0.0,
                            0.1 + 0.2,
                            1.0 / 3,
                            123456789.12345679,
                            5e-324,
                            1e22,
                            std::numeric_limits<double>::max(),
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity()};
  std::vector<SInt64> integers{0, -1, INT64_MIN, INT64_MAX, 255, 256, 65536, SInt64{1} << 32};
  for (int i = 0; i < 500; ++i) {
    const auto real = std::bit_cast<double>(random());
    if (!std::isnan(real)) reals.push_back(real);
    integers.push_back(static_cast<SInt64>(random() >> (random() % 64)));
  }
  CFMutableArrayRef list = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  const auto add = [list](CFNumberType type, const void* value) {
    CFNumberRef number = CFNumberCreate(nullptr, type, value);
    CFArrayAppendValue(list, number);
    CFRelease(number);
  };
  for (double real : reals) add(kCFNumberDoubleType, &real);
  for (double real : reals) {
    const auto single = static_cast<float>(real);
    add(kCFNumberFloatType, &single);
  }
  for (SInt64 integer : integers) add(kCFNumberSInt64Type, &integer);

  for (auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    const Bytes bytes = write(list, format);
    auto back = static_cast<CFArrayRef>(read(bytes));
    ASSERT_NE(back, nullptr);
    CFIndex at = 0;
    const auto number = [&] {
      return static_cast<CFNumberRef>(CFArrayGetValueAtIndex(back, at++));
    };
    for (double real : reals) {
      double value;
      ASSERT_TRUE(CFNumberGetValue(number(), kCFNumberDoubleType, &value));
      EXPECT_EQ(std::bit_cast<UInt64>(value), std::bit_cast<UInt64>(real)) << real;
    }
    for (double real : reals) {
      float value;
      ASSERT_TRUE(CFNumberGetValue(number(), kCFNumberFloatType, &value));
      EXPECT_EQ(std::bit_cast<UInt32>(value), std::bit_cast<UInt32>(static_cast<float>(real)));
    }
    for (SInt64 integer : integers) {
      SInt64 value;
      ASSERT_TRUE(CFNumberGetValue(number(), kCFNumberSInt64Type, &value));
      EXPECT_EQ(value, integer);
    }
    EXPECT_EQ(write(back, format), bytes);
    CFRelease(back);
  }
  CFRelease(list);
  if (comma) std::setlocale(LC_ALL, "C");
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
    for (const Bytes& form : {document(c.body), Bytes(c.body), "\xef\xbb\xbf" + document(c.body),
                              "\n  " + document(c.body)}) {
      CFPropertyListRef list = read(form);
      ASSERT_NE(list, nullptr) << form;
      EXPECT_EQ(write(list), document(c.written));
      CFRelease(list);
    }
  }
}

TEST(PropertyList, DamagedXmlIsRefusedWithAReason) {
  const struct {
    const char* body;
    const char* reason;
  } cases[] = {
      {"", "holds no object"},
      {"<integer></integer>", "holds no integer"},
      {"<integer>zz</integer>", "holds no integer"},
      {"<integer>1.5</integer>", "holds no integer"},
      {"<integer>- 1</integer>", "holds no integer"},
      {"<integer>--1</integer>", "holds no integer"},
      {"<integer>0x</integer>", "holds no integer"},
      {"<integer>18446744073709551616</integer>", "holds no integer"},
      {"<integer>-9223372036854775809</integer>", "holds no integer"},
      {"<real/>", "holds no number"},
      {"<real>1,5</real>", "holds no number"},
      {"<real>0x1p3</real>", "holds no number"},
      {"<real>nan(1)</real>", "holds no number"},
      {"<real>1e999</real>", "holds no number"},
      {"<data>!!</data>", "not base 64"},
      {"<data>AAE</data>", "not base 64"},
      {"<data>AA=E</data>", "not base 64"},
      {"<data>A===</data>", "not base 64"},
      {"<data>====</data>", "not base 64"},
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
      {"<array/><array/>", "more than one object"},
      {"<array>x</array>", "text stands outside"},
      {"<string>a<string/></string>", "inside a value"},
      {"<true>x</true>", "a boolean has contents"},
      {"<plist><true/></plist>", "<plist> stands inside"},
      {"<array><plist/></array>", "<plist> stands inside"},
      {"<set/>", "no element <set>"},
      {"<string>&nope;</string>", "no entity"},
      {"<array>", "mismatched tag"},
      {"<string>\x01</string>", "not well-formed"},
      {"<string>\xff</string>", "not well-formed"},
  };
  for (const auto& c : cases) {
    CFIndex code = 0;
    std::string message;
    EXPECT_EQ(read(document(c.body), &code, &message), nullptr) << c.body;
    EXPECT_EQ(code, kCFPropertyListReadCorruptError) << c.body;
    EXPECT_NE(message.find(c.reason), std::string::npos) << c.body << ": " << message;
  }
  for (const Bytes& bytes : {Bytes(), Bytes("  "), Bytes("x"), Bytes("{ a = 1; }"), Bytes("<"),
                             document("<true/>") + "<true/>", document("<true/>") + "x",
                             Bytes("\0\0\0\0", 4), Bytes("\xff\xfe", 2)}) {
    EXPECT_EQ(read(bytes), nullptr) << bytes;
  }
}

TEST(PropertyList, EntityBombsAndDeepNestingAreRefused) {
  std::string message;
  EXPECT_EQ(read("<!DOCTYPE plist [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;&a;\">]>"
                 "<plist><string>&b;</string></plist>",
                 nullptr, &message),
            nullptr);
  EXPECT_NE(message.find("declarations"), std::string::npos) << message;

  const auto nested = [](int levels) {
    Bytes bytes;
    for (int i = 0; i < levels; ++i) bytes += "<array>";
    for (int i = 0; i < levels; ++i) bytes += "</array>";
    return bytes;
  };
  CFPropertyListRef deepest = read(document(nested(512)));
  ASSERT_NE(deepest, nullptr);
  // Whatever can be read can be written, in both forms.
  const Bytes binary = write(deepest, kCFPropertyListBinaryFormat_v1_0);
  CFRelease(deepest);
  deepest = read(binary);
  ASSERT_NE(deepest, nullptr);
  EXPECT_NE(write(deepest), "(null)");
  const void* values[] = {deepest};
  CFArrayRef deeper = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  EXPECT_EQ(write(deeper), "(null)");
  CFRelease(deeper);
  CFRelease(deepest);
  EXPECT_EQ(read(document(nested(513))), nullptr);
  EXPECT_EQ(read(document(nested(200000))), nullptr);
}

TEST(PropertyList, WhatIsNoPropertyListIsNotWritten) {
  CFMutableArrayRef circle = CFArrayCreateMutable(nullptr, 0, nullptr);
  CFArrayAppendValue(circle, circle);
  CFMutableDictionaryRef keyed = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(keyed, kCFBooleanTrue, kCFBooleanTrue);
  const UniChar half = 0xd800;
  CFStringRef surrogate = CFStringCreateWithCharacters(nullptr, &half, 1);
  CFDateRef far = CFDateCreate(nullptr, 1e18);
  for (CFTypeRef list : {CFTypeRef(circle), CFTypeRef(keyed), CFTypeRef(surrogate), CFTypeRef(far),
                         CFTypeRef(kCFNull), CFTypeRef(nullptr)}) {
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateData(nullptr, list, kCFPropertyListXMLFormat_v1_0, 0, &error),
              nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListWriteStreamError);
    CFRelease(error);
  }
  EXPECT_EQ(write(kCFBooleanTrue, kCFPropertyListOpenStepFormat), "(null)");
  CFRelease(circle);
  CFRelease(keyed);
  // The binary form has room for these two.
  for (CFTypeRef list : {CFTypeRef(surrogate), CFTypeRef(far)}) {
    CFPropertyListRef back = read(write(list, kCFPropertyListBinaryFormat_v1_0));
    ASSERT_NE(back, nullptr);
    EXPECT_TRUE(CFEqual(list, back));
    CFRelease(back);
    CFRelease(list);
  }
}

TEST(PropertyList, OptionsSayWhatMayBeChanged) {
  for (CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers,
                                kCFPropertyListMutableContainersAndLeaves}) {
    const Bytes xml = document("<dict><key>s</key><string>x</string></dict>");
    CFPropertyListRef from_xml = read(xml, nullptr, nullptr, options);
    CFPropertyListRef from_binary =
        read(write(from_xml, kCFPropertyListBinaryFormat_v1_0), nullptr, nullptr, options);
    for (CFPropertyListRef list : {from_xml, from_binary}) {
      auto dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(list));
      CFDictionarySetValue(dictionary, CFSTR("new"), kCFBooleanTrue);
      EXPECT_EQ(CFDictionaryGetCount(dictionary), options == kCFPropertyListImmutable ? 1 : 2);
      auto text = static_cast<CFMutableStringRef>(
          const_cast<void*>(CFDictionaryGetValue(dictionary, CFSTR("s"))));
      CFStringAppend(text, CFSTR("y"));
      EXPECT_EQ(CFStringGetLength(text),
                options == kCFPropertyListMutableContainersAndLeaves ? 2 : 1);
      CFRelease(list);
    }
  }
}

// Made by another implementation (Python's plistlib): {"data": b"\x00\x01", "date":
// 2001-01-01T00:00:01, "list": [True, False, "é", 1.5], "n": -3, "u": 2**64-1}.
const Bytes foreign_binary(
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

TEST(PropertyList, BinaryListsOfOthersAreRead) {
  CFPropertyListFormat format{};
  CFDataRef data = data_of(foreign_binary);
  CFPropertyListRef list = CFPropertyListCreateWithData(nullptr, data, 0, &format, nullptr);
  CFRelease(data);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(format, kCFPropertyListBinaryFormat_v1_0);
  EXPECT_EQ(write(list), document("<dict>\n\t<key>data</key>\n\t<data>\n\tAAE=\n\t</data>\n"
                                  "\t<key>date</key>\n\t<date>2001-01-01T00:00:01Z</date>\n"
                                  "\t<key>list</key>\n\t<array>\n\t\t<true/>\n\t\t<false/>\n"
                                  "\t\t<string>é</string>\n\t\t<real>1.5</real>\n\t</array>\n"
                                  "\t<key>n</key>\n\t<integer>-3</integer>\n"
                                  "\t<key>u</key>\n\t<integer>18446744073709551615</integer>\n"
                                  "</dict>\n"));
  CFRelease(list);
}

/// A binary list of objects with one-byte offsets and references.
Bytes binary_of(const std::vector<Bytes>& objects) {
  Bytes bytes = "bplist00", table;
  for (const Bytes& object : objects) {
    table += static_cast<char>(bytes.size());
    bytes += object;
  }
  const auto table_at = static_cast<char>(bytes.size());
  return bytes + table + Bytes("\0\0\0\0\0\0\x01\x01", 8) + Bytes(7, '\0') +
         static_cast<char>(objects.size()) + Bytes(8, '\0') + Bytes(7, '\0') + table_at;
}

TEST(PropertyList, DamagedBinaryListsAreRefused) {
  std::vector<Bytes> doubling;
  for (char i = 1; i < 50; ++i) doubling.push_back({'\xa2', i, i});
  doubling.push_back("Qx");
  const struct {
    const char* name;
    Bytes bytes;
  } cases[] = {
      {"itself", binary_of({Bytes("\xa1\0", 2)})},
      {"a circle of two", binary_of({"\xa1\x01", Bytes("\xa1\0", 2)})},
      {"doubling fifty times", binary_of(doubling)},
      {"reference to nowhere", binary_of({"\xa1\x07"})},
      {"key is no text", binary_of({"\xd1\x01\x01", "\x09"})},
      {"null", binary_of({Bytes("\0", 1)})},
      {"uid", binary_of({"\x80\x01"})},
      {"text with high bytes", binary_of({"\x51\xe9"})},
      {"length beyond the file", binary_of({"\x5f\x13\x7f\xff\xff\xff\xff\xff\xff\xff"})},
      {"length that is no integer", binary_of({"\x5f\x23\x3f\xf0"})},
      {"real of eight words", binary_of({Bytes("\x25\0\0\0\0", 5)})},
      {"integer above 64 bits", binary_of({Bytes("\x14\0\0\0\0\0\0\0\x01\0\0\0\0\0\0\0\0", 17)})},
      {"header only", "bplist00"},
      {"no objects", binary_of({})},
  };
  for (const auto& c : cases) {
    CFIndex code = 0;
    EXPECT_EQ(read(c.bytes, &code), nullptr) << c.name;
    EXPECT_EQ(code, kCFPropertyListReadCorruptError) << c.name;
  }
  CFIndex code = 0;
  EXPECT_EQ(read("bplist15" + foreign_binary.substr(8), &code), nullptr);
  EXPECT_EQ(code, kCFPropertyListReadUnknownVersionError);
}

TEST(PropertyList, NoTruncationOrBitFlipCrashes) {
  CFPropertyListRef sample = read(document(sample_body));
  const Bytes valid[] = {document(sample_body), write(sample, kCFPropertyListBinaryFormat_v1_0),
                         foreign_binary};
  CFRelease(sample);
  int accepted = 0;
  const auto survive = [&accepted](const Bytes& bytes) {
    CFPropertyListRef list = read(bytes);
    if (!list) return;
    ++accepted;
    // What was read can be written and read again.
    const Bytes binary = write(list, kCFPropertyListBinaryFormat_v1_0);
    CFPropertyListRef again = read(binary);
    EXPECT_NE(again, nullptr);
    if (again) CFRelease(again);
    write(list);
    CFRelease(list);
  };
  for (const Bytes& bytes : valid) {
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      EXPECT_TRUE(length + 1 == bytes.size() || !read(bytes.substr(0, length)))
          << "cut at " << length;
    }
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (int bit = 0; bit < 8; ++bit) {
        Bytes flipped = bytes;
        flipped[at] = static_cast<char>(flipped[at] ^ 1 << bit);
        survive(flipped);
      }
    }
  }
  std::mt19937 random(3);
  for (int i = 0; i < 3000; ++i) {
    Bytes noise = valid[1];
    for (int k = 0; k < 6; ++k)
      noise[8 + random() % (noise.size() - 8)] = static_cast<char>(random());
    survive(noise);
  }
  EXPECT_GT(accepted, 0);
}

}  // namespace
