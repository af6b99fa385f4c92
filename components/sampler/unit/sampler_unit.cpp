#include "components/sampler/unit/sampler_unit.hpp"

#include <limits.h>

#include <cmath>
#include <filesystem>
#include <utility>

#include "components/unit_support/diagnostics.hpp"

namespace vesk::sampler {
namespace {

constexpr const char* log_name = "Sampler";

}  // namespace

std::unique_ptr<SamplerUnit::Playing> SamplerUnit::make_playing(InstrumentSound* sound) const {
  auto playing = std::make_unique<Playing>();
  if (sound == nullptr) return playing;
  std::string error;
  playing->player = sound->make_player(sample_rate_, max_frames_, error);
  if (playing->player == nullptr) {
    say_of(log_name, error);
    return nullptr;
  }
  playing->is_offline = offline_.load(std::memory_order_relaxed);
  playing->player->set_offline(playing->is_offline);
  return playing;
}

OSStatus SamplerUnit::initialize() {
  if (is_initialized()) return noErr;
  midi_.clear();
  storage_.assign(std::size_t{max_frames_} * 2, 0.0f);
  auto playing = make_playing(sound_.get());
  if (playing == nullptr) return kAudioUnitErr_FailedInitialization;
  playing->controls = parameters_.controls();
  if (playing->player != nullptr) playing->player->set(playing->controls);
  reset_wanted_.store(false, std::memory_order_relaxed);
  slot_.put(std::move(playing));
  // Release: MIDI that is taken from here on is for this player.
  initialized_.store(true, std::memory_order_release);
  return noErr;
}

OSStatus SamplerUnit::uninitialize() {
  if (!is_initialized()) return noErr;
  initialized_.store(false, std::memory_order_release);
  // After this the render thread touches nothing of the unit any more, unless it does not come out
  // of a period: then all stays as it was.
  if (slot_.take() != nullptr) return noErr;
  initialized_.store(true, std::memory_order_release);
  return kAudioUnitErr_CannotDoInCurrentContext;
}

OSStatus SamplerUnit::load_instrument(const AUSamplerInstrumentData& asked) {
  if (asked.fileURL == nullptr) return kAudioUnitErr_FileNotSpecified;
  // What the file is, it says itself; the other types are an audio file and a preset of the unit.
  if (asked.instrumentType != kInstrumentType_EXS24 &&
      asked.instrumentType != kInstrumentType_SF2Preset) {
    return kAudioUnitErr_InstrumentTypeNotFound;
  }
  char path[PATH_MAX];
  if (!CFURLGetFileSystemRepresentation(asked.fileURL, true, reinterpret_cast<UInt8*>(path),
                                        sizeof path)) {
    return kAudioUnitErr_FileNotSpecified;
  }
  // A saved state is restored from another folder.
  const auto whole = std::filesystem::absolute(path).lexically_normal().string();
  return load({whole, {asked.bankMSB, asked.bankLSB, asked.presetID}}, {});
}

OSStatus SamplerUnit::load(const InstrumentRequest& request,
                           const std::vector<ParameterValue>& values) {
  std::unique_ptr<InstrumentSound> sound;
  if (!request.path.empty()) {
    OSStatus status = noErr;
    std::string error;
    sound = load_sound(request, status, error);
    if (sound == nullptr) {
      say_of(log_name, error);
      return status;
    }
    if (const std::string remark = sound->remark(); !remark.empty())
      say_of(log_name, request.path + ": " + remark);
  }
  std::unique_ptr<Playing> playing;
  if (is_initialized()) {
    playing = make_playing(sound.get());
    if (playing == nullptr) return kAudioUnitErr_FormatNotSupported;
  }
  // The player that is replaced hears them as well, in the little time that it has left.
  parameters_.begin(sound != nullptr ? sound->controls() : Controls{},
                    sound == nullptr || sound->has_voice_controls());
  for (const ParameterValue& value : values) {
    const std::size_t index = parameters_.index(value.id);
    if (index < parameter_count && std::isfinite(value.value)) parameters_.set(index, value.value);
  }
  if (playing != nullptr) {
    playing->controls = parameters_.controls();
    if (playing->player != nullptr) playing->player->set(playing->controls);
    slot_.put(std::move(playing));
  }
  // Players keep what they need of the sound that goes.
  sound_ = std::move(sound);
  request_ = request;
  return noErr;
}

}  // namespace vesk::sampler
