// What a unit around an LV2 plugin saves, and what comes back: in this process, in the next one,
// and from files that somebody damaged.

#include <CoreFoundation/CoreFoundation.h>

#include <fstream>

#include "components/unit_support/cf_object.hpp"
#include "tests/lv2/lv2_unit.hpp"
#include "tests/support/child_process.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::tests;
using vesk::CfObject;

namespace {

constexpr const char* piano_uri = "http://drobilla.net/plugins/mda/EPiano";
constexpr const char* effect_uri = "urn:vesk:test:effect";

CfObject<CFMutableDictionaryRef> read(const Bytes& bytes) {
  const CfObject<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  return CfObject<CFMutableDictionaryRef>(
      static_cast<CFMutableDictionaryRef>(const_cast<void*>(CFPropertyListCreateWithData(
          kCFAllocatorDefault, data.get(), kCFPropertyListMutableContainers, nullptr, nullptr))));
}

OSStatus restore(Lv2Unit& unit, const CfObject<CFMutableDictionaryRef>& list) {
  return unit.set_property(kAudioUnitProperty_ClassInfo, list.get());
}

float factor_of(Lv2Unit& unit) {
  unit.input[0].assign(period_frames, 1.0f);
  EXPECT_EQ(unit.render(), noErr);
  return unit.output[0][period_frames - 1];
}

/// What a new effect saves that is to come back with `factor`.
Bytes saved_with(float factor) {
  Lv2Unit unit(effect_uri);
  EXPECT_TRUE(unit.initialize());
  EXPECT_EQ(factor_of(unit), 1.0f);
  EXPECT_EQ(unit.set("next", factor), noErr);
  EXPECT_EQ(unit.render(), noErr);
  return unit.saved();
}

// Stands first: here nothing is known of any URI yet.
TEST(Lv2UnitState, ComesBackInAnotherProcess) {
  const ScratchFolder folder;
  const std::string path = folder / "effect.aupreset";
  const ChildEnd end = run_in_child([&] {
    const Bytes bytes = saved_with(5.5f);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return 0;
  });
  EXPECT_TRUE(end.exited_with(0)) << end.standard_error;
  // Maps other URIs first, so that numbers of the other process would be wrong ones here.
  Lv2Unit scope("http://lv2plug.in/plugins/eg-scope#Stereo");
  ASSERT_TRUE(scope.initialize());
  Lv2Unit unit(effect_uri);
  ASSERT_EQ(restore(unit, read(file_bytes(path))), noErr);
  ASSERT_TRUE(unit.initialize());
  EXPECT_EQ(factor_of(unit), 5.5f);
}

TEST(Lv2UnitState, ControlsAndThePluginsOwnStateComeBack) {
  const float factor = 2.71828174591064453125f;
  const Bytes bytes = saved_with(factor);
  for (const bool initialized_before : {false, true}) {
    Lv2Unit unit(effect_uri);
    if (initialized_before) {
      ASSERT_TRUE(unit.initialize());
      EXPECT_EQ(factor_of(unit), 1.0f);
    }
    ASSERT_EQ(restore(unit, read(bytes)), noErr);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(factor_of(unit), factor);
    EXPECT_EQ(unit.get("next"), factor);
    EXPECT_EQ(unit.saved(), bytes) << "saving again gives the same file";
    ASSERT_EQ(AudioUnitUninitialize(unit.unit()), noErr);
    EXPECT_EQ(unit.saved(), bytes);
    ASSERT_TRUE(unit.initialize());
    EXPECT_EQ(factor_of(unit), factor) << "it survives";
  }
}

TEST(Lv2UnitState, WhatIsDamagedIsRefusedAndChangesNothing) {
  const Bytes good = saved_with(4.0f);
  Lv2Unit unit(effect_uri);
  ASSERT_TRUE(unit.initialize());
  ASSERT_EQ(restore(unit, read(good)), noErr);
  EXPECT_EQ(factor_of(unit), 4.0f);

  const auto properties = [](CFMutableDictionaryRef list) {
    return static_cast<CFMutableArrayRef>(
        const_cast<void*>(CFDictionaryGetValue(list, CFSTR("lv2-state"))));
  };
  const struct {
    const char* name;
    std::function<void(CFMutableDictionaryRef)> damage;
  } cases[] = {
      {"no version", [](auto list) { CFDictionaryRemoveValue(list, CFSTR("version")); }},
      {"foreign maker",
       [](auto list) { CFDictionarySetValue(list, CFSTR("manufacturer"), CFSTR("x")); }},
      {"foreign plugin",
       [](auto list) { CFDictionarySetValue(list, CFSTR("lv2-uri"), CFSTR("urn:other")); }},
      {"a property that is a word",
       [&](auto list) { CFArrayAppendValue(properties(list), CFSTR("word")); }},
      {"a property that the plugin misses",
       [&](auto list) { CFArrayRemoveValueAtIndex(properties(list), 1); }},
  };
  for (const auto& c : cases) {
    const auto list = read(good);
    c.damage(list.get());
    EXPECT_EQ(restore(unit, list), kAudioUnitErr_InvalidPropertyValue) << c.name;
    EXPECT_EQ(factor_of(unit), 4.0f) << c.name;
  }
  const CFPropertyListRef no_dictionary = CFSTR("text");
  EXPECT_EQ(unit.set_property(kAudioUnitProperty_ClassInfo, no_dictionary),
            kAudioUnitErr_InvalidPropertyValue);
}

TEST(Lv2UnitState, ControlsAreReadByNumberWhereTheirSymbolsAreMissing) {
  Lv2Unit unit(piano_uri), other(piano_uri);
  ASSERT_EQ(unit.set("hardness", 0.75f), noErr);
  const auto plain = read(unit.saved());
  CFDictionaryRemoveValue(plain.get(), CFSTR("lv2-controls"));
  ASSERT_EQ(restore(other, plain), noErr);
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
