#include "components/sampler/instrument/round_robin.hpp"

namespace vesk::sampler {
namespace {

using Groups = std::vector<std::optional<std::size_t>>;

/// Who follows each group; nothing at all when two follow the same.
std::optional<Groups> followers(std::span<const std::optional<int>> previous) {
  Groups next(previous.size());
  for (std::size_t i = 0; i < previous.size(); ++i) {
    const std::optional<int> link = previous[i];
    if (!link || *link < 0) continue;
    const auto before = static_cast<std::size_t>(*link);
    if (before >= previous.size() || !previous[before]) continue;
    if (next[before]) return std::nullopt;
    next[before] = i;
  }
  return next;
}

Groups in_order(std::span<const std::optional<int>> previous) {
  Groups next(previous.size());
  std::optional<std::size_t> last;
  for (std::size_t i = 0; i < previous.size(); ++i) {
    const std::optional<int> link = previous[i];
    if (!link) continue;
    if (last && *link >= 0) next[*last] = i;
    last = i;
  }
  return next;
}

}  // namespace

Groups make_cycles(std::span<const std::optional<int>> previous) {
  Groups next = followers(previous).value_or(in_order(previous));
  std::vector<bool> is_followed(next.size());
  for (const auto& group : next)
    if (group) is_followed[*group] = true;
  // Nobody is followed by two, so that each line has one first group, and its last leads back
  // there.
  for (std::size_t first = 0; first < next.size(); ++first) {
    if (!previous[first] || is_followed[first]) continue;
    std::size_t last = first;
    for (auto after = next[last]; after; after = next[last]) last = *after;
    next[last] = first;
  }
  return next;
}

}  // namespace vesk::sampler
