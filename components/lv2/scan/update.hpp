#pragma once

// Brings a catalogue up to date, reading only what is new and what is asked for.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "components/lv2/catalogue/catalogue.hpp"

namespace vesk::lv2::scan {

/// Which plugins must be described afterwards. All bundles are mapped in any case.
struct Wish {
  bool everything = false;
  std::uint32_t code = 0;
  std::string uri{};
};

struct Installed {
  Catalogue catalogue;
  std::vector<Bytes> records;  ///< one for each entry, empty where it is not described
  bool changed = false;        ///< differs from what it was made from
};

struct Progress {
  std::function<void(std::size_t done, std::size_t all)> step;
  std::function<void(const std::string& what, const std::string& noise)> noise;
};

/// Starts from `known`, the last image, if there is one; takes over from it what still holds.
Installed update(const std::optional<CatalogueImage>& known, const Wish& wish,
                 const Progress& progress);

}  // namespace vesk::lv2::scan
