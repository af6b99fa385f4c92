#include "tools/hosting/host_words.hpp"

#include <charconv>

#include "tools/program/child_program.hpp"

namespace vesk::tools {
namespace {

/// Replaces "NAME: component not found: NAME"; true when it did.
bool say_not_installed(const ChainElements& chain, std::string& error) {
  for (const ChainElement& plugin : chain) {
    if (error != plugin.name + ": component not found: " + plugin.name) continue;
    error = plugin.name + " is not installed; vesk-list shows what is";
    return true;
  }
  return false;
}

/// "plugin host CHAIN: plugin INDEX" in a sentence, or with other words for "plugin".
struct Blame {
  std::size_t plugin;
  std::size_t at;
  std::size_t length;
};

std::optional<Blame> find_blame(const std::string& sentence, const ChainElements& chain,
                                const std::string& words = "plugin ") {
  const std::string start = line_start(chain) + words;
  const std::size_t found = sentence.find(start);
  if (found == std::string::npos) return std::nullopt;
  std::size_t plugin = 0;
  const char* const digits = sentence.c_str() + found + start.size();
  const auto [stop, failure] = std::from_chars(digits, sentence.c_str() + sentence.size(), plugin);
  if (failure != std::errc() || plugin >= chain.size()) return std::nullopt;
  return Blame{plugin, found, start.size() + static_cast<std::size_t>(stop - digits)};
}

}  // namespace

std::string line_start(const ChainElements& chain) {
  return "plugin host " + chain_text(chain) + ": ";
}

std::string name_in_chain(const ChainElements& chain, std::size_t plugin) {
  std::string name = chain[plugin].name;
  if (chain.size() > 1)
    name += " (plugin " + std::to_string(plugin + 1) + " of " + std::to_string(chain.size()) + ")";
  return name;
}

std::vector<std::string> midi_remarks(const ChainElements& chain) {
  std::vector<std::string> remarks;
  for (const ChainElement& plugin : chain)
    if (&plugin != &chain.front() && plugin.takes_midi())
      remarks.push_back(plugin.name +
                        " gets no MIDI events: they go to the chain's first plugin alone");
  return remarks;
}

std::optional<std::size_t> blamed_plugin(const std::string& sentence, const ChainElements& chain) {
  const auto blame = find_blame(sentence, chain);
  return blame ? std::optional(blame->plugin) : std::nullopt;
}

std::string by_name(std::string sentence, const ChainElements& chain) {
  if (const auto blame = find_blame(sentence, chain))
    return sentence.replace(blame->at, blame->length, name_in_chain(chain, blame->plugin));
  if (const auto blame = find_blame(sentence, chain, "editor of plugin "))
    return sentence.replace(blame->at, blame->length,
                            "editor of " + name_in_chain(chain, blame->plugin));
  return sentence;
}

std::vector<std::string> missing_files(client::HostProcess& host) {
  std::string lines;
  for (const std::string& line : host.last_lines()) lines += line + '\n';
  return missing_file_lines(lines);
}

bool wait_until_ready(client::HostProcess& host, const ChainElements& chain, std::string& error) {
  if (host.wait_ready(error)) return true;
  error = by_name(std::move(error), chain);
  const bool is_missing = say_not_installed(chain, error);
  if (!is_missing && error.find("OSStatus") == std::string::npos) return false;
  std::string lines;
  for (const std::string& line : host.last_lines()) lines += line + '\n';
  const std::string reason = last_host_line(lines);
  if (!reason.empty() && error.find(reason) == std::string::npos) error += " (" + reason + ")";
  return false;
}

}  // namespace vesk::tools
