#include <AudioToolbox/AudioToolbox.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

namespace {

using Description = AudioComponentDescription;

/// One entry of AudioComponents; an empty argument leaves its key out, a text is put into <string>.
std::string entry(const std::string& type, const std::string& subtype, const std::string& name,
                  const std::string& factory) {
  std::string text = "<dict><key>manufacturer</key><string>Test</string>";
  text += "<key>version</key><integer>65792</integer>";
  for (const auto& [key, value] : {std::pair("type", type), std::pair("subtype", subtype),
                                   std::pair("name", name), std::pair("factoryFunction", factory)})
    if (!value.empty())
      text += std::string("<key>") + key + "</key>" +
              (value[0] == '<' ? value : "<string>" + value + "</string>");
  return text + "</dict>";
}

std::string info(const std::string& executable, const std::string& entries) {
  return "<plist version=\"1.0\"><dict><key>NSExecutable</key><string>" + executable +
         "</string><key>AudioComponents</key><array>" + entries + "</array></dict></plist>";
}

// In the folder that is searched first: what their Info-gnustep.plist holds, and what is told.
const struct {
  const char* bundle;
  std::string info;
  std::vector<const char*> complaints;
} installed[] = {
    {"a-empty", "", {"Resources/Info-gnustep.plist: No such file or directory\n"}},
    {"b-garbage", "this is no property list", {"Resources/Info-gnustep.plist: "}},
    {"c-binary", "bplist00 and more", {"Resources/Info-gnustep.plist: a binary property list"}},
    {"d-list",
     "<plist version=\"1.0\"><array/></plist>",
     {"Resources/Info-gnustep.plist: no dictionary\n"}},
    {"e-outside", info("../tone", ""), {"NSExecutable is no file name\n"}},
    {"f-faulty",
     info("missing", entry("aufx", "toolong", "F", "F") + entry("aufx", "NoNm", "", "F") +
                         entry("aufx", "NoFa", "F", "") + entry("aufx", "Gone", "F: Gone", "F") +
                         entry("aufx", "<integer>0</integer>", "F: Any", "F") +
                         entry("\u00e4ux", "Utf8", "F: Utf8", "F")),
     {"entry 0 of AudioComponents has no code of four ASCII characters for subtype\n",
      "entry 1 of AudioComponents has no name\n",
      "entry 2 of AudioComponents has no factoryFunction\n",
      "entry 4 of AudioComponents has no code of four ASCII characters for subtype\n",
      "entry 5 of AudioComponents has no code of four ASCII characters for type\n"}},
    {"g-symbol", info("tone", entry("aufx", "NoSy", "G: Symbol", "None")), {}},
    // The codes as numbers, the second one with its sign bit set.
    {"h-numbers",
     info("tone", entry("<integer>1635083896</integer>", "<integer>-2139062144</integer>",
                        "H: Numbers", "GainFactory")),
     {}},
    {"i-pipe", "", {"Resources/Info-gnustep.plist: no file of at most 1 MiB\n"}},
    {"not-a-bundle", "", {"Resources/Info-gnustep.plist: Not a directory\n"}},
};

/// Folders of component bundles, sound and broken, that this process's registry looks into, and
/// nothing else of this machine. Made before the first search.
class Installation {
 public:
  Installation() {
    namespace fs = std::filesystem;
    for (const auto& each : installed) {
      const fs::path bundle = path("first/") + each.bundle + ".component";
      fs::create_directories(bundle / "Resources");
      if (!each.info.empty()) std::ofstream(bundle / "Resources/Info-gnustep.plist") << each.info;
    }
    fs::remove_all(path("first/not-a-bundle.component"));
    std::ofstream(path("first/not-a-bundle.component")) << "a file";
    mkfifo(path("first/i-pipe.component/Resources/Info-gnustep.plist").c_str(), 0600);
    fs::create_symlink(VESK_TONE_COMPONENT "/tone", path("first/g-symbol.component/tone"));
    fs::create_directories(path("second/late.component/Resources"));
    fs::create_directory_symlink(VESK_TONE_COMPONENT, path("second/tone.component"));
    std::ofstream(path("second/late.component/Resources/Info-gnustep.plist"))
        << info("pipe", entry("aumu", "Late", "Late", "F"));
    mkfifo(path("second/late.component/pipe").c_str(), 0600);
    const std::string folders =
        path("none") + "::" + path("first") + ":" + path("second") + ":" + path("first");
    setenv("AUDIO_COMPONENT_PATH", folders.c_str(), 1);
    setenv("HOME", folder_.path().c_str(), 1);
    setenv("VESK_MODULE_PATH", VESK_TEST_MODULES, 1);
  }
  std::string path(const std::string& name) const { return folder_ / name; }

 private:
  vesk::tests::ScratchFolder folder_;
};

const Installation installation;

std::string name_of(AudioComponent component) {
  CFStringRef name = nullptr;
  if (AudioComponentCopyName(component, &name) != noErr) return "(none)";
  char text[256] = "";
  CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8);
  CFRelease(name);
  return text;
}

std::vector<std::string> names_of(const Description& wanted) {
  std::vector<std::string> names;
  for (AudioComponent each = AudioComponentFindNext(nullptr, &wanted); each;
       each = AudioComponentFindNext(each, &wanted)) {
    names.push_back(name_of(each));
  }
  return names;
}

AudioComponent find(OSType type, OSType subtype, OSType manufacturer) {
  const Description wanted{type, subtype, manufacturer, 0, 0};
  return AudioComponentFindNext(nullptr, &wanted);
}

/// A component whose life is written down.
struct Probe {
  AudioComponentPlugInInterface interface;
  AudioComponent component_in_open;
};
std::string life;
OSStatus open_status = noErr;
std::atomic<bool> open_may_end{true};
std::thread::id opening_thread;

OSStatus open_probe(void* self, AudioComponentInstance instance) {
  while (!open_may_end) std::this_thread::yield();
  opening_thread = std::this_thread::get_id();
  static_cast<Probe*>(self)->component_in_open = AudioComponentInstanceGetComponent(instance);
  life += "open ";
  if (open_status != noErr) delete static_cast<Probe*>(self);
  return open_status;
}

OSStatus close_probe(void* self) {
  life += "close ";
  delete static_cast<Probe*>(self);
  return 7;
}

AudioComponentMethod lookup_probe(SInt16 selector) {
  return selector == kAudioUnitResetSelect
             ? reinterpret_cast<AudioComponentMethod>(
                   +[](void*, AudioUnitScope, AudioUnitElement) -> OSStatus { return 12; })
             : nullptr;
}

Probe* last_probe = nullptr;

AudioComponentPlugInInterface* make_probe(const Description*) {
  life += "factory ";
  last_probe = new Probe{{open_probe, close_probe, lookup_probe, nullptr}, nullptr};
  return &last_probe->interface;
}

AudioComponent register_probe(OSType subtype, UInt32 flags) {
  const Description description{kAudioUnitType_Effect, subtype, 'Prob', flags, 0};
  life.clear();
  open_status = noErr;
  open_may_end = true;
  return AudioComponentRegister(&description, CFSTR("Test: Probe"), 0x10203, make_probe);
}

// These two come first: what they look at happens once in a process.

TEST(Components, OfBrokenBundlesAreNamedOnceAndOnlyWhenASearchFails) {
  testing::internal::CaptureStderr();
  EXPECT_NE(find('aufx', 'Gain', 'Vesk'), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

  testing::internal::CaptureStderr();
  EXPECT_EQ(find('aufx', 'None', 'Test'), nullptr);
  const std::string lines = testing::internal::GetCapturedStderr();
  for (const auto& each : installed) {
    const std::string bundle = "plugin host: component bundle " + installation.path("first/") +
                               each.bundle + ".component: ";
    for (const char* complaint : each.complaints)
      EXPECT_NE(lines.find(bundle + complaint), std::string::npos)
          << bundle << complaint << "is not in\n"
          << lines;
    if (each.complaints.empty()) EXPECT_EQ(lines.find(bundle), std::string::npos) << lines;
  }

  testing::internal::CaptureStderr();
  EXPECT_EQ(find('aufx', 'None', 'Test'), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Components, OfOtherKindsAreLeftAloneByASearchForANativeOne) {
  const std::string module = std::string(VESK_TEST_MODULES) + "/lv2.so";
  EXPECT_NE(find('aumu', 'Tone', 'Vesk'), nullptr);
  EXPECT_EQ(dlopen(module.c_str(), RTLD_NOLOAD | RTLD_LAZY), nullptr);
  AudioComponent second = find('aumu', 'BBBB', 'LV2_');
  EXPECT_NE(dlopen(module.c_str(), RTLD_NOLOAD | RTLD_LAZY), nullptr);
  EXPECT_EQ(name_of(second), "Provider: Second");
  // The same component, however it is found.
  const Description any_of_them{0, 0, 'LV2_', 0, 0};
  AudioComponent first = AudioComponentFindNext(nullptr, &any_of_them);
  EXPECT_EQ(AudioComponentFindNext(first, &any_of_them), second);

  AudioComponentInstance instance = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(second, &instance), noErr);
  EXPECT_EQ(AudioUnitInitialize(instance), kAudio_UnimplementedError);
  EXPECT_EQ(AudioComponentInstanceDispose(instance), noErr);
}

TEST(Components, AreFoundInTheOrderOfTheirOrigins) {
  const Description any{};
  std::vector<std::string> names = {
      "F: Gone",         "G: Symbol",        "H: Numbers",      "Late",
      "Vesk: Tone",      "Vesk: Gain",       "Vesk: Mono tone", "Vesk: Mono gain",
      "Provider: First", "Provider: Second", "Provider: Broken"};
  EXPECT_EQ(names_of(any), names);
  register_probe('Ordr', 0);
  names.insert(names.begin(), "Test: Probe");
  EXPECT_EQ(names_of(any), names) << "registered later, enumerated first";
}

TEST(Components, MatchByCodesAndFlags) {
  register_probe('Hidn', kAudioComponentFlag_Unsearchable | kAudioComponentFlag_SandboxSafe);
  const struct {
    const char* name;
    Description wanted;
    std::size_t count;
  } cases[] = {
      {"a type", {'aumu', 0, 0, 0, 0}, 4},
      {"a manufacturer", {0, 0, 'Vesk', 0, 0}, 4},
      {"a provider's manufacturer", {0, 0, 'LV2_', 0, 0}, 3},
      {"a type of a provider", {'aufx', 0, 'LV2_', 0, 0}, 2},
      {"three codes", {'aufx', 'Gain', 'Vesk', 0, 0}, 1},
      {"codes written as numbers", {'aufx', 0x80808080, 'Test', 0, 0}, 1},
      {"no such subtype", {'aufx', 'None', 'Vesk', 0, 0}, 0},
      {"codes without case folding", {'aufx', 'gain', 'Vesk', 0, 0}, 0},
      {"flags set",
       {0, 0, 'Vesk', kAudioComponentFlag_SandboxSafe, kAudioComponentFlag_SandboxSafe},
       4},
      {"flags not set", {0, 0, 'Vesk', 0, kAudioComponentFlag_SandboxSafe}, 0},
      {"a hidden one by wildcard", {0, 'Hidn', 'Prob', 0, 0}, 0},
      {"a hidden one by name", {'aufx', 'Hidn', 'Prob', 0, 0}, 1},
  };
  for (const auto& each : cases) EXPECT_EQ(names_of(each.wanted).size(), each.count) << each.name;
  EXPECT_EQ(AudioComponentFindNext(nullptr, nullptr), nullptr);
}

TEST(Components, TellWhatTheyAre) {
  AudioComponent gain = find('aufx', 'Gain', 'Vesk');
  Description description{};
  UInt32 version = 0;
  ASSERT_EQ(AudioComponentGetDescription(gain, &description), noErr);
  EXPECT_EQ(description.componentFlags,
            kAudioComponentFlag_SandboxSafe | kAudioComponentFlag_CanLoadInProcess);
  EXPECT_EQ(description.componentFlagsMask, 0u);
  EXPECT_EQ(AudioComponentGetVersion(gain, &version), noErr);
  EXPECT_EQ(version, 0x10000u);
  EXPECT_EQ(AudioComponentGetVersion(nullptr, &version), kAudio_ParamError);
  EXPECT_EQ(AudioComponentGetDescription(gain, nullptr), kAudio_ParamError);
  EXPECT_EQ(AudioComponentCopyName(nullptr, nullptr), kAudio_ParamError);
}

TEST(Components, ThatCannotBeOpenedSayWhy) {
  const struct {
    Description which;
    OSStatus status;
    const char* line;
  } cases[] = {
      {{'aufx', 'Gone', 'Test', 0, 0}, -3000, "component F: Gone cannot be loaded: "},
      {{'aumu', 'Late', 'Test', 0, 0}, -3000, "second/late.component/pipe is no file\n"},
      {{'aufx', 'NoSy', 'Test', 0, 0}, -1, "g-symbol.component/tone has no function None\n"},
      {{'aufx', 'CCCC', 'LV2_', 0, 0}, kAudioUnitErr_ExtensionNotFound, ""},
  };
  for (const auto& each : cases) {
    AudioComponent component = AudioComponentFindNext(nullptr, &each.which);
    ASSERT_NE(component, nullptr);
    auto instance = reinterpret_cast<AudioComponentInstance>(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(AudioComponentInstanceNew(component, &instance), each.status);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(each.line), std::string::npos);
    EXPECT_EQ(instance, nullptr);
  }
}

TEST(Components, AreRegisteredOnlyWhole) {
  const Description whole{kAudioUnitType_Effect, 'Regi', 'Prob', 0, 0};
  Description part = whole;
  part.componentSubType = 0;
  EXPECT_EQ(AudioComponentRegister(nullptr, nullptr, 0, make_probe), nullptr);
  EXPECT_EQ(AudioComponentRegister(&whole, nullptr, 0, nullptr), nullptr);
  EXPECT_EQ(AudioComponentRegister(&part, nullptr, 0, make_probe), nullptr);
  AudioComponent component = AudioComponentRegister(&whole, nullptr, 1, make_probe);
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(name_of(component), "");
}

TEST(ComponentInstances, LiveFromOpenToCloseOrToAFailedOpen) {
  AudioComponent component = register_probe('Life', 0);
  AudioComponentInstance instance = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &instance), noErr);
  EXPECT_EQ(last_probe->component_in_open, component) << "already known inside Open";
  EXPECT_EQ(AudioComponentInstanceGetComponent(instance), component);
  EXPECT_EQ(AudioUnitReset(instance, 0, 0), 12);
  EXPECT_EQ(AudioComponentInstanceDispose(instance), 7) << "the status of Close";
  EXPECT_EQ(life, "factory open close ");

  life.clear();
  open_status = -10875;  // and the probe is gone: a sanitizer would see a use
  EXPECT_EQ(AudioComponentInstanceNew(component, &instance), -10875);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(life, "factory open ");

  EXPECT_EQ(AudioComponentInstanceDispose(nullptr), kAudio_ParamError);
  EXPECT_EQ(AudioComponentInstanceGetComponent(nullptr), nullptr);
}

TEST(ComponentInstances, OfOrdinaryComponentsCompleteInsideTheCall) {
  AudioComponent component = register_probe('Sync', 0);
  __block int calls = 0;
  __block AudioComponentInstance instance = nullptr;
  __block OSStatus status = 1;
  void (^handler)(AudioComponentInstance, OSStatus) =
      ^(AudioComponentInstance made, OSStatus code) {
        ++calls;
        instance = made;
        status = code;
      };
  AudioComponentInstantiate(component, kAudioComponentInstantiation_LoadOutOfProcess, handler);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(status, noErr);
  EXPECT_EQ(opening_thread, std::this_thread::get_id());
  ASSERT_NE(instance, nullptr);
  AudioComponentInstanceDispose(instance);

  open_status = -5;
  AudioComponentInstantiate(component, 0, handler);
  EXPECT_EQ(status, -5);
  EXPECT_EQ(instance, nullptr);
  AudioComponentInstantiate(nullptr, 0, handler);
  EXPECT_EQ(status, kAudio_ParamError);
  EXPECT_EQ(calls, 3);
}

TEST(ComponentInstances, OfAsynchronousComponentsCompleteLaterElsewhere) {
  AudioComponent component = register_probe('Asyn', kAudioComponentFlag_RequiresAsyncInstantiation);
  AudioComponentInstance refused = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(component, &refused), kAudioComponentErr_NotPermitted);

  static std::atomic<bool> done;
  static std::atomic<AudioComponentInstance> made;
  done = false;
  open_may_end = false;
  AudioComponentInstantiate(component, 0, ^(AudioComponentInstance instance, OSStatus) {
    made = instance;
    done = true;
  });
  EXPECT_FALSE(done) << "the call does not wait for Open";
  open_may_end = true;
  ASSERT_TRUE(vesk::tests::wait_until([] { return done.load(); }));
  EXPECT_NE(opening_thread, std::this_thread::get_id());
  EXPECT_EQ(AudioComponentInstanceDispose(made), 7);
}

}  // namespace
