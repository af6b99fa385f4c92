#include "tests/support/component_installation.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace vesk::tests {

std::string plist_entry(const std::string& type, const std::string& subtype,
                        const std::string& name, const std::string& factory) {
  const auto key = [](const std::string& key, const std::string& value) {
    return value.empty() ? "" : "<key>" + key + "</key>" + value + "\n";
  };
  const auto text = [](const std::string& value) {
    return value.empty() ? "" : "<string>" + value + "</string>";
  };
  return "<dict>" + key("type", type.find('<') == 0 ? type : text(type)) +
         key("subtype", subtype.find('<') == 0 ? subtype : text(subtype)) +
         key("manufacturer", text("Test")) + key("name", text(name)) +
         key("version", "<integer>65792</integer>") + key("factoryFunction", text(factory)) +
         "</dict>\n";
}

std::string info_plist(const std::string& executable, const std::string& entries) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
         "<key>NSExecutable</key><string>" +
         executable + "</string><key>AudioComponents</key><array>" + entries +
         "</array></dict></plist>\n";
}

void ComponentInstallation::add_bundle(const std::string& name, const std::string& info) {
  const auto resources = root_ / (name + ".component") / "Resources";
  std::filesystem::create_directories(resources);
  std::ofstream(resources / "Info-gnustep.plist") << info;
}

ComponentInstallation::ComponentInstallation(const std::string& tone, const std::string& modules) {
  char name[] = "/tmp/vesk-components-XXXXXX";
  root_ = mkdtemp(name);
  namespace fs = std::filesystem;
  fs::create_directories(root_ / "first");
  fs::create_directories(root_ / "second");

  fs::create_directories(root_ / "first" / "a-empty.component");
  add_bundle("first/b-garbage", "this is no property list");
  add_bundle("first/c-binary", "bplist00 and more");
  add_bundle("first/d-list", "<plist version=\"1.0\"><array/></plist>");
  add_bundle("first/e-outside", info_plist("../tone", ""));
  add_bundle("first/f-faulty",
             info_plist("missing", plist_entry("aufx", "toolong", "F", "F") +
                                       plist_entry("aufx", "NoNm", "", "F") +
                                       plist_entry("aufx", "NoFa", "F", "") +
                                       plist_entry("aufx", "Gone", "F: Gone", "F") +
                                       plist_entry("aufx", "<integer>0</integer>", "F: Any", "F") +
                                       plist_entry("\u00e4ux", "Utf8", "F: Utf8", "F")));
  add_bundle("first/g-symbol",
             info_plist("tone", plist_entry("aufx", "NoSy", "G: Symbol", "None")));
  fs::create_symlink(tone + "/tone", root_ / "first" / "g-symbol.component" / "tone");
  // The codes as numbers, the second one with its sign bit set.
  add_bundle("first/h-numbers", info_plist("tone", plist_entry("<integer>1635083896</integer>",
                                                               "<integer>-2139062144</integer>",
                                                               "H: Numbers", "GainFactory")));
  fs::create_directories(root_ / "first" / "i-pipe.component" / "Resources");
  mkfifo((root_ / "first/i-pipe.component/Resources/Info-gnustep.plist").c_str(), 0600);
  std::ofstream(root_ / "first" / "not-a-bundle.component") << "a file";
  fs::create_directory_symlink(tone, root_ / "second" / "tone.component");
  add_bundle("second/late", info_plist("pipe", plist_entry("aumu", "Late", "Late", "F")));
  mkfifo((root_ / "second/late.component/pipe").c_str(), 0600);

  const std::string path = (root_ / "none").string() + "::" + (root_ / "first").string() + ":" +
                           (root_ / "second").string() + ":" + (root_ / "first").string();
  setenv("AUDIO_COMPONENT_PATH", path.c_str(), 1);
  setenv("HOME", root_.c_str(), 1);
  setenv("VESK_MODULE_PATH", modules.c_str(), 1);
}

ComponentInstallation::~ComponentInstallation() {
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

}  // namespace vesk::tests
