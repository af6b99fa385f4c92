#pragma once

namespace vesk::platform {

/// Makes the calling process fit to be a host: remembers its parent, opens the standard descriptors
/// that came closed, lets a broken pipe and a file that may not grow be errors rather than signals,
/// pins the numeric locale of the main thread, and installs what reports a plugin's crash.
///
/// `label` names the host in the lines it may print; it must outlive the process. Call once, at
/// the head of `main`, on the main thread, before any plugin code runs.
void prepare_host_process(const char* label);

}  // namespace vesk::platform
