#pragma once

#include "host/block.hpp"

namespace vesk::host {

/// Maps the parent's shared-memory object `name`, for the life of the process.
///
/// Null, after one line on standard error, when there is no such object, when it cannot be mapped
/// or is smaller than a block, or when it does not begin with `block_magic`. Writes nothing to it.
Block* map_block(const char* name);

}  // namespace vesk::host
