// A bundle's Info-gnustep.plist: whatever it holds, each component that is made of it can be found.
#include <filesystem>

#include "fuzz/input.hpp"
#include "platform/linux/audio_toolbox/component_bundles.hpp"
#include "tests/support/scratch_folder.hpp"

using vesk::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const vesk::tests::ScratchFolder bundle;
  const vesk::fuzz::InputFile input(data, size);
  const std::filesystem::path list = bundle / "Resources/Info-gnustep.plist";
  std::filesystem::create_directories(list.parent_path());
  std::filesystem::remove(list);
  std::filesystem::create_symlink(input.path(), list);
  std::vector<std::string> complaints;
  for (const auto& component : vesk::platform::read_bundle(bundle.path(), complaints)) {
    const AudioComponentDescription& codes = component->description;
    expect(codes.componentType != 0 && codes.componentSubType != 0 &&
           codes.componentManufacturer != 0);
    expect(!component->name.empty() && !component->factory_function.empty());
    expect(component->library.starts_with(bundle.path() + "/"));
    expect(component->library.find('/', bundle.path().size() + 1) == std::string::npos);
  }
  for (const std::string& complaint : complaints) expect(!complaint.empty());
  return 0;
}
