#include "client/src/line_store.hpp"

#include <algorithm>

namespace vesk::client {

void LineStore::feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t end = bytes.find('\n');
    const std::string_view piece = bytes.substr(0, end);
    partial_ += piece.substr(0, longest_line - std::min(longest_line, partial_.size()));
    if (end == std::string_view::npos) return;
    finish();
    bytes.remove_prefix(end + 1);
  }
}

void LineStore::finish() {
  if (partial_.empty()) return;
  std::deque<std::string>& lines = partial_.starts_with("plugin host") ? host_ : plugin_;
  lines.push_back(std::move(partial_));
  partial_.clear();
  if (lines.size() > kept_lines) lines.pop_front();
}

std::string_view LineStore::death_line() const noexcept {
  const auto found = std::find_if(host_.rbegin(), host_.rend(), [](const std::string& line) {
    return line.find(" died in ") != std::string::npos;
  });
  return found == host_.rend() ? std::string_view{} : std::string_view{*found};
}

}  // namespace vesk::client
