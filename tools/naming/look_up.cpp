#include "tools/naming/look_up.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace vesk::tools {
namespace {

constexpr std::size_t most_suggestions = 5;

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string folded(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = folded(c);
  return result;
}

/// How many letters must be put in, left out or exchanged to make one text the other.
std::size_t typing_between(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0u);
  for (std::size_t i = 1; i <= one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t exchanged = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({exchanged, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

bool is_same_name(std::string_view one, std::string_view other) {
  return std::ranges::equal(
      one, other, {}, [](char c) { return folded(c); }, [](char c) { return folded(c); });
}

bool holds_words(std::string_view text, const std::vector<std::string>& words) {
  const std::string within = folded(text);
  return std::ranges::all_of(words, [&](const std::string& word) {
    return within.find(folded(word)) != std::string::npos;
  });
}

bool holds_words(const InstalledPlugin& plugin, const std::vector<std::string>& words) {
  // A line break keeps a word from matching across two of them.
  std::string text =
      plugin.name + '\n' + plugin.maker + '\n' + plugin.type + '\n' + plugin.specification + '\n';
  if (plugin.lv2) {
    text += plugin.lv2->uri + '\n';
    for (const std::string& each : plugin.lv2->classes) text += each + '\n';
  }
  return holds_words(text, words);
}

std::vector<const InstalledPlugin*> plugins_called(const InstalledPlugins& plugins,
                                                   std::string_view text) {
  std::vector<const InstalledPlugin*> found;
  for (const InstalledPlugin& plugin : plugins) {
    const bool is_called_so =
        (!plugin.name.empty() && is_same_name(plugin.name, text)) ||
        (!plugin.maker.empty() && (is_same_name(plugin.maker + ": " + plugin.name, text) ||
                                   is_same_name(plugin.maker + " " + plugin.name, text))) ||
        (plugin.lv2 && plugin.lv2->uri == text);
    if (is_called_so) found.push_back(&plugin);
  }
  return found;
}

std::vector<std::string> names_near(std::string_view text, const std::vector<std::string>& names) {
  const std::string wanted = folded(text);
  std::vector<std::pair<std::size_t, std::string>> near;
  for (const std::string& name : names) {
    const std::string is = folded(name);
    const std::size_t typing = typing_between(wanted, is);
    const bool holds_it = !wanted.empty() && is.find(wanted) != std::string::npos;
    if (holds_it || typing <= wanted.size() / 4) near.emplace_back(typing, name);
  }
  std::ranges::sort(near);
  std::vector<std::string> result;
  for (auto& [typing, name] : near) {
    const auto is_it = [&name](const std::string& other) { return is_same_name(name, other); };
    if (result.size() < most_suggestions && std::ranges::none_of(result, is_it))
      result.push_back(std::move(name));
  }
  return result;
}

std::string near_it(std::string_view text, const std::vector<std::string>& names) {
  std::string words;
  for (const std::string& name : names_near(text, names))
    words += (words.empty() ? "; near it: " : ", ") + name;
  return words;
}

}  // namespace vesk::tools
