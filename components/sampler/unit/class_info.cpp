// A unit's state as a property list: the usual keys, which file the instrument is in, and which of
// a file with many.

#include "components/sampler/unit/sampler_unit.hpp"
#include "components/unit_support/diagnostics.hpp"

namespace vesk::sampler {
namespace {

// Under kAUPresetExternalFileRefs, where a host that moves files along looks for them.
constexpr const char* instrument_key = "instrument";
// Absent where the file holds one instrument.
constexpr const char* bank_msb_key = "bank-msb";
constexpr const char* bank_lsb_key = "bank-lsb";
constexpr const char* preset_key = "preset-id";

/// A number of 0..127, `otherwise` when there is none.
unsigned seven_bits(CFDictionaryRef saved, const char* key, unsigned otherwise) {
  const double value = cf_number(saved, key).value_or(otherwise);
  return value >= 0 && value <= 127 ? static_cast<unsigned>(value) : otherwise;
}

}  // namespace

CFPropertyListRef SamplerUnit::copy_class_info() const {
  std::vector<ParameterValue> values;
  for (const ParameterDescription& parameter : parameter_descriptions)
    if (const std::size_t index = parameters_.index(parameter.id); index < parameter_count)
      values.push_back({parameter.id, parameters_.value(index)});
  CfDictionary info = begin_preset(codes_, preset_name_, values);
  if (!request_.path.empty()) {
    CfDictionary files;
    files.set(instrument_key, copy_cf_string(request_.path));
    info.set(kAUPresetExternalFileRefs, std::move(files).take().release());
    info.set_number(bank_msb_key, static_cast<SInt32>(request_.preset.bank_msb));
    info.set_number(bank_lsb_key, static_cast<SInt32>(request_.preset.bank_lsb));
    info.set_number(preset_key, static_cast<SInt32>(request_.preset.number));
  }
  return std::move(info).take().release();
}

OSStatus SamplerUnit::set_class_info(CFPropertyListRef list) {
  const auto saved = cf_cast<CFDictionaryRef>(list);
  if (saved == nullptr || !has_preset_version(saved) ||
      !has_preset_code(saved, kAUPresetSubtypeKey, codes_.componentSubType) ||
      !has_preset_code(saved, kAUPresetManufacturerKey, codes_.componentManufacturer)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  InstrumentRequest request;
  if (const auto files = cf_value<CFDictionaryRef>(saved, kAUPresetExternalFileRefs)) {
    const std::string path = text_of(cf_value<CFStringRef>(files, instrument_key));
    request.path = find_instrument(path);
    if (request.path.empty() && !path.empty()) {
      say_of("Sampler", path + ", which the preset names, is not there any more");
      return kAudio_FileNotFoundError;
    }
  }
  const SoundFontPreset first;
  request.preset = {seven_bits(saved, bank_msb_key, first.bank_msb),
                    seven_bits(saved, bank_lsb_key, first.bank_lsb),
                    seven_bits(saved, preset_key, first.number)};
  if (const OSStatus status = load(request, preset_values(saved)); status != noErr) return status;
  const auto name = cf_value<CFStringRef>(saved, kAUPresetNameKey);
  preset_name_ = name != nullptr ? text_of(name) : "Untitled";
  return noErr;
}

}  // namespace vesk::sampler
