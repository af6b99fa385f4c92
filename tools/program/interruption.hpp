#pragma once

namespace vesk::tools {

/// Makes a file that may not grow (RLIMIT_FSIZE) an error of the write, and not the end of this
/// program with half a file left behind.
void make_size_limit_an_error();

/// Turns the first SIGINT, SIGTERM or SIGHUP into a question that a loop can ask, so that half a
/// file is removed before the program ends. The second one ends it at once. Signals that were
/// ignored at the start stay ignored.
void watch_for_interruption();

/// The signal that came, or 0.
int interruption() noexcept;

/// Ends the program as the signal would have: its shell then sees the true reason.
[[noreturn]] void end_by_signal(int signal_number);

}  // namespace vesk::tools
