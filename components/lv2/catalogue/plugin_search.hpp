#pragma once

// Finding installed plugins, from the cache or through the scanner program.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "components/lv2/catalogue/index.hpp"

namespace vesk::lv2 {

struct FoundPlugin {
  Entry entry;
  std::shared_ptr<const Description> description;
};

/// The plugin that a subtype names; nothing when none is installed, or with a sentence in `error`
/// when that could not be found out. From the cache where it holds (well below 5 ms), else from
/// the scanner program. Any thread that is not real-time.
std::optional<FoundPlugin> find_by_code(std::uint32_t code, std::string& error);
std::optional<FoundPlugin> find_by_uri(const std::string& uri, std::string& error);

/// Everything installed, described. Reads what has not been read yet, which can take seconds the
/// first time. Nothing with a sentence in `error` when it cannot be had.
std::optional<Index> list_all(std::string& error);

}  // namespace vesk::lv2
