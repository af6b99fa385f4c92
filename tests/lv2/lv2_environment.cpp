// What is installed for the tests in here, however they are started: the plugins of
// tests/components/lv2 and the bundles of Debian's packages that the tests name.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr const char* debians_bundles[] = {"b_synth", "eg-amp.lv2", "eg-fifths.lv2", "eg-metro.lv2",
                                           "eg-midigate.lv2", "eg-params.lv2", "eg-scope.lv2",
                                           "eg-sampler.lv2", "mda.lv2", "gx_aclipper.lv2",
                                           // Where the scanner finds the symbols of units.
                                           "units.lv2"};

class Lv2Environment : public testing::Environment {
 public:
  void SetUp() override {
    const fs::path tree = VESK_BUILD_TREE, links = tree / "lv2-installed";
    // Tests run side by side, so what another one has just made is as good.
    fs::create_directories(links);
    std::error_code there_already;
    for (const fs::path name : debians_bundles) {
      const fs::path bundle = "/usr/lib/lv2" / name;
      if (fs::exists(bundle)) fs::create_directory_symlink(bundle, links / name, there_already);
    }
    setenv("LV2_PATH", ((tree / "lv2").string() + ":" + links.string()).c_str(), 1);
  }
};

[[maybe_unused]] testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new Lv2Environment);

}  // namespace
