#include "tools/parameters/names.hpp"

#include <strings.h>

#include <algorithm>

namespace vesk::tools {
namespace {

bool is_same(const std::string& one, const std::string& other) {
  return strcasecmp(one.c_str(), other.c_str()) == 0;
}

template <typename T, typename Matches>
std::vector<const T*> all_of(const std::vector<T>& list, Matches matches) {
  std::vector<const T*> found;
  for (const T& each : list)
    if (matches(each)) found.push_back(&each);
  return found;
}

}  // namespace

const PresetDescription* find_preset(const std::vector<PresetDescription>& presets,
                                     const std::string& name, const std::string& label,
                                     std::string& error) {
  auto found = all_of(presets, [&](const auto& preset) { return preset.name == name; });
  if (found.empty())
    found = all_of(presets, [&](const auto& preset) { return is_same(preset.name, name); });
  if (found.empty())
    found =
        all_of(presets, [&](const auto& preset) { return std::to_string(preset.number) == name; });
  if (found.size() == 1) return found.front();
  if (found.empty()) {
    error = label + " has no preset \"" + name + "\"; vesk-list --presets " + label +
            " shows what it has";
    return nullptr;
  }
  error = label + " has " + std::to_string(found.size()) + " presets \"" + name +
          "\"; choose by number:";
  for (const PresetDescription* preset : found) error += " " + std::to_string(preset->number);
  return nullptr;
}

const FileDescription* find_file(const std::vector<FileDescription>& files, const std::string& name,
                                 const std::string& label, std::string& error) {
  const auto found = all_of(files, [&](const FileDescription& file) {
    const std::string end = file.key.substr(file.key.find_last_of("#/:") + 1);
    return file.key == name || is_same(file.label, name) || is_same(end, name);
  });
  if (found.size() == 1) return found.front();
  if (files.empty()) {
    error = label + " takes no files";
    return nullptr;
  }
  error =
      label + " has " + (found.empty() ? "no" : "more than one") + " file \"" + name + "\"; it has";
  for (const FileDescription& file : files)
    error += (&file == &files.front() ? " " : ", ") + file.label;
  return nullptr;
}

}  // namespace vesk::tools
