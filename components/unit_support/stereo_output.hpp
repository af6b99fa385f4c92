#pragma once

// The one format of these units: two channels of 32-bit floats, an array each.

#include <AudioToolbox/AudioToolbox.h>

#include "platform/realtime.hpp"

namespace vesk {

AudioStreamBasicDescription stereo_format(double sample_rate);

/// Whether `format` is `stereo_format` at a rate that a unit can be asked for.
bool is_stereo_format(const AudioStreamBasicDescription& format);

/// The largest period that a unit takes.
inline constexpr UInt32 largest_period = 1u << 20;

/// Whether a period of `frames` fits a unit set up for `max_frames`, and `data` has room for it:
/// two buffers, each big enough or null. Real-time safe.
OSStatus check_stereo_output(UInt32 frames, UInt32 max_frames,
                             const AudioBufferList& data) noexcept VESK_REALTIME;

/// Puts `own[i]` where `data` has no memory, tells the sizes, and gives where to write.
/// `data` has passed `check_stereo_output`. Real-time safe.
void prepare_stereo_output(UInt32 frames, float* const own[2], AudioBufferList& data,
                           float* outputs[2]) noexcept VESK_REALTIME;

}  // namespace vesk
