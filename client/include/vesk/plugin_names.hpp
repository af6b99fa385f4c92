#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace vesk::client {

/// A chain in the words of people.
struct NamedChain {
  /// Elements separated by '|'. Each is a specification text as `Options::chain` takes it, or
  /// begins with a plugin's name ("MDA ePiano", with its maker before it or without; case does not
  /// matter) or LV2 URI. Parameters and a preset file may follow as in a specification text, the
  /// parameters by number, symbol or name: "MDA ePiano#Hardness=0.4@/home/me/p.aupreset". Where a
  /// name holds a
  /// '#' or '@' itself, the longest beginning that is installed counts. A name with a '|' cannot be
  /// written here; its URI or specification text can.
  std::string text{};
  /// Further parameter values, behind those that the elements have: "PARAMETER=VALUE" for the first
  /// plugin, "N:PARAMETER=VALUE" for the N-th, counted from 1. The last '=' counts, so that any
  /// parameter can be named here.
  std::vector<std::string> settings{};
  /// Path of the program that looks names up. Empty: `vesk-list` beside the host program that
  /// `VESK_HOST` names, then beside this program, then in `../bin` of its folder,
  /// then in the folders of `PATH`.
  std::string list_program{};
  /// How long it may take before it is killed. Names alone take some 20 ms, parameters by name the
  /// start of the plugin besides. The first look at a machine reads everything that is installed,
  /// which can take minutes.
  std::chrono::milliseconds limit = std::chrono::minutes(10);
};

/// Puts a chain into specification texts, for `Options::chain` or to be kept.
///
/// Elements that are specification texts stay byte for byte as they are, installed or not; a chain
/// of nothing else, without settings, is given back at once. Otherwise vesk-list is run, which
/// looks at what is installed and, for parameters by name, opens plugins in further processes: no
/// plugin and no code of LV2 runs in this one. What comes back holds numbers only, so it means the
/// same until other plugins are installed and on other machines; keep it rather than the names.
///
/// Empty with one English sentence in `error`: nothing is called so (with the nearest names), more
/// than one thing is (with their specification texts), a plugin is not hosted or does not open, a
/// value is no number, the program is missing or took longer than the limit. Any thread but the
/// audio thread; blocks; allocates; nothing throws.
std::optional<std::string> specification_of(const NamedChain& chain, std::string& error) noexcept;

}  // namespace vesk::client
