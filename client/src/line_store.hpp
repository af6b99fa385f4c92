#pragma once

#include <deque>
#include <string>
#include <string_view>

namespace vesk::client {

/// Puts '?' in the place of control characters other than tabs: what a host says may end up on a
/// terminal, which would obey them.
void replace_controls(std::string& text) noexcept;

/// The last lines of one host's standard error: its own, which begin "plugin host", apart from
/// what plugins print. Without control characters.
class LineStore {
 public:
  static constexpr std::size_t kept_lines = 32;
  static constexpr std::size_t longest_line = 1024;  ///< bytes; the rest of a line is dropped

  void feed(std::string_view bytes);
  /// Takes what has no line end yet as a line; for when nothing more comes.
  void finish();

  const std::deque<std::string>& host_lines() const noexcept { return host_; }
  const std::deque<std::string>& plugin_lines() const noexcept { return plugin_; }

  /// The host's last line that tells of a crash, of a plugin or its own, or empty.
  std::string_view death_line() const noexcept;
  /// Its last line about the process itself ("plugin host: ..."), or empty.
  std::string_view process_line() const noexcept;

 private:
  template <typename Wanted>
  std::string_view last_host_line(Wanted wanted) const noexcept;

  std::string partial_;
  std::deque<std::string> host_;
  std::deque<std::string> plugin_;
};

}  // namespace vesk::client
