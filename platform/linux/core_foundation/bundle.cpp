#include <dlfcn.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <mutex>
#include <vector>

#include "platform/linux/core_foundation/string.hpp"
#include "platform/linux/core_foundation/url.hpp"

namespace vesk::platform::cf {

namespace {

struct Bundle : Object {
  static constexpr Type type_of = Type::bundle;
  Bundle(std::string folder_, CFDictionaryRef info_)
      : Object(type_of, plain), folder(std::move(folder_)), info(info_) {}
  ~Bundle();

  const std::string folder;  ///< Absolute, resolved, without a trailing slash.
  const Owner<CFDictionaryRef> info;
  bool is_main = false;
  std::mutex load_mutex;
  void* library = nullptr;
};

// One object a folder, as long as somebody holds it; those found by identifier are held for good.
constinit std::mutex bundles_mutex;
std::vector<Bundle*>* bundles = nullptr;

std::string resolved(const std::string& path) {
  char buffer[PATH_MAX];
  return ::realpath(path.c_str(), buffer) ? buffer : std::string();
}

bool is_folder(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool is_file(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

/// A file of at most a few megabytes, or null.
CFDataRef read_file(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rbe");
  if (!file) return nullptr;
  constexpr CFIndex largest = 4 << 20;
  Owner<CFMutableDataRef> data(CFDataCreateMutable(nullptr, 0));
  UInt8 part[4096];
  std::size_t count = 0;
  do {
    count = std::fread(part, 1, sizeof part, file);
    CFDataAppendBytes(data.get(), part, static_cast<CFIndex>(count));
  } while (count == sizeof part && CFDataGetLength(data.get()) <= largest);
  std::fclose(file);
  return CFDataGetLength(data.get()) <= largest ? data.release() : nullptr;
}

/// The bundle's description (+1); empty when there is none or it is damaged.
CFDictionaryRef read_info(const std::string& folder) {
  for (const char* name :
       {"/Resources/Info-gnustep.plist", "/Contents/Info.plist", "/Resources/Info.plist"}) {
    Owner<CFDataRef> data(read_file(folder + name));
    if (!data) continue;
    CFPropertyListRef list = CFPropertyListCreateWithData(
        nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr);
    if (!list) continue;
    if (CFGetTypeID(list) == CFDictionaryGetTypeID()) return static_cast<CFDictionaryRef>(list);
    CFRelease(list);
  }
  return CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                            &kCFTypeDictionaryValueCallBacks);
}

/// The bundle of `folder` (+1), made when there is none yet.
Bundle* bundle_of(const std::string& folder) {
  {
    std::lock_guard lock(bundles_mutex);
    if (!bundles) bundles = new std::vector<Bundle*>;
    for (Bundle* bundle : *bundles) {
      // One that has lost its last reference is on its way out and not to be found any more.
      std::uint32_t references = bundle->references.load(std::memory_order_relaxed);
      while (bundle->folder == folder && references != 0)
        if (bundle->references.compare_exchange_weak(references, references + 1)) return bundle;
    }
  }
  auto* bundle = make<Bundle>(0, folder, read_info(folder));
  std::lock_guard lock(bundles_mutex);
  bundles->push_back(bundle);
  return bundle;
}

std::string text_of(const Bundle& bundle, CFStringRef key) {
  const void* value = CFDictionaryGetValue(bundle.info.get(), key);
  return value && CFGetTypeID(value) == CFStringGetTypeID() ? utf8(static_cast<CFStringRef>(value))
                                                            : std::string();
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

std::string executable_of(const Bundle& bundle) {
  if (bundle.is_main) return resolved("/proc/self/exe");
  std::string name = text_of(bundle, CFSTR("NSExecutable"));
  if (name.empty()) name = text_of(bundle, kCFBundleExecutableKey);
  if (name.empty()) {
    name = bundle.folder.substr(bundle.folder.rfind('/') + 1);
    name.erase(std::min(name.find('.'), name.size()));
  }
  // A name, not a way out of the bundle.
  if (name.find('/') != std::string::npos) return {};
  return bundle.folder + "/" + name;
}

std::string resources_of(const Bundle& bundle) {
  const std::string folder = bundle.folder + "/Resources";
  return is_folder(folder) ? folder : bundle.folder;
}

void* library_of(Bundle& bundle, bool loads) {
  std::lock_guard lock(bundle.load_mutex);
  if (!bundle.library) {
    const std::string path = executable_of(bundle);
    const int mode = RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE;
    bundle.library = bundle.is_main ? ::dlopen(nullptr, RTLD_NOW)
                     : path.empty() ? nullptr
                                    : ::dlopen(path.c_str(), loads ? mode : mode | RTLD_NOLOAD);
  }
  return bundle.library;
}

}  // namespace

Bundle::~Bundle() {
  std::lock_guard lock(bundles_mutex);
  std::erase(*bundles, this);
}

const TypeOperations bundle_operations{"CFBundle", destroy<Bundle>, nullptr, nullptr, nullptr};

}  // namespace vesk::platform::cf

using namespace vesk::platform::cf;

CFTypeID CFBundleGetTypeID(void) {
  return static_cast<CFTypeID>(Type::bundle);
}

CFBundleRef CFBundleGetMainBundle(void) {
  static Bundle* const main_bundle = [] {
    const std::string program = resolved("/proc/self/exe");
    auto* bundle = make<Bundle>(0, program.substr(0, program.rfind('/')),
                                CFDictionaryCreate(nullptr, nullptr, nullptr, 0, nullptr, nullptr));
    bundle->is_main = true;
    return bundle;
  }();
  return as_ref<CFBundleRef>(main_bundle);
}

CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef identifier) {
  if (!identifier) return nullptr;
  const std::string wanted = utf8(identifier);
  {
    std::lock_guard lock(bundles_mutex);
    for (std::size_t i = 0; bundles && i < bundles->size(); ++i)
      if (text_of(*(*bundles)[i], kCFBundleIdentifierKey) == wanted)
        return as_ref<CFBundleRef>((*bundles)[i]);
  }
  for (const std::string& folder : loaded_bundle_folders()) {
    const std::string path = resolved(folder);
    if (path.empty()) continue;
    Bundle* bundle = bundle_of(path);
    // The reference stays with the process: its code does too.
    if (text_of(*bundle, kCFBundleIdentifierKey) == wanted) return as_ref<CFBundleRef>(bundle);
    CFRelease(bundle);
  }
  return nullptr;
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef url) {
  const auto path = file_path(url);
  const std::string folder = path ? resolved(*path) : std::string();
  return !folder.empty() && is_folder(folder) ? as_ref<CFBundleRef>(bundle_of(folder)) : nullptr;
}

CFStringRef CFBundleGetIdentifier(CFBundleRef ref) {
  const void* value = CFBundleGetValueForInfoDictionaryKey(ref, kCFBundleIdentifierKey);
  return value && CFGetTypeID(value) == CFStringGetTypeID() ? static_cast<CFStringRef>(value)
                                                            : nullptr;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef ref) {
  const Bundle* bundle = own<Bundle>(ref);
  return bundle ? bundle->info.get() : nullptr;
}

CFTypeRef CFBundleGetValueForInfoDictionaryKey(CFBundleRef ref, CFStringRef key) {
  return CFDictionaryGetValue(CFBundleGetInfoDictionary(ref), key);
}

UInt32 CFBundleGetVersionNumber(CFBundleRef ref) {
  const void* value = CFBundleGetValueForInfoDictionaryKey(ref, kCFBundleVersionKey);
  if (!value) return 0;
  if (CFGetTypeID(value) == CFNumberGetTypeID()) {
    SInt64 number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
    return static_cast<UInt32>(number);
  }
  // "1.2.3" is 0x01028000 plus the digits of a final release.
  unsigned major = 0, minor = 0, fix = 0;
  // What is missing stays 0, and three digits fit.
  // NOLINTNEXTLINE(bugprone-unchecked-string-to-number-conversion)
  std::sscanf(utf8(static_cast<CFStringRef>(value)).c_str(), "%3u.%2u.%2u", &major, &minor, &fix);
  const auto digit = [](unsigned number) { return std::min(number, 9u); };
  const unsigned years = std::min(major, 99u);
  return (years / 10) << 28 | (years % 10) << 24 | digit(minor) << 20 | digit(fix) << 16 | 0x8000u;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef ref) {
  const Bundle* bundle = own<Bundle>(ref);
  return bundle ? make_file_url(bundle->folder, true) : nullptr;
}

CFURLRef CFBundleCopyExecutableURL(CFBundleRef ref) {
  const Bundle* bundle = own<Bundle>(ref);
  const std::string path = bundle ? executable_of(*bundle) : std::string();
  return is_file(path) ? make_file_url(path, false) : nullptr;
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
  if (subfolder) path += utf8(subfolder) + "/";
  path += utf8(name);
  if (type && CFStringGetLength(type) > 0) path += "." + utf8(type);
  if (is_folder(path)) return make_file_url(path, true);
  return is_file(path) ? make_file_url(path, false) : nullptr;
}

Boolean CFBundleLoadExecutable(CFBundleRef ref) {
  Bundle* bundle = own<Bundle>(ref);
  return bundle && library_of(*bundle, true);
}

Boolean CFBundleIsExecutableLoaded(CFBundleRef ref) {
  Bundle* bundle = own<Bundle>(ref);
  return bundle && library_of(*bundle, false);
}

void* CFBundleGetFunctionPointerForName(CFBundleRef ref, CFStringRef name) {
  Bundle* bundle = own<Bundle>(ref);
  void* library = bundle && name ? library_of(*bundle, true) : nullptr;
  return library ? ::dlsym(library, utf8(name).c_str()) : nullptr;
}

void* CFBundleGetDataPointerForName(CFBundleRef ref, CFStringRef name) {
  return CFBundleGetFunctionPointerForName(ref, name);
}
