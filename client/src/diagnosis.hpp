#pragma once

#include "vesk/host_process.hpp"

namespace vesk::client {

struct HostImpl;

/// How the host is doing; may watch its render thread for 20 ms.
Health diagnose(HostImpl& host);

}  // namespace vesk::client
