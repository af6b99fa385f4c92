#include "tools/render/finished_work.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <vector>

#include "tools/program/input_file.hpp"
#include "tools/program/json.hpp"

namespace vesk::tools {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t longest_file = std::size_t{1} << 30;

std::int64_t nanoseconds(fs::file_time_type time) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
}

/// Where the file is, its length and when it was last written. A pipe is new each time.
Json stamp_of(const std::string& path) {
  std::error_code unknown, error;
  Json stamp = Json::array({fs::absolute(path, unknown).lexically_normal().string()});
  const std::uint64_t bytes = fs::file_size(path, error);
  if (!error) stamp.push_back(bytes);
  if (fs::exists(path, unknown))
    stamp.push_back(
        nanoseconds(error ? fs::file_time_type::clock::now() : fs::last_write_time(path, unknown)));
  return stamp;
}

std::string one_line(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string recipe_of(const RenderArguments& arguments, const BatchJob& job) {
  Json files = Json::array({stamp_of(job.input)});
  const auto add = [&files](const std::string& path) {
    if (!path.empty()) files.push_back(stamp_of(path));
  };
  add(arguments.midi_path);
  add(arguments.input_path);
  for (const ChainElement& plugin : arguments.chain) {
    add(plugin.preset_path);
    add(plugin.exs_path);
  }
  for (const auto& [plugin, settings] : arguments.start)
    for (const auto& [name, path] : settings.files) add(path);
  std::string program = text_asked_for({"--version"}, "vesk-render", "");
  program.pop_back();  // the end of its line
  return one_line({{"by", program},
                   {"chain", chain_text(arguments.chain)},
                   {"options", arguments.rendering_words},
                   {"files", files}});
}

FinishedWork::FinishedWork(const std::string& folder)
    : folder_(folder), path_((fs::path(folder) / ".vesk-render").string()) {
  int cause = 0;
  const auto bytes = read_file(path_, longest_file, cause);
  if (!bytes || bytes->empty()) return;
  must_end_line_ = bytes->back() != '\n';
  std::istringstream lines(std::string(bytes->begin(), bytes->end()));
  for (std::string line; std::getline(lines, line);) {
    const Json entry = Json::parse(line, nullptr, false);
    if (!entry.is_object() || !entry.contains("output") || !entry["output"].is_string() ||
        !entry.contains("bytes") || !entry["bytes"].is_number_unsigned() ||
        !entry.contains("recipe"))
      continue;
    entries_[entry["output"].get<std::string>()] = {one_line(entry["recipe"]),
                                                    entry["bytes"].get<std::uint64_t>()};
  }
}

std::string FinishedWork::key_of(const BatchJob& job) const {
  return fs::path(job.output).lexically_relative(folder_).string();
}

bool FinishedWork::has(const BatchJob& job, const std::string& recipe) const {
  const auto entry = entries_.find(key_of(job));
  std::error_code none;
  return entry != entries_.end() && entry->second.recipe == recipe &&
         fs::file_size(job.output, none) == entry->second.bytes && !none;
}

bool FinishedWork::add(const BatchJob& job, const std::string& recipe, std::string& error) {
  const std::lock_guard lock(mutex_);
  std::error_code unknown;
  std::string line = one_line({{"output", key_of(job)},
                               {"bytes", std::uint64_t{fs::file_size(job.output, unknown)}},
                               {"recipe", Json::parse(recipe)}}) +
                     "\n";
  if (must_end_line_) line.insert(0, 1, '\n');
  must_end_line_ = false;
  // In one write, and at the end, where another call may be writing as well.
  const int file = open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  const ssize_t count = file < 0 ? -1 : write(file, line.data(), line.size());
  const int cause = count < 0 ? errno : ENOSPC;
  if (file >= 0) close(file);
  if (count == static_cast<ssize_t>(line.size())) return true;
  must_end_line_ = count > 0;
  error = path_ + ": cannot be written: " + std::generic_category().message(cause);
  return false;
}

}  // namespace vesk::tools
