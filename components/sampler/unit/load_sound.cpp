#include "components/sampler/unit/load_sound.hpp"

#include <AudioToolbox/AudioToolbox.h>
#include <dlfcn.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "components/sampler/voices/exs_sound.hpp"

namespace vesk::sampler {
namespace {

enum class Kind { none, exs24, soundfont };

constexpr std::size_t head_bytes = 20;

/// The kind that the first bytes tell.
Kind kind_of(std::string_view head) {
  if (head.size() < head_bytes) return Kind::none;
  const std::string_view container = head.substr(0, 4), form = head.substr(8, 4);
  if (container == "RIFF" && form == "sfbk") return Kind::soundfont;
  // A block's marks: the kind of file, in either byte order.
  const std::string_view magic = head.substr(16, 4);
  for (const std::string_view known : {"TBOS", "JBOS", "SOBT", "SOBJ"})
    if (magic == known) return Kind::exs24;
  return Kind::none;
}

/// The module that plays SoundFonts, opened with the first of them and then kept.
SoundFontEntry soundfont_module(std::string& error) {
  static SoundFontEntry entry = nullptr;
  if (entry != nullptr) return entry;
  // In the folder of this module.
  static const char anchor = 0;
  Dl_info here{};
  if (dladdr(&anchor, &here) == 0 || here.dli_fname == nullptr) {
    error = "SoundFonts cannot be played: the module folder is not known";
    return nullptr;
  }
  const auto file = std::filesystem::path(here.dli_fname).replace_filename("soundfont.so");
  void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module != nullptr) entry = reinterpret_cast<SoundFontEntry>(dlsym(module, soundfont_entry));
  if (entry == nullptr) {
    const char* reason = dlerror();
    error = std::string("SoundFonts cannot be played: ") + (reason != nullptr ? reason : "");
  }
  return entry;
}

std::unique_ptr<InstrumentSound> load_from_soundfont(const InstrumentRequest& request,
                                                     std::string& error) {
  std::string reason;
  InstrumentSound* sound = nullptr;
  if (const SoundFontEntry load = soundfont_module(reason))
    sound = load(request.path.c_str(), &request.preset, reason);
  if (sound == nullptr) error = request.path + ": " + reason;
  return std::unique_ptr<InstrumentSound>(sound);
}

}  // namespace

std::unique_ptr<InstrumentSound> load_sound(const InstrumentRequest& request, OSStatus& status,
                                            std::string& error) {
  const std::filesystem::path path = request.path;
  std::error_code failure;
  const auto type = std::filesystem::status(path, failure).type();
  if (type == std::filesystem::file_type::not_found) {
    status = kAudio_FileNotFoundError;
    error = request.path + " is not there";
    return nullptr;
  }
  status = kAudioUnitErr_InvalidFile;
  // Not to wait for the writer of a pipe.
  if (type != std::filesystem::file_type::regular) {
    error = request.path + (failure ? ": " + failure.message() : " is no file");
    return nullptr;
  }
  std::array<char, head_bytes> head{};
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  file.read(head.data(), head.size());
  if (file.bad() || (!file && errno != 0)) {
    error = request.path + ": " + std::strerror(errno);
    return nullptr;
  }
  switch (kind_of({head.data(), static_cast<std::size_t>(file.gcount())})) {
    case Kind::exs24:
      return load_exs_sound(request.path, error);
    case Kind::soundfont:
      return load_from_soundfont(request, error);
    case Kind::none:
      break;
  }
  status = kAudioUnitErr_UnknownFileType;
  error = request.path + " is neither an EXS24 instrument nor a SoundFont";
  return nullptr;
}

std::string find_instrument(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code failure;
  if (fs::exists(path, failure)) return path;
  const fs::path parts = fs::path(path).relative_path();
  const char* home = std::getenv("HOME");
  for (const fs::path& folder :
       {fs::path(home != nullptr ? home : ""), fs::current_path(failure)}) {
    if (folder.empty()) continue;
    for (auto from = parts.begin(); from != parts.end(); ++from) {
      fs::path found = folder;
      for (auto part = from; part != parts.end(); ++part) found /= *part;
      if (fs::exists(found, failure)) return found.string();
    }
  }
  return {};
}

}  // namespace vesk::sampler
