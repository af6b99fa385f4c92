// Objects that are made in a process without Objective-C, used by views once there is one.

#include <CoreFoundation/CoreFoundation.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/support/bridge_checks.h"
#include "tests/support/display.hpp"
#include "windows/windows.hpp"

namespace {

BridgeObjects make_objects() {
  BridgeObjects made{};
  made.string = CFStringCreateWithCString(nullptr, "Grüße", kCFStringEncodingUTF8);
  made.text = CFStringCreateMutable(nullptr, 0);
  CFStringAppend(made.text, CFSTR("ab"));
  const UInt8 bytes[] = {1, 2, 3};
  made.data = CFDataCreate(nullptr, bytes, 3);
  const SInt32 integer = 42;
  made.integer = CFNumberCreate(nullptr, kCFNumberSInt32Type, &integer);
  const Float64 real = 0.5;
  made.real = CFNumberCreate(nullptr, kCFNumberFloat64Type, &real);
  made.yes = kCFBooleanTrue;
  made.date = CFDateCreate(nullptr, 1000);
  const void* values[] = {made.string, made.integer};
  made.array = CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks);
  made.dictionary =
      CFDictionaryCreate(nullptr, &values[0], &values[1], 1, &kCFTypeDictionaryKeyCallBacks,
                         &kCFTypeDictionaryValueCallBacks);
  made.changed = CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                           &kCFTypeDictionaryValueCallBacks);
  const char path[] = "/tmp/a b";
  made.url = CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(path),
                                                     sizeof path - 1, false);
  CFDataRef nothing = CFDataCreate(nullptr, nullptr, 0);
  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nothing, 0, nullptr, &made.error), nullptr);
  CFRelease(nothing);
  return made;
}

TEST(Bridge, ObjectsServeOnBothSidesWhicheverMadeThem) {
  const BridgeObjects made = make_objects();
  vesk::tests::VirtualDisplay display;
  vesk::host::Windows windows([](unsigned) {});
  // There is no unit to show, but from here on there is Objective-C.
  EXPECT_FALSE(windows.open(0, nullptr, "Nothing"));

  void* module = dlopen(VESK_BRIDGE_CHECKS_MODULE, RTLD_NOW | RTLD_NODELETE);
  ASSERT_TRUE(module) << dlerror();
  const auto checks = reinterpret_cast<BridgeChecks>(dlsym(module, VESK_BRIDGE_CHECKS));
  ASSERT_TRUE(checks);
  int count = 0;
  const auto check = [](bool holds, const char* what, void* context) {
    ++*static_cast<int*>(context);
    EXPECT_TRUE(holds) << what;
  };
  const CFDictionaryRef kept = checks(&made, check, &count);
  EXPECT_GT(count, 50);

  // `kept`, `array`, `dictionary` and twice `changed` hold the string; nothing lost it or leaked
  // it.
  EXPECT_EQ(CFGetRetainCount(made.string), 6);
  CFRelease(kept);
  const CFTypeRef own[] = {made.changed, made.dictionary, made.array, made.text, made.data,
                           made.integer, made.real,       made.date,  made.url,  made.error};
  for (const CFTypeRef object : own) CFRelease(object);
  EXPECT_EQ(CFGetRetainCount(made.string), 1);
  CFRelease(made.string);
}

}  // namespace
