#include "platform/plugin_call.hpp"

#include <cxxabi.h>

#include "platform/linux/process/current_call.hpp"

namespace vesk::platform {

namespace {

/// What the C++ runtime keeps for each thread, as the Itanium C++ ABI lays it out (2.2.2).
struct ThrownExceptions {
  void* caught;
  unsigned uncaught;
};

struct Calls {
  CurrentCall now;
  CurrentCall thrown_from;  // left by an exception
  const ThrownExceptions* thrown;
};
thread_local constinit Calls t_calls __attribute__((tls_model("initial-exec"))) = {};

// A thread-local variable may cost an allocation at its first use, and the compiler refuses all of
// them in real-time code. This one is made with the thread: the program itself holds it, and it
// has no constructor. The question about exceptions is a read of another such variable, whose place
// is asked for once: each call of the runtime in a period is a page of it that is cold by then.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wfunction-effects"
Calls& own_calls() noexcept VESK_REALTIME {
  return t_calls;
}
bool is_unwinding() noexcept VESK_REALTIME {
  if (t_calls.thrown == nullptr)
    t_calls.thrown = reinterpret_cast<const ThrownExceptions*>(abi::__cxa_get_globals());
  return t_calls.thrown->uncaught > 0;
}
#pragma clang diagnostic pop

}  // namespace

CurrentCall current_call() {
  return own_calls().now;
}

void blame_thrower() {
  Calls& calls = own_calls();
  if (calls.now.phase == nullptr) calls.now = calls.thrown_from;
}

PluginCall::PluginCall(unsigned plugin, const char* phase) noexcept VESK_REALTIME
    : outer_plugin_(own_calls().now.plugin),
      outer_phase_(own_calls().now.phase) {
  own_calls().now = {plugin, phase};
}

PluginCall::~PluginCall() noexcept VESK_REALTIME {
  Calls& calls = own_calls();
  if (is_unwinding()) calls.thrown_from = calls.now;
  calls.now = {outer_plugin_, outer_phase_};
}

}  // namespace vesk::platform

extern "C" const char* vesk_plugin_phase() noexcept {
  return vesk::platform::current_call().phase;
}
