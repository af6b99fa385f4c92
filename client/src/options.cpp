#include "client/src/options.hpp"

#include <unistd.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <sstream>

#include "client/src/child_process.hpp"
#include "client/src/deadline.hpp"
#include "spec/chain_text.hpp"

namespace vesk::client {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

std::string decimal(double value) {
  char text[400];  // the largest double in full
  const auto [end, failure] =
      std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
  return failure == std::errc{} ? std::string(text, end) : std::string("?");
}

std::string canonical(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path real = std::filesystem::weakly_canonical(path, failure);
  if (!failure && real.is_absolute()) return real.string();
  return std::filesystem::absolute(path, failure).lexically_normal().string();
}

std::mutex g_claims_mutex;

std::set<std::string>& claims() {
  static std::set<std::string>& set = *new std::set<std::string>;
  return set;
}

}  // namespace

bool check_options(const Options& options, std::string& error) {
  const double rate = options.sample_rate_hz;
  if (!(rate >= 8'000 && rate <= 384'000)) {
    error = "a sample rate of " + decimal(rate) + " Hz is not between 8000 and 384000";
  } else if (options.max_frames < 1 || options.max_frames > host::buffer_frames) {
    error = "a largest period of " + std::to_string(options.max_frames) +
            " frames is not between 1 and 4096";
  } else if (options.mode == Mode::real_time &&
             (options.period_frames < 1 || options.period_frames > options.max_frames)) {
    error = "a period of " + std::to_string(options.period_frames) +
            " frames is not between 1 and the largest, " + std::to_string(options.max_frames);
  } else if (options.driver_priority < 0 || options.driver_priority > 99) {
    error = "a priority of " + std::to_string(options.driver_priority) +
            " is not between 1 and 99, nor 0 for unknown";
  } else if (options.chain.empty()) {
    error = "the chain names no plugin";
  } else if (options.chain.find('\0') != std::string::npos) {
    error = "the chain holds a NUL byte";
  } else if (options.start_limit.count() < 0 || options.stop_limit.count() < 0 ||
             options.hang_limit.count() < 0) {
    error = "a time limit is negative";
  } else {
    return true;
  }
  return false;
}

std::vector<std::string> host_arguments(const Options& options, const std::string& object) {
  // No nominal period asks for ordinary scheduling.
  const unsigned period = options.mode == Mode::offline ? 0 : options.period_frames;
  return {object, options.chain, decimal(options.sample_rate_hz),
          std::to_string(options.max_frames), std::to_string(period)};
}

std::string find_host_program(const Options& options, std::string& error) {
  if (!options.host_program.empty()) return options.host_program;
  // A program that changes its environment while it starts hosts has other worries.
  if (const char* named = std::getenv("VESK_HOST"); named != nullptr && *named != 0) return named;
  std::string path = find_own_program("vesk-host");
  if (path.empty())
    error = "no vesk-host in " + program_folder() +
            ", in bin beside it or on PATH; set VESK_HOST to it";
  return path;
}

std::string find_own_program(const std::string& name) {
  const std::string folder = program_folder();
  for (const char* place : {"/", "/../bin/"})
    if (const std::string path = folder + place + name; access(path.c_str(), X_OK) == 0)
      return path;
  // A parent that is installed elsewhere: where the shell looks.
  const char* const folders = std::getenv("PATH");
  std::istringstream places(folders != nullptr ? folders : "");
  for (std::string place; std::getline(places, place, ':');)
    if (const std::string path = place + '/' + name;
        !place.empty() && access(path.c_str(), X_OK) == 0)
      return path;
  return {};
}

milliseconds start_limit(const Options& options, unsigned plugins) {
  if (options.start_limit.count() > 0) return options.start_limit;
  return std::chrono::seconds(61) * plugins;
}

nanoseconds period_length(const Options& options) {
  return nanoseconds(std::llround(options.period_frames / options.sample_rate_hz * 1e9));
}

nanoseconds hang_limit(const Options& options) {
  if (options.hang_limit.count() > 0) return nanoseconds(deadline_after(0, options.hang_limit));
  if (options.mode == Mode::offline) return std::chrono::seconds(5);
  return std::max<nanoseconds>(100 * period_length(options), milliseconds(500));
}

bool PresetClaims::claim(const std::vector<std::string>& elements, std::string& error) {
  const std::lock_guard lock(g_claims_mutex);
  for (const std::string& text : elements) {
    // What does not parse is the host's to refuse, in its own words.
    std::string ignored;
    const auto element = parse_element(text, ignored);
    if (!element || element->preset_path.empty()) continue;
    std::string real = canonical(element->preset_path);
    if (!claims().insert(real).second) {
      error = "the preset " + element->preset_path + " is in use by another plugin";
      for (const std::string& taken : paths_) claims().erase(taken);
      paths_.clear();
      return false;
    }
    paths_.push_back(std::move(real));
  }
  return true;
}

void PresetClaims::release() noexcept {
  const std::lock_guard lock(g_claims_mutex);
  for (const std::string& path : paths_) claims().erase(path);
  paths_.clear();
}

}  // namespace vesk::client
