#pragma once

#include <string>
#include <vector>

#include "tools/parameters/description.hpp"

namespace vesk::tools {

/// The preset that a person means by `name`: one that is called so, in other letters' case where
/// no other is, else the one of this number. Null with a sentence in `error` that begins with
/// `label` when there is none or more than one.
const PresetDescription* find_preset(const std::vector<PresetDescription>& presets,
                                     const std::string& name, const std::string& label,
                                     std::string& error);

/// The file that a person means by `name`: its label, its key or the end of its key. Null with a
/// sentence in `error` that begins with `label` when there is none or more than one.
const FileDescription* find_file(const std::vector<FileDescription>& files, const std::string& name,
                                 const std::string& label, std::string& error);

}  // namespace vesk::tools
