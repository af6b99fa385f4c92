#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"

namespace vesk::tools {

/// Puts `path` into the chain in the place of the one preset file that it names, which goes to
/// `old`. False with a sentence in `error` when it names none or several, or cannot name `path`.
bool replace_preset(ChainElements& chain, const std::string& path, std::string& old,
                    std::string& error);

/// Copies the file at `from` to the name `to`, which must be new. False with a sentence in `error`.
bool copy_preset(const std::string& from, const std::string& to, std::string& error);

/// The old content of a preset file, kept beside it under its name and '~' from the moment this is
/// made. When this is destroyed and the preset is still (or again) what it was, the name with '~'
/// is given back what it had before, so that a look at a preset costs nobody an older version.
class OldPreset {
 public:
  /// Empty with a sentence in `error` when the file cannot be read or its copy not be written.
  static std::optional<OldPreset> keep(const std::string& path, std::string& error);

  OldPreset(OldPreset&& other) noexcept;
  OldPreset& operator=(OldPreset&&) = delete;
  ~OldPreset();

  /// Where the old content stands.
  std::string kept_path() const { return path_ + "~"; }
  /// Whether the file holds something else now.
  bool has_changed() const;

 private:
  using Bytes = std::vector<std::uint8_t>;
  OldPreset(std::string path, Bytes content, std::optional<Bytes> earlier);

  std::string path_;  // empty: moved from
  Bytes content_;
  std::optional<Bytes> earlier_;  // what stood under the kept name before
};

}  // namespace vesk::tools
