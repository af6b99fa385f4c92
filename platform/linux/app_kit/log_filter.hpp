#pragma once

namespace vesk::platform {

/// From here on what the toolkit logs about itself is dropped; what plugins log passes. Standard
/// error belongs to the host's own lines and to plugins.
void drop_toolkit_messages();

}  // namespace vesk::platform
