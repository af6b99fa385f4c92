#include "client/src/line_store.hpp"

#include <algorithm>

namespace vesk::client {

void replace_controls(std::string& text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte < 0x20 && byte != '\t') || byte == 0x7f) text[i] = '?';
    // U+0080 to U+009F, which terminals obey too.
    if (byte == 0xc2 && i + 1 < text.size() &&
        (static_cast<unsigned char>(text[i + 1]) & 0xe0) == 0x80)
      text[i] = text[i + 1] = '?';
  }
}

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
  replace_controls(partial_);
  std::deque<std::string>& lines = partial_.starts_with("plugin host") ? host_ : plugin_;
  lines.push_back(std::move(partial_));
  partial_.clear();
  if (lines.size() > kept_lines) lines.pop_front();
}

std::string_view LineStore::death_line() const noexcept {
  return last_host_line([](std::string_view line) {
    return line.find(" died in ") != line.npos ||
           line.find(": died outside its plugins: ") != line.npos;
  });
}

std::string_view LineStore::process_line() const noexcept {
  return last_host_line([](std::string_view line) { return line.starts_with("plugin host: "); });
}

template <typename Wanted>
std::string_view LineStore::last_host_line(Wanted wanted) const noexcept {
  const auto found = std::find_if(host_.rbegin(), host_.rend(), wanted);
  return found == host_.rend() ? std::string_view{} : std::string_view{*found};
}

}  // namespace vesk::client
