#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// Waits until the host listens. False with a sentence in `error` that names the plugin and has the
/// reason that its loader gave, when the host has told one.
bool wait_until_ready(client::HostProcess& host, const ChainElements& chain, std::string& error);

/// What a host that is ready has said of files that its presets name and that are gone.
std::vector<std::string> missing_files(client::HostProcess& host);

/// What the lines of a host about its chain begin with.
std::string line_start(const ChainElements& chain);

/// The plugin by whose index a host's last line blames it for its end; empty when it blames none.
std::optional<std::size_t> blamed_plugin(const std::string& sentence, const ChainElements& chain);

/// What a host's line says of a plugin, or of its editor, by its index, said by the plugin's name.
std::string by_name(std::string sentence, const ChainElements& chain);

/// A sentence for each plugin that takes MIDI events and stands where none arrive.
std::vector<std::string> midi_remarks(const ChainElements& chain);

/// A plugin as a sentence names it, with its place in a chain of several.
std::string name_in_chain(const ChainElements& chain, std::size_t plugin);

}  // namespace vesk::tools
