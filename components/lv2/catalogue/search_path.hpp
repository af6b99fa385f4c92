#pragma once

// Where LV2 bundles are looked for.

#include <string>
#include <vector>

namespace vesk::lv2 {

/// The folders of `LV2_PATH` (colon-separated, `~` expanded, relative ones made absolute), or the
/// system's usual ones when it is not set. Each once, in order, whether it exists or not.
std::vector<std::string> search_path();

/// The bundles (folders with a manifest.ttl) in `folder`, absolute with a final slash, by name.
std::vector<std::string> bundles_in(const std::string& folder);

}  // namespace vesk::lv2
