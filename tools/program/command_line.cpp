#include "tools/program/command_line.hpp"

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <system_error>

namespace vesk::tools {
bool to_number(const std::string& text, double& value) {
  // std::from_chars would do, but Apple's library has none for a double.
  if (text.empty() || text[0] == '+' ||
      text.find_first_not_of("0123456789.eE+-") != std::string::npos)
    return false;
  char* end = nullptr;
  value = std::strtod(text.c_str(), &end);
  return *end == '\0' && std::isfinite(value);
}

bool to_whole(const std::string& text, int low, int high, int& value) {
  const char* end = text.data() + text.size();
  const auto [stopped, status] = std::from_chars(text.data(), end, value);
  return status == std::errc() && stopped == end && value >= low && value <= high;
}

Option::Setter takes_path(std::string& target) {
  return [&target](const std::string& value, std::string& error) {
    if (value.empty()) error = "needs a file name";
    target = value;
    return !value.empty();
  };
}

Option::Setter takes_each(std::vector<std::string>& target) {
  return [&target](const std::string& value, std::string&) {
    target.push_back(value);
    return true;
  };
}

std::string text_asked_for(const std::vector<std::string>& words, const char* program,
                           const char* help) {
  for (const std::string& word : words) {
    if (word == "--") break;
    if (word == "--help" || word == "-h") return help;
    if (word == "--version") return std::string(program) + " " VESK_VERSION "\n";
  }
  return {};
}

void name_preset(ChainElement& plugin, const std::string& path) {
  // A preset path is all that follows the '@', to the element's end.
  if (!plugin.preset_path.empty())
    plugin.text.erase(plugin.text.size() - plugin.preset_path.size() - 1);
  plugin.text += "@" + path;
  plugin.preset_path = path;
}

std::string syntax_error(const std::string& reason) {
  return reason.starts_with("expected type:")
             ? "expected TYPE:SUBTYPE:MANUFACTURER, as vesk-list prints it"
             : reason;
}

bool read_chain(const std::string& text, ChainElements& chain, std::string& error) {
  std::string reason;
  auto parsed = parse_chain(text, ChainStart::either, reason);
  if (!parsed) {
    error = "chain \"" + text + "\": " + syntax_error(reason);
    return false;
  }
  chain = *std::move(parsed);
  return true;
}

bool read_command_line(const std::vector<std::string>& words, std::span<const Option> options,
                       std::string& chain, std::string& error) {
  std::vector<std::string> operands;
  if (!read_command_line(words, options, operands, error)) return false;
  if (operands.size() > 1) {
    error = "one chain at a time; \"" + operands[1] + "\" is a second one (quote a chain with '|')";
    return false;
  }
  if (!operands.empty()) chain = operands.front();
  return true;
}

bool read_command_line(const std::vector<std::string>& words, std::span<const Option> options,
                       std::vector<std::string>& operands, std::string& error) {
  bool only_operands = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (only_operands || word.size() < 2 || word[0] != '-') {
      operands.push_back(word);
      continue;
    }
    if (word == "--") {
      only_operands = true;
      continue;
    }
    const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string::npos;
    const std::string name = word.substr(0, equals);
    const Option* option = nullptr;
    for (const Option& candidate : options)
      if (name == candidate.name || (candidate.short_name && name == candidate.short_name))
        option = &candidate;
    if (!option) {
      error = "unknown option " + name;
      return false;
    }
    if (option->flag) {
      if (equals != std::string::npos) {
        error = name + " takes no value";
        return false;
      }
      *option->flag = true;
      continue;
    }
    std::string value;
    if (equals != std::string::npos) {
      value = word.substr(equals + 1);
    } else if (i + 1 < words.size()) {
      value = words[++i];
    } else {
      error = name + " needs a value";
      return false;
    }
    std::string reason;
    if (!option->take(value, reason)) {
      error = name;
      error += " " + reason;
      return false;
    }
  }
  return true;
}

}  // namespace vesk::tools
