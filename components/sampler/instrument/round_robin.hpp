#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace vesk::sampler {

/// Makes cycles of the groups that take turns. `previous` has, for each group, nothing when it
/// takes no turns, else the group that it says it follows, negative for none. Returns the group
/// that sounds after each; whoever takes turns has one, be it itself.
///
/// Files say which group comes before (-1, 0, 1, 2 for four), or, where two groups claim the same
/// one, have the place in a set: then a set begins at each -1, in the order of the file.
std::vector<std::optional<std::size_t>> make_cycles(std::span<const std::optional<int>> previous);

}  // namespace vesk::sampler
