#pragma once

#include <set>
#include <string>
#include <vector>

#include "spec/chain_text.hpp"
#include "vesk/host_process.hpp"

namespace vesk::tools {

/// Asks for the editors of all plugins of a chain, each titled with its plugin's name and the name
/// of its preset file.
void ask_for_editors(client::HostProcess& host, const ChainElements& chain);

/// The plugins whose editors the host says that it could not open.
std::vector<unsigned> plugins_without_editor(client::HostProcess& host, const ChainElements& chain);

/// The host's own words on a file that it could not write; empty when it wrote all.
std::string save_failure(client::HostProcess& host);

/// What a host says of editors that failed.
class EditorFailures {
 public:
  explicit EditorFailures(const ChainElements& chain);

  /// The lines that have not been told before, with the plugin's name in them.
  std::vector<std::string> new_lines(client::HostProcess& host);

 private:
  ChainElements chain_;
  std::string start_;
  std::set<std::string> told_;
};

}  // namespace vesk::tools
