#include <AudioToolbox/AudioUnitProperties.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cmath>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/text_of.hpp"
#include "tests/support/cf_text.hpp"
#include "tests/support/comma_locale.hpp"

using vesk::tests::make;
using vesk::tests::taken;
using vesk::tests::text;

namespace {

// Literals serve in tables at namespace scope.
const CFStringRef literals[] = {CFSTR("first"), CFSTR("Größe🎵"), CFSTR("a\0b"), CFSTR("")};

TEST(CoreFoundation, LiteralsAreStringsThatIgnoreRelease) {
  const std::string texts[] = {"first", "Größe🎵", {"a\0b", 3}, ""};
  for (std::size_t i = 0; i < std::size(texts); ++i) {
    for (int k = 0; k < 3; ++k) CFRelease(literals[i]);
    EXPECT_EQ(vesk::platform::text_of(literals[i]), texts[i]);
    EXPECT_EQ(CFGetTypeID(literals[i]), CFStringGetTypeID());
    CFStringRef same = CFStringCreateWithBytes(
        nullptr, reinterpret_cast<const UInt8*>(texts[i].data()),
        static_cast<CFIndex>(texts[i].size()), kCFStringEncodingUTF8, false);
    EXPECT_TRUE(CFEqual(literals[i], same) && CFEqual(same, literals[i])) << texts[i];
    EXPECT_EQ(CFHash(literals[i]), CFHash(same)) << texts[i];
    CFRelease(same);
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
      {"empty", "", kCFStringEncodingUTF8, ""},
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
  for (const auto& c : cases) {
    CFStringRef string =
        CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(c.bytes.data()),
                                static_cast<CFIndex>(c.bytes.size()), c.encoding, false);
    EXPECT_EQ(taken(string), c.expected ? c.expected : "(null)") << c.name;
  }
}

TEST(CoreFoundation, AStringIsCopiedWholeOrNotAtAll) {
  CFStringRef string = make("é🎵");
  EXPECT_EQ(CFStringGetLength(string), 3);
  char buffer[8];
  EXPECT_FALSE(CFStringGetCString(string, buffer, 6, kCFStringEncodingUTF8));
  ASSERT_TRUE(CFStringGetCString(string, buffer, 7, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "é🎵");
  EXPECT_FALSE(CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingASCII));
  CFIndex used;
  // Bytes stop at a whole character; what the encoding lacks is replaced when allowed.
  EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, 3), kCFStringEncodingUTF8, 0, false,
                             reinterpret_cast<UInt8*>(buffer), 5, &used),
            1);
  EXPECT_EQ(used, 2);
  EXPECT_EQ(CFStringGetBytes(string, CFRangeMake(0, 3), kCFStringEncodingASCII, '?', false,
                             reinterpret_cast<UInt8*>(buffer), 8, &used),
            3);
  EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(used)), "??");
  CFRelease(string);
}

TEST(CoreFoundation, FormatsKnowObjectsAndNoLocale) {
  const vesk::tests::CommaLocale locale;
  locale.enter();
  CFStringRef name = make("é");
  const auto format = [](const char* pattern, auto... values) {
    CFStringRef string = make(pattern);
    std::string result = taken(CFStringCreateWithFormat(nullptr, nullptr, string, values...));
    CFRelease(string);
    return result;
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
  CFRelease(name);
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
    return CFNumberCreate(nullptr, type, &value);
  };
  CFNumberRef large = number(SInt64{9007199254740993}, kCFNumberSInt64Type);
  CFNumberRef negative = number(SInt32{-1}, kCFNumberSInt32Type);
  CFNumberRef third = number(1.0f / 3, kCFNumberFloatType);
  CFNumberRef huge = number(1e300, kCFNumberDoubleType);
  SInt32 i32;
  SInt64 i64;
  double f64;
  float f32;
  EXPECT_FALSE(CFNumberGetValue(large, kCFNumberDoubleType, &f64));
  EXPECT_FALSE(CFNumberGetValue(large, kCFNumberSInt32Type, &i32));
  EXPECT_EQ(i32, 1);
  EXPECT_TRUE(CFNumberGetValue(negative, kCFNumberLongLongType, &i64));
  EXPECT_EQ(i64, -1);
  EXPECT_TRUE(CFNumberGetValue(third, kCFNumberFloat32Type, &f32));
  EXPECT_EQ(f32, 1.0f / 3);
  EXPECT_FALSE(CFNumberGetValue(huge, kCFNumberSInt64Type, &i64));
  EXPECT_EQ(i64, INT64_MAX);
  CFNumberRef nan = number(std::nan(""), kCFNumberDoubleType);
  EXPECT_FALSE(CFNumberGetValue(nan, kCFNumberSInt32Type, &i32));
  EXPECT_TRUE(CFNumberIsFloatType(third));
  EXPECT_EQ(CFNumberGetType(negative), kCFNumberSInt32Type);

  CFNumberRef minus_one = number(-1.0, kCFNumberDoubleType);
  EXPECT_TRUE(CFEqual(negative, minus_one));
  EXPECT_EQ(CFHash(negative), CFHash(minus_one));
  CFNumberRef rounded = number(9007199254740992.0, kCFNumberDoubleType);
  EXPECT_FALSE(CFEqual(large, rounded));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, negative));
  for (CFNumberRef made : {large, negative, third, huge, nan, minus_one, rounded}) CFRelease(made);
}

TEST(CoreFoundation, ArraysHoldPlainPointersWithoutTouchingThem) {
  const AUPreset presets[] = {{0, CFSTR("Soft")}, {1, CFSTR("Loud")}};
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 2, nullptr);
  for (const AUPreset& preset : presets) CFArrayAppendValue(array, &preset);
  CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
  CFRelease(array);
  EXPECT_EQ(CFArrayGetValueAtIndex(copy, 1), &presets[1]);
  EXPECT_EQ(CFArrayGetValueAtIndex(copy, 2), nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(copy, -1), nullptr);
  CFRelease(copy);
}

int balance = 0;

TEST(CoreFoundation, ContainersUseTheCallersCallbacksInBalance) {
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

TEST(CoreFoundation, DictionariesAgreeWithAMapOverManyChanges) {
  std::mt19937 random(7);
  std::map<std::string, const void*> expected;
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, nullptr);
  for (int i = 0; i < 20000; ++i) {
    const std::string name = std::to_string(random() % 300);
    CFStringRef key = make(name.c_str());
    if (random() % 2) {
      const void* value = reinterpret_cast<const void*>(std::uintptr_t{random()});
      expected[name] = value;
      CFDictionarySetValue(dictionary, key, value);
    } else {
      expected.erase(name);
      CFDictionaryRemoveValue(dictionary, key);
    }
    CFRelease(key);
    ASSERT_EQ(CFDictionaryGetCount(dictionary), static_cast<CFIndex>(expected.size()));
  }
  for (int i = 0; i < 300; ++i) {
    const std::string name = std::to_string(i);
    CFStringRef key = make(name.c_str());
    const auto found = expected.find(name);
    EXPECT_EQ(CFDictionaryContainsKey(dictionary, key), found != expected.end());
    EXPECT_EQ(CFDictionaryGetValue(dictionary, key),
              found == expected.end() ? nullptr : found->second);
    CFRelease(key);
  }
  CFRelease(dictionary);
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

// A stand-in for an Objective-C runtime: class pointers, and objects that are not the layer's.
int string_class, mutable_string_class, foreign_class;
struct ForeignString {
  const void* isa = &foreign_class;
  int references = 1;
  std::u16string characters;
};
ForeignString& as_foreign(const void* object) {
  return *static_cast<ForeignString*>(const_cast<void*>(object));
}

const void* isa_of(CFTypeRef object) {
  return *static_cast<const void* const*>(object);
}

TEST(CoreFoundation, ObjectsJoinALateRuntimeAndForeignOnesAreForwarded) {
  CFStringRef before = make("made before");
  EXPECT_EQ(isa_of(before), nullptr);
  static CFForeignObjects table{};
  table.type_id = [](CFTypeRef) { return CFStringGetTypeID(); };
  table.retain = [](CFTypeRef object) {
    ++as_foreign(object).references;
    return object;
  };
  table.release = [](CFTypeRef object) { --as_foreign(object).references; };
  table.string_length = [](CFStringRef string) {
    return static_cast<CFIndex>(as_foreign(string).characters.size());
  };
  table.string_get_characters = [](CFStringRef string, CFRange range, UniChar* units) {
    for (CFIndex i = 0; i < range.length; ++i)
      units[i] = as_foreign(string).characters[static_cast<std::size_t>(range.location + i)];
  };
  table.string_replace = [](CFMutableStringRef string, CFRange range, const UniChar* units,
                            CFIndex count) {
    as_foreign(string).characters.replace(
        static_cast<std::size_t>(range.location), static_cast<std::size_t>(range.length),
        reinterpret_cast<const char16_t*>(units), static_cast<std::size_t>(count));
  };
  const CFObjectClasses classes[] = {{CFStringGetTypeID(), &string_class, &mutable_string_class}};
  vesk_cf_join_objective_c(&table, classes, 1);

  EXPECT_EQ(isa_of(before), &string_class);
  // The class of literals lies where they say it does, in the program.
  EXPECT_EQ(isa_of(CFSTR("a literal")), __CFConstantStringClassReference);
  EXPECT_EQ(CFStringGetLength(CFSTR("a literal")), 9);
  CFMutableStringRef after = CFStringCreateMutable(nullptr, 0);
  EXPECT_EQ(isa_of(after), &mutable_string_class);
  EXPECT_EQ(isa_of(kCFBooleanTrue), nullptr);

  ForeignString foreign{.characters = u"made before"};
  const CFStringRef other = reinterpret_cast<CFStringRef>(&foreign);
  EXPECT_TRUE(CFEqual(before, other));
  EXPECT_TRUE(CFEqual(other, before));
  EXPECT_EQ(CFHash(before), CFHash(other));
  CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
      nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFDictionarySetValue(dictionary, other, other);
  EXPECT_EQ(foreign.references, 3);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, before), other);
  CFRelease(dictionary);
  EXPECT_EQ(foreign.references, 1);
  CFStringAppend(reinterpret_cast<CFMutableStringRef>(&foreign), CFSTR("!"));
  EXPECT_EQ(text(other), "made before!");
  CFRelease(after);
  CFRelease(before);
}

}  // namespace
