#pragma once

namespace vesk::platform {

/// Lets a crash leave one line before it ends the process as it would have without:
/// "plugin host LABEL: plugin INDEX died in PHASE: SIGNAL", or "plugin host LABEL: died outside
/// its plugins: SIGNAL". A plugin that ends the process with `exit` is named the same way. Does
/// nothing in sanitizer builds, whose own reports say more.
void report_crashes();

}  // namespace vesk::platform
