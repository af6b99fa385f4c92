#include <vesk/component_provider.h>

#include "components/sampler/unit/component_interface.hpp"

namespace vesk::sampler {
namespace {

constexpr UInt32 version = 0x00010000;  // 1.0.0

bool admits(OSType wanted, OSType code) {
  return wanted == 0 || wanted == code;
}

void enumerate(const AudioComponentDescription* wanted, VeskComponentVisitor visit, void* context) {
  const AudioComponentDescription codes = sampler_codes();
  if (!admits(wanted->componentType, codes.componentType) ||
      !admits(wanted->componentSubType, codes.componentSubType) ||
      !admits(wanted->componentManufacturer, codes.componentManufacturer)) {
    return;
  }
  const VeskProvidedComponent component{codes, "Vesk: Sampler", version, "sampler"};
  visit(context, &component);
}

AudioComponentPlugInInterface* create(const char*, OSStatus* status) {
  return make_unit(status);
}

}  // namespace
}  // namespace vesk::sampler

extern "C" __attribute__((visibility("default"))) const VeskComponentProvider*
vesk_component_provider(void) {
  static const VeskComponentProvider provider = {&vesk::sampler::enumerate, &vesk::sampler::create};
  return &provider;
}
