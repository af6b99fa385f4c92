#pragma once

/// The one spelling of the attribute that marks real-time code.
///
/// A function marked `VESK_REALTIME` allocates nothing, takes no lock and does no unbounded work;
/// `-Wfunction-effects` holds its body to that, and RealtimeSanitizer whatever it calls. Compilers
/// without the attribute (a parent program built with another one) see nothing.
#if defined(__has_cpp_attribute)
#if __has_cpp_attribute(clang::nonblocking)
#define VESK_REALTIME [[clang::nonblocking]]
#endif
#endif
#ifndef VESK_REALTIME
#define VESK_REALTIME
#endif
