// In every test program: before its first line runs, nothing of the user's own is left in sight of
// it or of what it starts. What tests keep between them, such as a cache, is in the build folder.

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>

namespace {

[[gnu::constructor]] void forget_the_user() {
  const auto home =
      std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "home";
  std::error_code ignored;
  std::filesystem::create_directories(home, ignored);
  setenv("HOME", home.c_str(), 1);
  for (const char* name :
       {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "AUDIO_COMPONENT_PATH", "LV2_PATH",
        "VESK_CACHE", "VESK_HOST", "VESK_LV2_SCAN", "VESK_MODULE_PATH", "VESK_MISBEHAVE",
        "VESK_PLUGIN_WINDOWS_OFFSCREEN", "DISPLAY", "WAYLAND_DISPLAY"})
    unsetenv(name);
}

}  // namespace
