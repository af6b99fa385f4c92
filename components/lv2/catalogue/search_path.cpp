#include "components/lv2/catalogue/search_path.hpp"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace vesk::lv2 {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view usual_path =
#ifdef VESK_LIBRARY_ARCHITECTURE
    "~/.lv2:/usr/lib/" VESK_LIBRARY_ARCHITECTURE "/lv2:/usr/lib/lv2:/usr/local/lib/lv2";
#else
    "~/.lv2:/usr/lib/lv2:/usr/local/lib/lv2";
#endif

std::string absolute(std::string_view element) {
  std::string path(element);
  if (path == "~" || path.starts_with("~/")) {
    const char* home = std::getenv("HOME");
    if (!home || !*home) return {};
    path.replace(0, 1, home);
  }
  std::error_code error;
  std::string result = fs::absolute(path, error).lexically_normal().string();
  if (error) return {};
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

}  // namespace

std::vector<std::string> search_path() {
  const char* variable = std::getenv("LV2_PATH");
  std::string_view rest = variable ? std::string_view(variable) : usual_path;
  std::vector<std::string> folders;
  while (!rest.empty()) {
    const auto colon = rest.find(':');
    const std::string_view element = rest.substr(0, colon);
    rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
    if (element.empty()) continue;
    std::string folder = absolute(element);
    if (!folder.empty() && std::ranges::find(folders, folder) == folders.end())
      folders.push_back(std::move(folder));
  }
  return folders;
}

std::vector<std::string> bundles_in(const std::string& folder) {
  std::vector<std::string> bundles;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::error_code missing;
    if (fs::is_regular_file(entry->path() / "manifest.ttl", missing))
      bundles.push_back(entry->path().string() + "/");
  }
  std::ranges::sort(bundles);
  return bundles;
}

}  // namespace vesk::lv2
