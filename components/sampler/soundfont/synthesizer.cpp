#include "components/sampler/soundfont/synthesizer.hpp"

#include <sys/stat.h>

#include <cstdio>
#include <mutex>

namespace vesk::sampler {
namespace {

constexpr int percussion_bank = 128;
constexpr unsigned melodic_msb = 0x79, percussion_msb = 0x78;

/// What the library says is wrong while a file is loaded on this thread; elsewhere it is dropped,
/// also because it would be printed from the render thread.
thread_local std::string* complaint = nullptr;

void listen(int, const char* message, void*) {
  if (complaint != nullptr && complaint->empty()) *complaint = message;
}

void listen_to_library() {
  static std::once_flag once;
  std::call_once(once, [] {
    for (const int level : {FLUID_PANIC, FLUID_ERR})
      fluid_set_log_function(level, &listen, nullptr);
    for (const int level : {FLUID_WARN, FLUID_INFO, FLUID_DBG})
      fluid_set_log_function(level, nullptr, nullptr);
  });
}

// Where its reader of SoundFonts fails, the library tries one of DLS files, which prints what it
// thinks. A name that only we can open keeps that out. And the library shares samples by name: with
// the file's state in it, what was rewritten is not taken for what it was.
constexpr char state_mark = '?';

std::string name_with_state(const std::string& path) {
  struct stat state{};
  stat(path.c_str(), &state);
  std::string name = path + state_mark;
  for (const auto part :
       {static_cast<long long>(state.st_ino), static_cast<long long>(state.st_size),
        static_cast<long long>(state.st_mtim.tv_sec),
        static_cast<long long>(state.st_mtim.tv_nsec)}) {
    name += '-' + std::to_string(part);
  }
  return name;
}

void* open_file(const char* name) {
  const std::string whole = name;
  return std::fopen(whole.substr(0, whole.rfind(state_mark)).c_str(), "rbe");
}

int read_file(void* bytes, fluid_long_long_t count, void* file) {
  const auto size = static_cast<std::size_t>(count);
  return std::fread(bytes, 1, size, static_cast<FILE*>(file)) == size ? FLUID_OK : FLUID_FAILED;
}

int seek_file(void* file, fluid_long_long_t offset, int origin) {
  return fseeko(static_cast<FILE*>(file), offset, origin) == 0 ? FLUID_OK : FLUID_FAILED;
}

fluid_long_long_t tell_file(void* file) {
  return ftello(static_cast<FILE*>(file));
}

int close_file(void* file) {
  return std::fclose(static_cast<FILE*>(file)) == 0 ? FLUID_OK : FLUID_FAILED;
}

int bank_of(const SoundFontPreset& preset) {
  if (preset.bank_msb == percussion_msb) return percussion_bank;
  return static_cast<int>(preset.bank_msb == melodic_msb ? preset.bank_lsb : preset.bank_msb);
}

}  // namespace

std::unique_ptr<Synthesizer> Synthesizer::create(const std::string& path,
                                                 const SoundFontPreset& preset, double sample_rate,
                                                 std::string& error) {
  listen_to_library();
  auto made = std::make_unique<Synthesizer>();
  made->settings_.reset(new_fluid_settings());
  fluid_settings_t* settings = made->settings_.get();
  // One thread at a time calls, so it needs no locks; its reverb and chorus allocate in every
  // period; and its default polyphony is kept, which it can only change by allocating.
  fluid_settings_setint(settings, "synth.threadsafe-api", 0);
  fluid_settings_setint(settings, "synth.reverb.active", 0);
  fluid_settings_setint(settings, "synth.chorus.active", 0);
  fluid_settings_setint(settings, "synth.lock-memory", 0);
  fluid_settings_setint(settings, "synth.midi-channels", midi_channels);
  fluid_settings_setnum(settings, "synth.sample-rate", sample_rate);
  made->synth_.reset(new_fluid_synth(settings));
  if (made->synth_ == nullptr) {
    error = "libfluidsynth cannot be started";
    return nullptr;
  }
  fluid_synth_set_interp_method(made->get(), -1, FLUID_INTERP_7THORDER);
  // Belongs to the synthesizer, which asks the newest loader first.
  fluid_sfloader_t* loader = new_fluid_defsfloader(settings);
  fluid_sfloader_set_callbacks(loader, &open_file, &read_file, &seek_file, &tell_file, &close_file);
  fluid_synth_add_sfloader(made->get(), loader);
  std::string reason;
  complaint = &reason;
  made->font_ = fluid_synth_sfload(made->get(), name_with_state(path).c_str(), 0);
  complaint = nullptr;
  if (made->font_ < 0) {
    error = reason.empty() ? "libfluidsynth cannot read it" : reason;
    return nullptr;
  }
  return made->select(preset, error) ? std::move(made) : nullptr;
}

bool Synthesizer::select(const SoundFontPreset& preset, std::string& error) {
  fluid_sfont_t* font = fluid_synth_get_sfont_by_id(get(), font_);
  int bank = bank_of(preset), number = static_cast<int>(preset.number);
  if (fluid_sfont_get_preset(font, bank, number) == nullptr) {
    // A file with one instrument may have it anywhere, and a user who names a file means that one.
    fluid_sfont_iteration_start(font);
    fluid_preset_t* first = fluid_sfont_iteration_next(font);
    const bool is_default = preset.bank_msb == melodic_msb && bank == 0 && number == 0;
    if (first == nullptr || !is_default) {
      error = "it has no preset " + std::to_string(number) + " in bank " + std::to_string(bank);
      return false;
    }
    bank = fluid_preset_get_banknum(first);
    number = fluid_preset_get_num(first);
  }
  for (int channel = 0; channel < midi_channels; ++channel) {
    // The tenth is one of percussion otherwise.
    fluid_synth_set_channel_type(get(), channel, CHANNEL_TYPE_MELODIC);
    if (fluid_synth_program_select(get(), channel, font_, bank, number) != FLUID_OK) {
      error = "libfluidsynth cannot play its preset " + std::to_string(number) + " in bank " +
              std::to_string(bank);
      return false;
    }
  }
  return true;
}

}  // namespace vesk::sampler
