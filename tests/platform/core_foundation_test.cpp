#include <AudioToolbox/AudioUnitProperties.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/core_foundation/text_of.hpp"
#include "tests/support/cf_text.hpp"
#include "tests/support/comma_locale.hpp"

using vesk::tests::make;
using vesk::tests::own;
using vesk::tests::taken;
using vesk::tests::text;

namespace {

CFStringRef string_of(const std::string& bytes, CFStringEncoding encoding = kCFStringEncodingUTF8) {
  return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), encoding, false);
}

// Literals serve in tables at namespace scope.
const CFStringRef literals[] = {CFSTR("first"), CFSTR("Größe🎵"), CFSTR("a\0b"), CFSTR("")};

TEST(CoreFoundation, LiteralsAreStringsThatIgnoreRelease) {
  const std::string texts[] = {"first", "Größe🎵", {"a\0b", 3}, ""};
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    for (int k = 0; k < 3; ++k) CFRelease(literals[i]);
    EXPECT_EQ(vesk::platform::text_of(literals[i]), texts[i]);
    EXPECT_EQ(CFGetTypeID(literals[i]), CFStringGetTypeID());
    const auto same = own(string_of(texts[i]));
    EXPECT_TRUE(CFEqual(literals[i], same.get()) && CFEqual(same.get(), literals[i])) << texts[i];
    EXPECT_EQ(CFHash(literals[i]), CFHash(same.get())) << texts[i];
  }
  EXPECT_STREQ(CFStringGetCStringPtr(CFSTR("plain"), kCFStringEncodingUTF8), "plain");
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("Größe"), kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("a\0b"), kCFStringEncodingUTF8), nullptr);
  CFMutableStringRef copy = CFStringCreateMutableCopy(nullptr, 0, literals[1]);
  CFStringAppend(copy, literals[0]);
  EXPECT_EQ(taken(copy), "Größe🎵first");
  CFRelease(kCFBooleanTrue);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

// A unit in C, which includes this one header.
extern "C" CFStringRef vesk_test_unit_of_c(void);

TEST(CoreFoundation, AnAuthorOfCHasLiteralsAtFileScopeAndTheCLibrary) {
  EXPECT_EQ(taken(vesk_test_unit_of_c()), "name: 0.50");
}

TEST(CoreFoundation, CountsAreSafeBetweenThreads) {
  CFStringRef shared = make("shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared] {
      for (int i = 0; i < 2000; ++i) {
        CFRetain(shared);
        CFHash(shared);
        CFRelease(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d"), i));
        CFRelease(shared);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CFGetRetainCount(shared), 1);
  CFRelease(shared);
}

TEST(CoreFoundation, BytesThatAreNoTextGiveNoString) {
  const struct {
    const char* name;
    std::string bytes;
    CFStringEncoding encoding;
    const char* expected;  // UTF-8, null when refused
  } cases[] = {
      {"utf8", "a\xc3\xa9\xf0\x9f\x8e\xb5", kCFStringEncodingUTF8, "aé🎵"},
      {"lone continuation", "\x80", kCFStringEncodingUTF8, nullptr},
      {"cut off", "a\xe2\x82", kCFStringEncodingUTF8, nullptr},
      {"overlong slash", "\xc0\xaf", kCFStringEncodingUTF8, nullptr},
      {"overlong three", "\xe0\x80\xaf", kCFStringEncodingUTF8, nullptr},
      {"surrogate", "\xed\xa0\x80", kCFStringEncodingUTF8, nullptr},
      {"above the end", "\xf4\x90\x80\x80", kCFStringEncodingUTF8, nullptr},
      {"ascii", "\xe9", kCFStringEncodingASCII, nullptr},
      {"latin 1", "\xe9", kCFStringEncodingISOLatin1, "é"},
      {"unknown encoding", "a", 0x0100, nullptr},
  };
  for (const auto& c : cases)
    EXPECT_EQ(taken(string_of(c.bytes, c.encoding)), c.expected ? c.expected : "(null)") << c.name;
}

TEST(CoreFoundation, AStringIsCopiedWholeOrNotAtAll) {
  const auto string = own(make("é🎵"));
  EXPECT_EQ(CFStringGetLength(string.get()), 3);
  char buffer[8];
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, 6, kCFStringEncodingUTF8));
  ASSERT_TRUE(CFStringGetCString(string.get(), buffer, 7, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "é🎵");
  EXPECT_FALSE(CFStringGetCString(string.get(), buffer, sizeof buffer, kCFStringEncodingASCII));
  // Bytes stop at a whole character; what the encoding lacks is replaced when allowed.
  const auto bytes = [&](CFStringEncoding encoding, UInt8 loss, CFIndex size) {
    CFIndex used = 0;
    const CFIndex count = CFStringGetBytes(string.get(), CFRangeMake(0, 3), encoding, loss, false,
                                           reinterpret_cast<UInt8*>(buffer), size, &used);
    return std::to_string(count) + ": " + std::string(buffer, static_cast<std::size_t>(used));
  };
  EXPECT_EQ(bytes(kCFStringEncodingUTF8, 0, 5), "1: é");
  EXPECT_EQ(bytes(kCFStringEncodingASCII, '?', 8), "3: ??");
}

TEST(CoreFoundation, FormatsKnowObjectsAndNoLocale) {
  const vesk::tests::CommaLocale locale;
  locale.enter();
  const CFStringRef name = CFSTR("é");
  const auto format = [](const char* pattern, auto... values) {
    return taken(CFStringCreateWithFormat(nullptr, nullptr, own(make(pattern)).get(), values...));
  };
  EXPECT_EQ(format("%u of %d%%", 3u, -4), "3 of -4%");
  EXPECT_EQ(format("%.2f %g %5.1e", 1.5, 0.1, 12345.0), "1.50 0.1 1.2e+04");
  EXPECT_EQ(format("%@=%ld", name, 1L << 40), "é=1099511627776");
  EXPECT_EQ(format("%@ %@", nullptr, kCFBooleanTrue), "(null) true");
  EXPECT_EQ(format("[%-4@|%3@|%*d|%.*s|%-*d]", name, name, 3, 7, 2, "abc", 2, 1),
            "[é   |  é|  7|ab|1 ]");
  EXPECT_EQ(format("%y %", 1), "%y %");
  EXPECT_EQ(format("%C%c", 0xe9, 'x'), "éx");
  EXPECT_EQ(format("%hhd %llu %zu %.3x", 300, ~0ull, std::size_t{5}, 10),
            "44 18446744073709551615 5 00a");
  vesk::tests::CommaLocale::leave();
}

TEST(CoreFoundation, TextsCompareAndChange) {
  EXPECT_EQ(CFStringCompare(CFSTR("a2"), CFSTR("a10"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ab"), CFSTR("abc"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ABC"), CFSTR("abc"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ABC"), CFSTR("abc"), kCFCompareCaseInsensitive),
            kCFCompareEqualTo);

  CFMutableStringRef changing = CFStringCreateMutableCopy(nullptr, 0, CFSTR("ac"));
  CFStringReplace(changing, CFRangeMake(1, 0), CFSTR("b"));
  CFStringAppend(changing, changing);
  CFStringAppendFormat(changing, nullptr, CFSTR("%d"), 7);
  CFStringReplace(changing, CFRangeMake(0, 1), CFSTR(""));
  CFStringReplace(changing, CFRangeMake(5, 9), CFSTR("x"));  // outside: nothing happens
  CFStringAppendCString(changing, "\xe9", kCFStringEncodingISOLatin1);
  EXPECT_EQ(text(changing), "bcabc7é");
  EXPECT_TRUE(CFEqual(changing, CFSTR("bcabc7é")));
  EXPECT_EQ(CFHash(changing), CFHash(CFSTR("bcabc7é")));
  CFStringRef copy = CFStringCreateCopy(nullptr, changing);
  CFStringAppend(changing, CFSTR("!"));
  EXPECT_EQ(taken(copy), "bcabc7é");
  CFRelease(changing);
  EXPECT_EQ(CFStringGetIntValue(CFSTR(" +12 apples")), 12);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-99999999999")), INT32_MIN);
  EXPECT_EQ(CFStringGetDoubleValue(CFSTR("1.25e2x")), 125);
}

TEST(CoreFoundation, DataGrowsShrinksAndTakesItsOwnBytes) {
  CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
  EXPECT_NE(CFDataGetBytePtr(data), nullptr);
  CFDataAppendBytes(data, reinterpret_cast<const UInt8*>("abcdef"), 6);
  for (int i = 0; i < 10; ++i) CFDataAppendBytes(data, CFDataGetBytePtr(data), 6);
  ASSERT_EQ(CFDataGetLength(data), 66);
  CFDataSetLength(data, 64);
  CFDataSetLength(data, 66);  // with zero bytes
  UInt8 end[6] = {};
  CFDataGetBytes(data, CFRangeMake(60, 6), end);
  CFDataGetBytes(data, CFRangeMake(62, 6), end);  // outside: nothing happens
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(end), 6), std::string("abcd\0\0", 6));

  CFDataRef copy = CFDataCreateCopy(nullptr, data);
  EXPECT_TRUE(CFEqual(data, copy));
  EXPECT_EQ(CFHash(data), CFHash(copy));
  CFDataGetMutableBytePtr(data)[0] = 'x';
  EXPECT_FALSE(CFEqual(data, copy));
  // Units read a state that they were handed through this call.
  auto fixed = const_cast<CFMutableDataRef>(copy);
  EXPECT_EQ(CFDataGetMutableBytePtr(fixed), CFDataGetBytePtr(copy));
  CFDataSetLength(fixed, 1);
  EXPECT_EQ(CFDataGetLength(copy), 66);
  CFRelease(data);
  CFRelease(copy);
}

TEST(CoreFoundation, NumbersKeepTheirValueAndSayWhenAConversionLosesIt) {
  const auto number = [](auto value, CFNumberType type) {
    return own(CFNumberCreate(nullptr, type, &value));
  };
  const auto large = number(SInt64{9007199254740993}, kCFNumberSInt64Type);
  const auto negative = number(SInt32{-1}, kCFNumberSInt32Type);
  const auto third = number(1.0f / 3, kCFNumberFloatType);
  const auto huge = number(1e300, kCFNumberDoubleType);
  const auto nan = number(std::nan(""), kCFNumberDoubleType);
  SInt32 i32;
  SInt64 i64;
  double f64;
  float f32;
  EXPECT_FALSE(CFNumberGetValue(large.get(), kCFNumberDoubleType, &f64));
  EXPECT_FALSE(CFNumberGetValue(large.get(), kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, 1);
  EXPECT_TRUE(CFNumberGetValue(negative.get(), kCFNumberLongLongType, &i64));
  EXPECT_EQ(i64, -1);
  EXPECT_TRUE(CFNumberGetValue(third.get(), kCFNumberFloat32Type, &f32));
  EXPECT_EQ(f32, 1.0f / 3);
  EXPECT_FALSE(CFNumberGetValue(huge.get(), kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  EXPECT_FALSE(CFNumberGetValue(nan.get(), kCFNumberSInt32Type, &i32));
  EXPECT_TRUE(CFNumberIsFloatType(third.get()));
  EXPECT_EQ(CFNumberGetType(negative.get()), kCFNumberSInt32Type);

  const auto minus_one = number(-1.0, kCFNumberDoubleType);
  EXPECT_TRUE(CFEqual(negative.get(), minus_one.get()));
  EXPECT_EQ(CFHash(negative.get()), CFHash(minus_one.get()));
  EXPECT_FALSE(CFEqual(large.get(), number(9007199254740992.0, kCFNumberDoubleType).get()));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, negative.get()));
}

int balance = 0;

TEST(CoreFoundation, ContainersUseTheCallersCallbacksInBalance) {
  // None: plain pointers, which are not touched.
  const AUPreset presets[] = {{0, CFSTR("Soft")}, {1, CFSTR("Loud")}};
  CFMutableArrayRef plain = CFArrayCreateMutable(nullptr, 2, nullptr);
  for (const AUPreset& preset : presets) CFArrayAppendValue(plain, &preset);
  const auto copied = own(CFArrayCreateCopy(nullptr, plain));
  CFRelease(plain);
  EXPECT_EQ(CFArrayGetValueAtIndex(copied.get(), 1), &presets[1]);
  for (const CFIndex outside : {2, -1})
    EXPECT_EQ(CFArrayGetValueAtIndex(copied.get(), outside), nullptr);

  const auto retain = [](CFAllocatorRef, const void* value) {
    ++balance;
    return value;
  };
  const auto release = [](CFAllocatorRef, const void*) { --balance; };
  const CFArrayCallBacks counting{0, retain, release, nullptr, nullptr};
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &counting);
  int values[3];
  for (int& value : values) CFArrayInsertValueAtIndex(array, 0, &value);
  CFArraySetValueAtIndex(array, 1, &values[0]);
  CFArrayRemoveValueAtIndex(array, 0);
  CFArrayRemoveValueAtIndex(array, 2);
  EXPECT_EQ(balance, 2);
  CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
  EXPECT_EQ(balance, 4);
  CFRelease(copy);
  CFRelease(array);
  EXPECT_EQ(balance, 0);

  const CFDictionaryValueCallBacks counted{0, retain, release, nullptr, nullptr};
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &counted);
  CFDictionarySetValue(dictionary, CFSTR("key"), &values[0]);
  CFDictionarySetValue(dictionary, CFSTR("key"), &values[1]);
  CFDictionaryAddValue(dictionary, CFSTR("key"), &values[2]);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), &values[1]);
  CFDictionaryAddValue(dictionary, CFSTR("gone"), &values[2]);
  CFDictionaryRemoveValue(dictionary, CFSTR("gone"));
  CFDictionaryRemoveValue(dictionary, CFSTR("gone"));
  EXPECT_EQ(balance, 1);
  CFDictionaryRef fixed = CFDictionaryCreateCopy(nullptr, dictionary);
  EXPECT_EQ(balance, 2);
  CFRelease(fixed);
  CFRelease(dictionary);
  EXPECT_EQ(balance, 0);
}

TEST(CoreFoundation, AWrongTypeGivesTheEmptyAnswer) {
  const CFTypeRef number = kCFBooleanTrue;
  EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(number)), 0);
  EXPECT_EQ(CFDataGetLength(static_cast<CFDataRef>(number)), 0);
  EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(number)), 0);
  EXPECT_EQ(CFDictionaryGetValue(static_cast<CFDictionaryRef>(number), CFSTR("x")), nullptr);
  EXPECT_EQ(CFURLGetString(static_cast<CFURLRef>(number)), nullptr);
  SInt32 value;
  EXPECT_FALSE(
      CFNumberGetValue(reinterpret_cast<CFNumberRef>(CFSTR("7")), kCFNumberSInt32Type, &value));
}

}  // namespace
