#pragma once

#include <os/workgroup.h>

namespace vesk::host {

/// The audio workgroup that the parent shares through the first of this task's registered ports;
/// null when it shares none. Main thread, once; lives until the process ends.
os_workgroup_t obtain_parent_workgroup();

}  // namespace vesk::host
