#pragma once

#include "tools/soak/life.hpp"

// Stages that play: false when they have ended the life.
namespace vesk::tools {

/// Two seconds of notes or noise as it comes, offline.
bool play(Life& life, int rate);

/// A second of notes or noise as it comes in real time mode, with what it calls watched.
bool watch_calls(Life& life);

/// All parameters at their limits, where they were, and anywhere, with what it calls watched.
bool sweep(Life& life);

/// Every parameter alone at its limits.
bool set_each(Life& life);

/// Real time at its own pace; fills `load`.
bool pace(Life& life);

/// Periods of changing length: 0, 1, odd, the largest, any.
bool change_lengths(Life& life);

}  // namespace vesk::tools
