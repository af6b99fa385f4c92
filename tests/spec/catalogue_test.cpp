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

void register_component(const char* type, const char* subtype, UInt32 flags,
                        const std::string& name) {
  const AudioComponentDescription description{pack_four_cc(type), pack_four_cc(subtype),
                                              pack_four_cc("Cata"), flags, 0};
  CFStringRef text = CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8);
  AudioComponentRegister(&description, text, 1, no_unit);
  CFRelease(text);
}

TEST(Catalogue, ListsInstrumentsInThePlatformsOrderWithNamesAndFlags) {
  // What is installed here is nobody's business.
  for (const char* name : {"AUDIO_COMPONENT_PATH", "HOME", "LV2_PATH", "XDG_CACHE_HOME"})
    setenv(name, "/nowhere", 1);
  const std::string fits(511, 'n');
  register_component("aumu", "zzz1", 6, "Maker: \u00DCber");
  register_component("aufx", "zzz2", 0, "Maker: Effect");
  register_component("aumu", "aaa3", 16, fits + "n");
  register_component("aumu", "aaa4", 2, fits);

  std::vector<ComponentInfo> ours = list_instruments();
  std::erase_if(ours, [](const ComponentInfo& info) {
    return info.desc.componentManufacturer != pack_four_cc("Cata");
  });
  const struct {
    const char* subtype;
    std::string name;
    bool is_v3, sandbox_safe;
  } expected[] = {
      {"zzz1", "Maker: \u00DCber", true, true},
      {"aaa3", "", false, false},  // too long for its buffer
      {"aaa4", fits, false, true},
  };
  ASSERT_EQ(ours.size(), std::size(expected));
  for (std::size_t i = 0; i < ours.size(); ++i) {
    EXPECT_EQ(ours[i].desc.componentSubType, pack_four_cc(expected[i].subtype));
    EXPECT_EQ(ours[i].name, expected[i].name);
    EXPECT_EQ(ours[i].is_v3, expected[i].is_v3);
    EXPECT_EQ(ours[i].sandbox_safe, expected[i].sandbox_safe);
  }
}

}  // namespace
}  // namespace vesk
