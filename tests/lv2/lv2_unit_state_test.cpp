// What a unit around an LV2 plugin saves, and what comes back: in this process, in the next one,
// and from files that somebody damaged.

#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "components/lv2/unit/cf_object.hpp"
#include "tests/lv2/lv2_unit.hpp"

using namespace vesk::tests;
using vesk::lv2::CfObject;

namespace {

constexpr const char* piano_uri = "http://drobilla.net/plugins/mda/EPiano";
constexpr const char* state_uri = "urn:vesk:test:state";

CfObject<CFPropertyListRef> read_list(const std::vector<UInt8>& bytes) {
  const CfObject<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  return CfObject<CFPropertyListRef>(CFPropertyListCreateWithData(
      kCFAllocatorDefault, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr));
}

OSStatus restore(Lv2Unit& unit, const std::vector<UInt8>& bytes) {
  const CfObject<CFPropertyListRef> list = read_list(bytes);
  if (list.get() == nullptr) return -1;
  return unit.set_property(kAudioUnitProperty_ClassInfo, list.get());
}

float factor_of(Lv2Unit& unit) {
  unit.input[0].assign(period_frames, 1.0f);
  EXPECT_EQ(unit.render(), noErr);
  return unit.output[0][period_frames - 1];
}

TEST(Lv2UnitState, ControlsAndThePluginsOwnStateComeBack) {
  std::vector<UInt8> bytes;
  {
    Lv2Unit unit(state_uri);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(factor_of(unit), 1.0f);
    ASSERT_EQ(unit.set("next", 2.71828174591064453125f), noErr);
    ASSERT_EQ(unit.render(), noErr);
    bytes = unit.saved();
    ASSERT_FALSE(bytes.empty());
  }
  for (const bool initialized_before : {false, true}) {
    Lv2Unit unit(state_uri);
    if (initialized_before) {
      ASSERT_TRUE(unit.initialize());
      EXPECT_EQ(factor_of(unit), 1.0f);
    }
    ASSERT_EQ(restore(unit, bytes), noErr);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(factor_of(unit), 2.71828174591064453125f);
    EXPECT_EQ(unit.get("next"), 2.71828174591064453125f);
    EXPECT_EQ(unit.saved(), bytes) << "saving again gives the same file";
  }
}

void check_in_this_process(const char* path) {
  FILE* file = std::fopen(path, "rb");
  ASSERT_NE(file, nullptr);
  std::vector<UInt8> bytes(1u << 20);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  std::fclose(file);
  // Maps other URIs first, so that numbers of the first process would be wrong ones here.
  Lv2Unit piano(piano_uri);
  ASSERT_TRUE(piano.initialize());
  Lv2Unit unit(state_uri);
  ASSERT_EQ(restore(unit, bytes), noErr);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(factor_of(unit), 5.5f);
}

TEST(Lv2UnitState, ComesBackInAnotherProcess) {
  // The program starts itself for this one test, with the file's path.
  constexpr const char* variable = "VESK_TEST_PRESET";
  if (const char* given = std::getenv(variable)) {
    check_in_this_process(given);
    return;
  }
  Lv2Unit unit(state_uri);
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(unit.set("next", 5.5f), noErr);
  ASSERT_EQ(unit.render(), noErr);
  const std::vector<UInt8> bytes = unit.saved();
  const std::string path = testing::TempDir() + "vesk-lv2-state.aupreset";
  FILE* file = std::fopen(path.c_str(), "wb");
  ASSERT_NE(file, nullptr);
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fclose(file);
  char program[4096] = {};
  ASSERT_GT(readlink("/proc/self/exe", program, sizeof program - 1), 0);
  const std::string command = std::string(variable) + "='" + path + "' '" + program +
                              "' --gtest_filter=Lv2UnitState.ComesBackInAnotherProcess >/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::remove(path.c_str());
}

TEST(Lv2UnitState, SurvivesUninitializing) {
  Lv2Unit unit(state_uri);
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(unit.set("next", 3.0f), noErr);
  ASSERT_EQ(unit.render(), noErr);
  ASSERT_EQ(AudioUnitUninitialize(unit.unit()), noErr);
  ASSERT_FALSE(unit.saved().empty());
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(factor_of(unit), 3.0f);
}

TEST(Lv2UnitState, WhatIsDamagedIsRefusedAndChangesNothing) {
  Lv2Unit unit(state_uri);
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(unit.set("next", 4.0f), noErr);
  ASSERT_EQ(unit.render(), noErr);
  const std::vector<UInt8> good = unit.saved();
  ASSERT_EQ(restore(unit, good), noErr);
  EXPECT_EQ(factor_of(unit), 4.0f);

  using Damage = void (*)(CFMutableDictionaryRef);
  const struct {
    const char* name;
    Damage damage;
  } cases[] = {
      {"no version", [](auto list) { CFDictionaryRemoveValue(list, CFSTR("version")); }},
      {"foreign maker",
       [](auto list) { CFDictionarySetValue(list, CFSTR("manufacturer"), CFSTR("x")); }},
      {"foreign plugin",
       [](auto list) { CFDictionarySetValue(list, CFSTR("lv2-uri"), CFSTR("urn:other")); }},
      {"a property that is a word",
       [](auto list) {
         auto state = static_cast<CFArrayRef>(CFDictionaryGetValue(list, CFSTR("lv2-state")));
         CfObject<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, state));
         CFArrayAppendValue(copy.get(), CFSTR("word"));
         CFDictionarySetValue(list, CFSTR("lv2-state"), copy.get());
       }},
      {"a property that the plugin misses",
       [](auto list) {
         auto state = static_cast<CFArrayRef>(CFDictionaryGetValue(list, CFSTR("lv2-state")));
         CfObject<CFMutableArrayRef> copy(CFArrayCreateMutableCopy(kCFAllocatorDefault, 0, state));
         CFArrayRemoveValueAtIndex(copy.get(), 1);
         CFDictionarySetValue(list, CFSTR("lv2-state"), copy.get());
       }},
  };
  for (const auto& c : cases) {
    const CfObject<CFPropertyListRef> list = read_list(good);
    const CfObject<CFMutableDictionaryRef> damaged(CFDictionaryCreateMutableCopy(
        kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(list.get())));
    c.damage(damaged.get());
    const CFPropertyListRef value = damaged.get();
    EXPECT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo, value),
              kAudioUnitErr_InvalidPropertyValue)
        << c.name;
    EXPECT_EQ(factor_of(unit), 4.0f) << c.name;
  }
  const CFPropertyListRef no_dictionary = CFSTR("text");
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo, no_dictionary),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST(Lv2UnitState, ControlsAreReadByNumberWhereTheirSymbolsAreMissing) {
  Lv2Unit unit(piano_uri);
  ASSERT_EQ(unit.set("hardness", 0.75f), noErr);
  const CfObject<CFPropertyListRef> list = read_list(unit.saved());
  const CfObject<CFMutableDictionaryRef> plain(CFDictionaryCreateMutableCopy(
      kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(list.get())));
  CFDictionaryRemoveValue(plain.get(), CFSTR("lv2-controls"));
  Lv2Unit other(piano_uri);
  const CFPropertyListRef value = plain.get();
  ASSERT_EQ(other.set_property(kAudioUnitProperty_ClassInfo, value), noErr);
  EXPECT_EQ(other.get("hardness"), 0.75f);
}

TEST(Lv2UnitPresets, AreListedAndLoaded) {
  Lv2Unit unit(piano_uri);
  ASSERT_EQ(unit.set("env_decay", 0.125f), noErr);
  const CfObject<CFArrayRef> presets(unit.property<CFArrayRef>(kAudioUnitProperty_FactoryPresets));
  ASSERT_EQ(CFArrayGetCount(presets.get()), 5);
  ASSERT_TRUE(unit.initialize());
  const auto* preset = static_cast<const AUPreset*>(CFArrayGetValueAtIndex(presets.get(), 3));
  EXPECT_EQ(preset->presetNumber, 3);
  ASSERT_EQ(unit.set_property(kAudioUnitProperty_PresentPreset, *preset), noErr);
  EXPECT_NE(unit.get("env_decay"), 0.125f) << "a preset's values win over those set before";
  const auto present = unit.property<AUPreset>(kAudioUnitProperty_PresentPreset);
  EXPECT_EQ(present.presetNumber, 3);
  EXPECT_EQ(CFStringCompare(present.presetName, preset->presetName, 0), kCFCompareEqualTo);
  CFRelease(present.presetName);
  for (const SInt32 number : {77, -1}) {
    const AUPreset none{number, CFSTR("Mine")};
    EXPECT_EQ(unit.set_property(kAudioUnitProperty_PresentPreset, none),
              kAudioUnitErr_InvalidPropertyValue)
        << number;
  }
}

}  // namespace
