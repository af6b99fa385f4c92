#include "tools/render/batch_plan.hpp"

#include <filesystem>
#include <map>
#include <system_error>

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

/// The folders that the input is named with, as far as they can stand below another one.
fs::path folders_of(const fs::path& input) {
  fs::path folders;
  for (const fs::path& part : input.lexically_normal().parent_path().relative_path())
    if (part != "..") folders /= part;
  return folders;
}

fs::path output_of(const fs::path& input, const RenderArguments& arguments) {
  fs::path folder = arguments.out_dir;
  if (arguments.keeps_folders) folder /= folders_of(input);
  return folder / (input.stem().string() + ending_of(arguments.format));
}

/// The file itself, whatever names it has.
std::string file_of(const fs::path& path) {
  std::error_code unknown;
  const fs::path found = fs::weakly_canonical(path, unknown);
  return unknown ? path.string() : found.string();
}

}  // namespace

std::optional<std::vector<BatchJob>> plan_batch(const RenderArguments& arguments,
                                                std::string& error) {
  std::vector<BatchJob> jobs;
  std::map<std::string, std::string> sources;  // files and what they are called
  for (const std::string& path : {arguments.midi_path, arguments.input_path})
    if (!path.empty()) sources.emplace(file_of(path), path);
  for (const std::string& input : arguments.inputs) sources.emplace(file_of(input), input);

  std::map<std::string, std::string> writers;  // outputs and their inputs
  for (const std::string& input : arguments.inputs) {
    if (fs::path(input).filename().empty()) {
      error = "\"" + input + "\" is not the name of a file";
      return std::nullopt;
    }
    const std::string output = output_of(input, arguments).string();
    const auto [other, is_new] = writers.emplace(output, input);
    if (!is_new) {
      error = input + " is given twice";
      if (other->second != input)
        error = other->second + " and " + input + " would both be written to " + output;
      if (other->second != input && !arguments.keeps_folders)
        error += "; --keep-folders keeps folders apart";
      return std::nullopt;
    }
    if (const auto source = sources.find(file_of(output)); source != sources.end()) {
      error = input + " would be written over " + source->second + "; give another --out-dir";
      return std::nullopt;
    }
    jobs.push_back({input, output});
  }
  return jobs;
}

}  // namespace vesk::tools
