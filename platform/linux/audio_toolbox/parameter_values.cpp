#include <AudioToolbox/AudioUnitUtilities.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace {

/// The unit's description of a parameter, without its names.
std::optional<AudioUnitParameterInfo> info_of(const AudioUnitParameter* parameter) {
  if (!parameter) return std::nullopt;
  AudioUnitParameterInfo info{};
  UInt32 size = sizeof info;
  if (AudioUnitGetProperty(parameter->mAudioUnit, kAudioUnitProperty_ParameterInfo,
                           parameter->mScope, parameter->mParameterID, &info, &size) != noErr) {
    return std::nullopt;
  }
  if (info.flags & kAudioUnitParameterFlag_CFNameRelease) {
    if ((info.flags & kAudioUnitParameterFlag_HasCFNameString) && info.cfNameString)
      CFRelease(info.cfNameString);
    if (info.unit == kAudioUnitParameterUnit_CustomUnit && info.unitName) CFRelease(info.unitName);
  }
  return info;
}

/// A curve's slider position, 0..1, for a value's place in its range, 0..1, and back. "Squared"
/// says that the position is the square of the place, and so on.
double position_of(AudioUnitParameterOptions flags, double place) {
  switch (GetAudioUnitParameterDisplayType(flags)) {
    case kAudioUnitParameterFlag_DisplaySquareRoot:
      return std::sqrt(place);
    case kAudioUnitParameterFlag_DisplaySquared:
      return place * place;
    case kAudioUnitParameterFlag_DisplayCubed:
      return place * place * place;
    case kAudioUnitParameterFlag_DisplayCubeRoot:
      return std::cbrt(place);
    case kAudioUnitParameterFlag_DisplayExponential:
      return std::expm1(place) / std::expm1(1.0);
    default:
      return place;
  }
}

double place_of(AudioUnitParameterOptions flags, double position) {
  switch (GetAudioUnitParameterDisplayType(flags)) {
    case kAudioUnitParameterFlag_DisplaySquareRoot:
      return position * position;
    case kAudioUnitParameterFlag_DisplaySquared:
      return std::sqrt(position);
    case kAudioUnitParameterFlag_DisplayCubed:
      return std::cbrt(position);
    case kAudioUnitParameterFlag_DisplayCubeRoot:
      return position * position * position;
    case kAudioUnitParameterFlag_DisplayExponential:
      return std::log1p(position * std::expm1(1.0));
    default:
      return position;
  }
}

/// Logarithmic is a curve of the values themselves, which must be positive.
bool is_logarithmic(const AudioUnitParameterInfo& info) {
  return AudioUnitDisplayTypeIsLogarithmic(info.flags) && info.minValue > 0;
}

bool is_whole(const AudioUnitParameterInfo& info) {
  return info.unit == kAudioUnitParameterUnit_Indexed ||
         info.unit == kAudioUnitParameterUnit_Boolean;
}

}  // namespace

AudioUnitParameterValue AUParameterValueFromLinear(Float32 linear,
                                                   const AudioUnitParameter* parameter) {
  const auto info = info_of(parameter);
  if (!info) return 0;
  const double position = std::clamp(static_cast<double>(linear), 0.0, 1.0);
  const double low = static_cast<double>(info->minValue);
  const double high = static_cast<double>(info->maxValue);
  const double value = is_logarithmic(*info) ? low * std::pow(high / low, position)
                                             : low + (high - low) * place_of(info->flags, position);
  return static_cast<AudioUnitParameterValue>(is_whole(*info) ? std::round(value) : value);
}

Float32 AUParameterValueToLinear(AudioUnitParameterValue value,
                                 const AudioUnitParameter* parameter) {
  const auto info = info_of(parameter);
  if (!info || !(info->maxValue > info->minValue)) return 0;
  const double low = static_cast<double>(info->minValue);
  const double high = static_cast<double>(info->maxValue);
  const double clamped = std::clamp(static_cast<double>(value), low, high);
  const double position = is_logarithmic(*info)
                              ? std::log(clamped / low) / std::log(high / low)
                              : position_of(info->flags, (clamped - low) / (high - low));
  return static_cast<Float32>(position);
}

char* AUParameterFormatValue(Float64 value, const AudioUnitParameter* parameter, char* text,
                             UInt32 digits) {
  if (!text) return nullptr;
  constexpr std::size_t size = 32;  // what the caller has at least
  const auto info = info_of(parameter);
  double scale = std::abs(value);
  if (info && info->unit != kAudioUnitParameterUnit_Hertz)
    scale = static_cast<double>(info->maxValue) - static_cast<double>(info->minValue);
  const int power =
      scale > 0 && std::isfinite(scale) ? static_cast<int>(std::floor(std::log10(scale))) : 0;
  const int decimals =
      std::clamp(static_cast<int>(std::min<UInt32>(digits, 20)) - power - 1, 0, 20);
  // Not printf: the decimal sign is a point in every locale.
  auto result = std::to_chars(text, text + size - 1, value, std::chars_format::fixed, decimals);
  if (result.ec != std::errc())
    result = std::to_chars(text, text + size - 1, value, std::chars_format::general, 6);
  *result.ptr = '\0';
  return text;
}
