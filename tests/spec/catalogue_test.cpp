#include "spec/catalogue.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace vesk {
namespace {

AudioComponentPlugInInterface* no_unit(const AudioComponentDescription*) {
  return nullptr;
}

void register_component(const char* type, const char* subtype, UInt32 flags, const char* name) {
  AudioComponentDescription description{};
  description.componentType = pack_four_cc(type);
  description.componentSubType = pack_four_cc(subtype);
  description.componentManufacturer = pack_four_cc("Cata");
  description.componentFlags = flags;
  CFStringRef text = CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8);
  AudioComponentRegister(&description, text, 1, no_unit);
  CFRelease(text);
}

TEST(Catalogue, ListsInstrumentsWithNamesAndFlags) {
  // What is installed here is nobody's business.
  for (const char* name : {"AUDIO_COMPONENT_PATH", "HOME", "LV2_PATH", "XDG_CACHE_HOME"})
    setenv(name, "/nowhere", 1);
  const std::string fits(511, 'n');
  register_component("aumu", "zzz1", 6,
                     "Maker: \xC3\x9C"
                     "ber");
  register_component("aufx", "zzz2", 0, "Maker: Effect");
  register_component("aumu", "aaa3", 16, (fits + "n").c_str());
  register_component("aumu", "aaa4", 2, fits.c_str());

  std::vector<ComponentInfo> ours = list_instruments();
  std::erase_if(ours, [](const ComponentInfo& info) {
    return info.desc.componentManufacturer != pack_four_cc("Cata");
  });
  ASSERT_EQ(ours.size(), 3u);
  EXPECT_EQ(ours[0].desc.componentSubType, pack_four_cc("zzz1")) << "in the platform's order";
  EXPECT_EQ(ours[0].name,
            "Maker: \xC3\x9C"
            "ber");
  EXPECT_TRUE(ours[0].is_v3);
  EXPECT_TRUE(ours[0].sandbox_safe);
  EXPECT_EQ(ours[1].name, "") << "too long for its buffer";
  EXPECT_FALSE(ours[1].is_v3);
  EXPECT_FALSE(ours[1].sandbox_safe);
  EXPECT_EQ(ours[2].name, fits);
  EXPECT_FALSE(ours[2].is_v3);
  EXPECT_TRUE(ours[2].sandbox_safe);
}

}  // namespace
}  // namespace vesk
