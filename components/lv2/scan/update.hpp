#pragma once

// Brings the index and its records up to date, reading only what is new and what is asked for.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/cache_file.hpp"

namespace vesk::lv2::scan {

/// Which plugins must be described afterwards. All bundles are mapped in any case.
struct Request {
  bool everything = false;
  std::uint32_t code = 0;
  std::string uri{};

  /// The one plugin asked for; null when it is not there or everything is.
  const Entry* find_in(const Index& index) const;
};

struct Installed {
  Index index;
  std::vector<Bytes> records;  ///< one for each entry, empty where it is not described
  bool changed = false;        ///< differs from what it was made from
};

struct Progress {
  std::function<void(std::size_t done, std::size_t all)> step;
  std::function<void(const std::string& what, const std::string& printed)> printed;
};

/// Starts from `known`, the last cache, if there is one; takes over from it what still holds.
/// What could not be read for a reason that may pass gets no record, and the next scan tries again.
Installed update(const std::optional<CacheFile>& known, const Request& request,
                 const Progress& progress);

}  // namespace vesk::lv2::scan
