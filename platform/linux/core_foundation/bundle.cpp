#include <link.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/core_foundation/bundle_info.hpp"
#include "platform/linux/core_foundation/object.hpp"
#include "platform/linux/core_foundation/text_of.hpp"
#include "platform/linux/core_foundation/url.hpp"

namespace vesk::platform::cf {

namespace {

struct Bundle : Object {
  static constexpr Type type_of = Type::bundle;
  explicit Bundle(std::string folder_) : Object(type_of, constant), folder(std::move(folder_)) {}

  const std::string folder;  ///< Absolute, resolved, without a trailing slash.
  std::string identifier;
};

// Those that a caller has asked for or that were looked at for it. They stay, as their code does.
constinit std::mutex bundles_mutex;
std::vector<Bundle*>* bundles = nullptr;

std::string resolved(const std::string& path) {
  char buffer[PATH_MAX];
  return ::realpath(path.c_str(), buffer) ? buffer : std::string();
}

/// S_IFDIR, S_IFREG or another kind of file; 0 when there is none.
mode_t kind_of(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

/// Folders NAME.SUFFIX of loaded libraries NAME.SUFFIX/NAME.
std::vector<std::string> loaded_bundle_folders() {
  std::vector<std::string> folders;
  ::dl_iterate_phdr(
      [](dl_phdr_info* library, std::size_t, void* context) {
        const std::string_view path(library->dlpi_name ? library->dlpi_name : "");
        const std::size_t slash = path.rfind('/');
        if (slash == path.npos) return 0;
        const std::string_view folder = path.substr(0, slash), name = path.substr(slash + 1);
        const std::string_view folder_name = folder.substr(folder.rfind('/') + 1);
        if (folder_name.size() > name.size() && folder_name.starts_with(name) &&
            folder_name[name.size()] == '.') {
          static_cast<std::vector<std::string>*>(context)->emplace_back(folder);
        }
        return 0;
      },
      &folders);
  return folders;
}

/// The bundle of a folder, made when there is none yet. The lock is held.
Bundle* bundle_of(const std::string& folder) {
  for (Bundle* bundle : *bundles)
    if (bundle->folder == folder) return bundle;
  auto* bundle = make<Bundle>(0, folder);
  std::string problem;
  if (CFDictionaryRef info = copy_bundle_info(folder, problem)) {
    const void* identifier = CFDictionaryGetValue(info, CFSTR("CFBundleIdentifier"));
    if (identifier && CFGetTypeID(identifier) == CFStringGetTypeID())
      bundle->identifier = text_of(static_cast<CFStringRef>(identifier));
    CFRelease(info);
  }
  bundles->push_back(bundle);
  return bundle;
}

std::string resources_of(const Bundle& bundle) {
  const std::string folder = bundle.folder + "/Resources";
  return kind_of(folder) == S_IFDIR ? folder : bundle.folder;
}

}  // namespace

const TypeOperations bundle_operations{"CFBundle", destroy<Bundle>, nullptr, nullptr, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;
using vesk::platform::text_of;

CFBundleRef CFBundleGetMainBundle(void) {
  static Bundle* const main_bundle = [] {
    const std::string program = resolved("/proc/self/exe");
    return make<Bundle>(0, program.substr(0, program.rfind('/')));
  }();
  return as_ref<CFBundleRef>(main_bundle);
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier) {
  const std::string wanted = text_of(identifier);
  if (wanted.empty()) return nullptr;
  const std::lock_guard lock(bundles_mutex);
  if (!bundles) bundles = new std::vector<Bundle*>;
  for (const std::string& folder : loaded_bundle_folders()) {
    const std::string path = resolved(folder);
    if (path.empty()) continue;
    Bundle* bundle = bundle_of(path);
    if (bundle->identifier == wanted) return as_ref<CFBundleRef>(bundle);
  }
  return nullptr;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef ref) {
  const Bundle* bundle = own<Bundle>(ref);
  return bundle ? make_file_url(bundle->folder, true) : nullptr;
}

CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef ref) {
  const Bundle* bundle = own<Bundle>(ref);
  return bundle ? make_file_url(resources_of(*bundle), true) : nullptr;
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef ref, CFStringRef name, CFStringRef type,
                                 CFStringRef subfolder) {
  const Bundle* bundle = own<Bundle>(ref);
  if (!bundle || !name) return nullptr;
  std::string path = resources_of(*bundle) + "/";
  if (subfolder) path += text_of(subfolder) + "/";
  path += text_of(name);
  if (type && CFStringGetLength(type) > 0) path += "." + text_of(type);
  const mode_t kind = kind_of(path);
  if (kind != S_IFDIR && kind != S_IFREG) return nullptr;
  return make_file_url(path, kind == S_IFDIR);
}
