#include "vesk/plugin_names.hpp"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "client/src/address_wait.hpp"
#include "client/src/child_process.hpp"
#include "client/src/deadline.hpp"
#include "client/src/guarded.hpp"
#include "client/src/line_store.hpp"
#include "client/src/options.hpp"
#include "spec/chain_text.hpp"

namespace vesk::client {
namespace {

constexpr const char* list_name = "vesk-list";
/// More than a chain and what is said of bundles on the way to it.
constexpr std::size_t longest_output = std::size_t{1} << 20;

bool is_plain(const std::string& chain) {
  std::string ignored;
  return std::ranges::all_of(split_chain(chain), [&ignored](const std::string& element) {
    return parse_element(element, ignored).has_value();
  });
}

/// Whether it can travel as one word of a command line and come back as one line.
bool is_one_line(const std::string& text) {
  return text.find_first_of(std::string_view("\n\0", 2)) == std::string::npos;
}

std::string find_list_program(const NamedChain& chain, std::string& error) {
  if (!chain.list_program.empty()) return chain.list_program;
  if (const char* host = std::getenv("VESK_HOST"); host != nullptr && *host != 0) {
    const std::string path(host);
    const std::size_t slash = path.rfind('/');
    const std::string beside = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    if (const std::string list = beside + list_name; access(list.c_str(), X_OK) == 0) return list;
  }
  std::string path = find_own_program(list_name);
  if (path.empty())
    error =
        std::string("plugins are looked up by ") + list_name + ", which is not beside vesk-host";
  return path;
}

/// What the program says until it ends, errors and answer in one; true when it ended by itself.
bool hear(ChildProcess& program, std::chrono::milliseconds limit, std::string& said,
          Ending& ending) {
  const std::int64_t deadline = deadline_after(now_ns(), limit);
  const auto drain = [&] {
    std::array<char, 4096> bytes;
    while (program.output_descriptor() >= 0) {
      const ssize_t count = read(program.output_descriptor(), bytes.data(), bytes.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) return;
      if (count == 0) return program.close_output();
      said.append(bytes.data(), static_cast<std::size_t>(count));
      if (said.size() > longest_output) said.erase(0, said.size() - longest_output);
    }
  };
  bool is_late = false;
  while (!program.take_ending(ending)) {
    if (!is_late && now_ns() >= deadline) {
      program.kill();
      is_late = true;
    }
    std::array<pollfd, 2> ends{
        {{program.output_descriptor(), POLLIN, 0}, {program.exit_descriptor(), POLLIN, 0}}};
    constexpr int look_interval_ms = 20;
    poll(ends.data(), ends.size(), look_interval_ms);
    drain();
  }
  drain();
  return !is_late;
}

std::string last_line(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  const std::size_t before = text.rfind('\n');
  return before == std::string::npos ? text : text.substr(before + 1);
}

std::optional<std::string> look_up(const NamedChain& chain, std::string& error) {
  Launch launch;
  launch.program = find_list_program(chain, error);
  if (launch.program.empty()) return std::nullopt;
  launch.arguments = {"--resolve=" + chain.text};
  for (const std::string& setting : chain.settings) launch.arguments.push_back("--set=" + setting);
  const auto program = ChildProcess::launch(launch, error);
  if (program == nullptr) return std::nullopt;
  std::string said;
  Ending ending;
  if (!hear(*program, chain.limit, said, ending)) {
    error = launch.program + " took longer than the limit to look up " + chain.text;
    return std::nullopt;
  }
  // It says the one thing that it was asked for at last.
  std::string answer = last_line(std::move(said));
  if (ending.signal == 0 && ending.status == 0 && is_plain(answer)) return answer;
  constexpr std::string_view own = "vesk-list: ";
  replace_controls(answer);
  if (answer.starts_with(own))
    error = answer.substr(own.size());
  else
    error = launch.program + " ended without an answer" +
            (ending.signal != 0 ? " (" + signal_text(ending.signal) + ")" : "");
  return std::nullopt;
}

}  // namespace

std::optional<std::string> specification_of(const NamedChain& chain, std::string& error) noexcept {
  return guarded(error, [&]() -> std::optional<std::string> {
    if (chain.settings.empty() && is_plain(chain.text)) return chain.text;
    if (chain.limit.count() < 0) {
      error = "a time limit is negative";
      return std::nullopt;
    }
    if (!is_one_line(chain.text) || !std::ranges::all_of(chain.settings, is_one_line)) {
      error = "a chain to look up holds a line break or a NUL byte";
      return std::nullopt;
    }
    return look_up(chain, error);
  });
}

}  // namespace vesk::client
