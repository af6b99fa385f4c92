#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/naming/installed.hpp"

namespace vesk::tools {

/// Whether every word stands somewhere in what is told of the plugin: name, maker, type,
/// specification text, URI, classes. Case does not matter, here and below, among ASCII letters.
bool holds_words(const InstalledPlugin& plugin, const std::vector<std::string>& words);

/// Whether each of `words` stands somewhere in `text`.
bool holds_words(std::string_view text, const std::vector<std::string>& words);

/// The plugins that `text` is the whole name of, with or without the maker before it ("Maker: Name"
/// or "Maker Name"), or the URI.
std::vector<const InstalledPlugin*> plugins_called(const InstalledPlugins& plugins,
                                                   std::string_view text);

/// Of all `names` the few that `text` may have been meant to be, the nearest first: those that hold
/// it and those that little typing would make the same.
std::vector<std::string> names_near(std::string_view text, const std::vector<std::string>& names);

/// The same in words to end a sentence with: "; near it: MDA Piano, MDA ePiano". Empty for none.
std::string near_it(std::string_view text, const std::vector<std::string>& names);

/// Whether two names are the same but for case.
bool is_same_name(std::string_view one, std::string_view other);

}  // namespace vesk::tools
