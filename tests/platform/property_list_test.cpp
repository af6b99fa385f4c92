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
#include "tests/support/property_list_bytes.hpp"

namespace {

using namespace vesk::tests;

TEST(PropertyList, XmlIsReadAndWrittenByteForByte) {
  const auto list = read(document(sample_body));
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(write(list), document(sample_body));
  const auto* text = static_cast<CFStringRef>(
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(list.get()), CFSTR("text & more")));
  EXPECT_TRUE(CFEqual(text, CFSTR("a<b>\tKäse \r\n")));
}

TEST(PropertyList, EqualListsGiveEqualBytesWhateverTheOrder) {
  Encoded forms[2];
  for (const bool backwards : {false, true}) {
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (int i = 0; i < 50; ++i) {
      const std::string key = "key " + std::to_string(backwards ? 49 - i : i);
      const auto text = own(make(key.c_str()));
      CFDictionarySetValue(dictionary, text.get(), text.get());
    }
    forms[backwards] = write(dictionary);
    CFRelease(dictionary);
  }
  EXPECT_EQ(forms[0], forms[1]);
  EXPECT_LT(forms[0].find("key 19<"), forms[0].find("key 2<"));
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
    EXPECT_EQ(code, 3840) << c.body;
    EXPECT_NE(message.find(c.reason), std::string::npos) << c.body << ": " << message;
  }
  for (const Encoded& bytes :
       {Encoded(), Encoded("  "), Encoded("x"), Encoded("{ a = 1; }"), Encoded("<"),
        document("<true/>") + "<true/>", document("<true/>") + "x", Encoded("\0\0\0\0", 4),
        Encoded("\xff\xfe", 2)}) {
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
    Encoded bytes;
    for (int i = 0; i < levels; ++i) bytes += "<array>";
    for (int i = 0; i < levels; ++i) bytes += "</array>";
    return bytes;
  };
  const auto deepest = read(document(nested(512)));
  ASSERT_NE(deepest, nullptr);
  // Whatever can be read can be written.
  EXPECT_NE(write(deepest), "(null)");
  const void* values[] = {deepest.get()};
  CFArrayRef deeper = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  EXPECT_EQ(write(deeper), "(null)");
  CFRelease(deeper);
  EXPECT_EQ(read(document(nested(513))), nullptr);
  EXPECT_EQ(read(document(nested(200000))), nullptr);
}

TEST(PropertyList, AMillionValuesAreRefusedWhateverTheirSizeInTheFile) {
  const auto many = [](int count) {
    Encoded bytes = "<array>";
    for (int i = 0; i < count; ++i) bytes += "<dict/>";
    return bytes + "</array>";
  };
  const auto most = read(document(many((1 << 20) - 1)));
  ASSERT_NE(most, nullptr);
  EXPECT_NE(write(most), "(null)") << "whatever can be read can be written";
  const void* values[] = {most.get()};
  CFArrayRef more = CFArrayCreate(nullptr, values, 1, &kCFTypeArrayCallBacks);
  EXPECT_EQ(write(more), "(null)");
  CFRelease(more);
  std::string message;
  EXPECT_EQ(read(document(many(1 << 20)), nullptr, &message), nullptr);
  EXPECT_NE(message.find("more than a million values"), std::string::npos) << message;
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

TEST(PropertyList, OptionsSayWhetherContainersMayBeChanged) {
  for (const CFOptionFlags options : {kCFPropertyListImmutable, kCFPropertyListMutableContainers}) {
    const auto list =
        read(document("<dict><key>a</key><array/></dict>"), nullptr, nullptr, options);
    auto dictionary = static_cast<CFMutableDictionaryRef>(const_cast<void*>(list.get()));
    auto array = static_cast<CFMutableArrayRef>(
        const_cast<void*>(CFDictionaryGetValue(dictionary, CFSTR("a"))));
    CFArrayAppendValue(array, kCFBooleanTrue);
    CFDictionarySetValue(dictionary, CFSTR("new"), kCFBooleanTrue);
    const bool may_change = options == kCFPropertyListMutableContainers;
    EXPECT_EQ(CFArrayGetCount(array), may_change ? 1 : 0);
    EXPECT_EQ(CFDictionaryGetCount(dictionary), may_change ? 2 : 1);
  }
}

}  // namespace
