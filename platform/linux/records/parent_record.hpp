#pragma once

#include <sys/types.h>
#include <vesk/parent_record.h>

#include "platform/realtime.hpp"

namespace vesk::platform {

/// Maps the record that the parent has handed to this process, if there is one, for good, and
/// tells the parent so. Call once, on the main thread, before others ask for what it holds.
void attach_parent_record();

// Any thread. Without a record there is no answer.

/// Whether the parent shares a record.
bool has_parent_record();
/// The parent's process id; 0: not told.
pid_t recorded_parent();
/// Whether the parent renders offline.
bool parent_renders_offline();
/// The eventfd that the parent rings, or -1.
__attribute__((visibility("default"))) int parent_bell();
/// Tells the parent that the calling thread sees every request from now on, and wakes it.
void tell_listening();

/// Where the period that is being rendered stands in the song, checked field by field. False when
/// the parent does not say. For the render thread, during a period; real-time safe.
bool read_transport(VeskTransport& transport) noexcept VESK_REALTIME;
/// The parent's sample rate in Hz, or 0. Real-time safe.
double parent_sample_rate() noexcept VESK_REALTIME;

}  // namespace vesk::platform
