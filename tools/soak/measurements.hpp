#pragma once

#include "tools/soak/life.hpp"

// Stages that measure effects and instruments offline: false when they have ended the life.
namespace vesk::tools {

/// Sends an impulse through an effect, and compares when it comes back with what it reports.
bool measure_latency(Life& life);

/// Compares the time that periods of silence take, while what sounded decays, with that of sound.
bool measure_tail(Life& life);

}  // namespace vesk::tools
