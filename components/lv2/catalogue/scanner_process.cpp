#include "components/lv2/catalogue/scanner_process.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "components/lv2/catalogue/child_process.hpp"

namespace vesk::lv2 {
namespace {

namespace fs = std::filesystem;

constexpr const char* program_name = "vesk-lv2-scan";

}  // namespace

std::string scanner_path() {
  if (const char* path = std::getenv("VESK_LV2_SCAN"); path && *path) return path;
  std::vector<fs::path> candidates;
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
  if (!error) {
    candidates.push_back(program / program_name);
    candidates.push_back(program / ".." / "bin" / program_name);
  }
  Dl_info module{};
  if (::dladdr(reinterpret_cast<const void*>(&scanner_path), &module) != 0 && module.dli_fname) {
    candidates.push_back(fs::path(module.dli_fname).parent_path() / ".." / ".." / "bin" /
                         program_name);
  }
  for (const fs::path& candidate : candidates)
    if (::access(candidate.c_str(), X_OK) == 0) return candidate.string();
  return {};
}

std::optional<File> ask_scanner(const std::vector<std::string>& arguments, int limit_ms,
                                std::string& error) {
  const std::string program = scanner_path();
  if (program.empty()) {
    error = "the program vesk-lv2-scan was not found";
    return {};
  }
  File answer = File::in_memory();
  if (!answer.is_open()) {
    error = program + ": " + std::system_category().message(errno);
    return {};
  }
  ChildProcess scanner;
  if (!scanner.start(program, arguments, -1, answer.descriptor(), error)) return {};
  const bool ended = scanner.wait(limit_ms);
  scanner.end();
  if (!ended)
    error = program + ": no answer within " + std::to_string(limit_ms / 1000) + " s";
  else if (const std::string failure = scanner.failure(); !failure.empty())
    error = program + ": " + failure;
  else
    return answer;
  return {};
}

}  // namespace vesk::lv2
