#pragma once

#include <cstddef>
#include <string>

#include "tools/naming/installed.hpp"

namespace vesk::tools {

/// One line a plugin, by name: name, maker, type, and the specification text. In a table of
/// `columns` characters with a heading, names and makers cut to fit; with 0 uncut, with tabs
/// between and no heading. The last column of a plugin that no host runs is in brackets.
std::string plugins_text(InstalledPlugins plugins, std::size_t columns);

/// A JSON array of objects, in the platform's order: specification, name (with its maker, as the
/// platform has it), short_name, maker, type, type_word, subtype, manufacturer, hosted, v3,
/// sandbox_safe, uri, ports, parameters, presets, editors, classes. The last six are null for what
/// is no LV2 plugin: only opening it would tell.
std::string plugins_json(const InstalledPlugins& plugins);

}  // namespace vesk::tools
