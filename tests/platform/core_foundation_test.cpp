#include <AudioToolbox/AudioUnitProperties.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/core_foundation/object.hpp"
#include "tests/support/cf_text.hpp"
#include "tests/support/comma_locale.hpp"

using vesk::tests::make;
using vesk::tests::taken;
using vesk::tests::text;

namespace {

// Literals serve in tables at namespace scope of C++ sources.
const CFStringRef literals[] = {CFSTR("first"), CFSTR("second"), CFSTR("first")};

TEST(CoreFoundation, LiteralsAreOneObjectAndIgnoreRelease) {
  EXPECT_EQ(literals[0], literals[2]);
  EXPECT_NE(literals[0], literals[1]);
  for (int i = 0; i < 3; ++i) CFRelease(literals[0]);
  EXPECT_EQ(text(literals[0]), "first");
  EXPECT_EQ(text(CFSTR("Größe")), "Größe");
  CFRelease(kCFBooleanTrue);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
}

TEST(CoreFoundation, LiteralsAndCountsAreSafeBetweenThreads) {
  CFStringRef shared = make("shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([shared] {
      for (int i = 0; i < 2000; ++i) {
        CFRetain(shared);
        CFHash(shared);
        EXPECT_EQ(CFSTR("made by threads"), CFSTR("made by threads"));
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
      {"utf16 big", std::string("\0a\xd8\x3c\xdf\xb5", 6), kCFStringEncodingUTF16BE, "a🎵"},
      {"utf16 mark", std::string("\xfe\xff\0a", 4), kCFStringEncodingUTF16, "a"},
      {"utf16 odd", "abc", kCFStringEncodingUTF16LE, nullptr},
      {"utf32 little", std::string("\xb5\xf3\x01\0", 4), kCFStringEncodingUTF32LE, "🎵"},
      {"utf32 surrogate", std::string("\0\xd8\0\0", 4), kCFStringEncodingUTF32LE, nullptr},
      {"unknown encoding", "a", 0x12345, nullptr},
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

TEST(CoreFoundation, FormatsKnowObjectsPositionsAndNoLocale) {
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
  EXPECT_EQ(format("%2$s %1$@", name, "before"), "before é");
  EXPECT_EQ(format("%@ %@", nullptr, kCFBooleanTrue), "(null) true");
  EXPECT_EQ(format("[%-4@|%3@|%*d|%.*s]", name, name, 3, 7, 2, "abc"), "[é   |  é|  7|ab]");
  EXPECT_EQ(format("%y %", 1), "%y %");
  EXPECT_EQ(format("%C%c", 0xe9, 'x'), "éx");
  EXPECT_EQ(format("%hhd %llu %zu", 300, ~0ull, std::size_t{5}), "44 18446744073709551615 5");
  CFRelease(name);
  vesk::tests::CommaLocale::leave();
}

TEST(CoreFoundation, TextsCompareSearchAndChange) {
  EXPECT_EQ(CFStringCompare(CFSTR("a2"), CFSTR("a10"), CFStringCompareFlags{}),
            kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("a2"), CFSTR("a10"), kCFCompareNumerically), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ABC"), CFSTR("abc"), kCFCompareCaseInsensitive),
            kCFCompareEqualTo);
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("x.aupreset"), CFSTR(".aupreset")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("x"), CFSTR("xx")));
  EXPECT_EQ(CFStringFind(CFSTR("abcabc"), CFSTR("bc"), kCFCompareBackwards).location, 4);
  EXPECT_EQ(CFStringFind(CFSTR("abc"), CFSTR("d"), CFStringCompareFlags{}).location, kCFNotFound);

  CFMutableStringRef changing = CFStringCreateMutableCopy(nullptr, 0, CFSTR("ac"));
  CFStringInsert(changing, 1, CFSTR("b"));
  CFStringAppend(changing, changing);
  CFStringAppendFormat(changing, nullptr, CFSTR("%d"), 7);
  CFStringDelete(changing, CFRangeMake(0, 1));
  CFStringDelete(changing, CFRangeMake(5, 9));  // outside: nothing happens
  EXPECT_EQ(text(changing), "bcabc7");
  EXPECT_TRUE(CFEqual(changing, CFSTR("bcabc7")));
  EXPECT_EQ(CFHash(changing), CFHash(CFSTR("bcabc7")));
  CFStringRef copy = CFStringCreateCopy(nullptr, changing);
  CFStringAppend(changing, CFSTR("!"));
  EXPECT_EQ(taken(copy), "bcabc7");
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
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)) + 60, 6), "abcdef");
  CFDataReplaceBytes(data, CFRangeMake(1, 64), nullptr, 0);
  CFDataIncreaseLength(data, 1);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), 3),
            std::string("af\0", 3));
  CFDataReplaceBytes(data, CFRangeMake(2, 5), nullptr, 0);  // outside: nothing happens
  EXPECT_EQ(CFDataGetLength(data), 3);
  CFRelease(data);

  static const UInt8 borrowed[] = {1, 2, 3};
  CFDataRef view = CFDataCreateWithBytesNoCopy(nullptr, borrowed, 3, kCFAllocatorNull);
  EXPECT_EQ(CFDataGetBytePtr(view), borrowed);
  CFDataRef copy = CFDataCreateCopy(nullptr, view);
  EXPECT_NE(CFDataGetBytePtr(copy), borrowed);
  EXPECT_TRUE(CFEqual(view, copy));
  CFRelease(view);
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
  EXPECT_FALSE(CFNumberGetValue(kCFNumberNaN, kCFNumberSInt32Type, &i32));
  EXPECT_TRUE(CFNumberIsFloatType(third));
  EXPECT_EQ(CFNumberGetType(negative), kCFNumberSInt32Type);

  CFNumberRef minus_one = number(-1.0, kCFNumberDoubleType);
  EXPECT_TRUE(CFEqual(negative, minus_one));
  EXPECT_EQ(CFHash(negative), CFHash(minus_one));
  CFNumberRef rounded = number(9007199254740992.0, kCFNumberDoubleType);
  EXPECT_FALSE(CFEqual(large, rounded));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, negative));
  for (CFNumberRef made : {large, negative, third, huge, minus_one, rounded}) CFRelease(made);
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
  CFArrayRemoveValueAtIndex(array, 5);
  EXPECT_EQ(balance, 2);
  CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
  EXPECT_EQ(balance, 4);
  CFRelease(copy);
  CFRelease(array);
  EXPECT_EQ(balance, 0);

  const CFDictionaryValueCallBacks counted{0, retain, release, nullptr, nullptr};
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &counted);
  CFMutableStringRef key = CFStringCreateMutableCopy(nullptr, 0, CFSTR("key"));
  CFDictionarySetValue(dictionary, key, &values[0]);
  CFStringAppend(key, CFSTR("s"));  // the dictionary has a copy
  CFDictionarySetValue(dictionary, CFSTR("key"), &values[1]);
  CFDictionaryAddValue(dictionary, CFSTR("key"), &values[2]);
  CFDictionaryReplaceValue(dictionary, CFSTR("absent"), &values[2]);
  EXPECT_EQ(CFDictionaryGetValue(dictionary, CFSTR("key")), &values[1]);
  EXPECT_EQ(balance, 1);
  CFRelease(key);
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
  const CFTypeRef number = kCFNumberNaN;
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
  EXPECT_EQ(isa_of(CFSTR("literal made after")), &string_class);
  EXPECT_EQ(isa_of(kCFRunLoopDefaultMode), &string_class);
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
