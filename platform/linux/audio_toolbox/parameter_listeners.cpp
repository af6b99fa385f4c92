#include "audio_toolbox/parameter_listeners.hpp"

namespace vesk::platform {

void forget_unit(AudioUnit) {}

}  // namespace vesk::platform
