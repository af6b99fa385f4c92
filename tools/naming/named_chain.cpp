#include "tools/naming/named_chain.hpp"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "spec/chain_text.hpp"
#include "tools/naming/look_up.hpp"

namespace vesk::tools {
namespace {

constexpr std::size_t most_candidates = 8;

/// An element in parts: which component, what it was called, "id=value,..." and "@path".
struct Parts {
  std::string component;
  std::string label;
  std::string parameters;
  std::string preset;

  std::string text() const {
    return component + (parameters.empty() ? "" : "#" + parameters) + preset;
  }
  void add(const std::string& parameter) {
    if (!parameters.empty() && !parameters.ends_with(',')) parameters += ',';
    parameters += parameter;
  }
};

std::string in_quotes(std::string_view text) {
  return '"' + std::string(text) + '"';
}

bool is_digits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// "#parameters@preset", either of which may be missing, as they stand behind a component.
Parts split_rest(const std::string& component, const std::string& label, std::string_view rest) {
  Parts parts{component, label, {}, {}};
  const std::size_t at = std::min(rest.find('@'), rest.size());
  parts.preset = rest.substr(at);
  if (rest.starts_with('#')) parts.parameters = rest.substr(1, at - 1);
  return parts;
}

class Reader {
 public:
  Reader(const NameSources& sources, std::string& error) : sources_(sources), error_(error) {}

  std::optional<Parts> read_element(const std::string& text) {
    std::string ignored;
    if (const auto plain = parse_element(text, ignored)) {
      // A file's path holds whatever it likes.
      if (!plain->exs_path.empty()) return Parts{text, text, {}, {}};
      return split_rest(plain->name, plain->name,
                        std::string_view(text).substr(plain->name.size()));
    }
    std::optional<Parts> parts = find_plugin(text);
    if (!parts) return std::nullopt;
    const std::string list = std::exchange(parts->parameters, {});
    for (std::size_t from = 0; from < list.size();) {
      const std::size_t end = std::min(list.find(',', from), list.size());
      if (!set(*parts, std::string_view(list).substr(from, end - from))) return std::nullopt;
      from = end + 1;
    }
    return parts;
  }

  /// Adds "NAME=VALUE".
  bool set(Parts& parts, std::string_view setting) {
    const std::size_t equals = setting.rfind('=');
    if (equals == std::string_view::npos)
      return fail(in_quotes(setting) + " sets nothing; expected PARAMETER=VALUE");
    const std::string value(setting.substr(equals + 1));
    char* end = nullptr;
    std::strtof(value.c_str(), &end);
    if (value.empty() || *end != '\0') return fail(in_quotes(value) + " is no number");
    const auto id = find_parameter(parts, setting.substr(0, equals));
    if (id) parts.add(*id + "=" + value);
    return id.has_value();
  }

 private:
  bool fail(std::string sentence) {
    error_ = std::move(sentence);
    return false;
  }

  std::optional<Parts> find_plugin(const std::string& text) {
    std::string ignored;
    for (std::size_t end = text.size(); end > 0; --end) {
      if (end != text.size() && text[end] != '#' && text[end] != '@') continue;
      const std::string name = text.substr(0, end);
      if (const auto plain = parse_element(name, ignored); plain && plain->name == name)
        return split_rest(name, name, std::string_view(text).substr(end));
      const auto found = plugins_called(sources_.plugins(), name);
      if (found.empty()) continue;
      const InstalledPlugin* plugin = choose(name, found);
      if (plugin == nullptr) return std::nullopt;
      return split_rest(plugin->specification, plugin->name, std::string_view(text).substr(end));
    }
    say_unknown(text);
    return std::nullopt;
  }

  /// The one that a host runs.
  const InstalledPlugin* choose(const std::string& name,
                                std::vector<const InstalledPlugin*> found) {
    const InstalledPlugin* first = found.front();
    std::erase_if(found, [](const InstalledPlugin* plugin) { return !plugin->not_hosted.empty(); });
    if (found.size() == 1) return found.front();
    if (found.empty()) {
      fail(in_quotes(name) + " (" + first->specification +
           ") cannot be hosted: " + first->not_hosted);
      return nullptr;
    }
    std::string list;
    for (std::size_t i = 0; i < std::min(found.size(), most_candidates); ++i)
      list += (list.empty() ? ": " : ", ") + found[i]->specification + " (" +
              found[i]->component.name + ", " + found[i]->type + ")";
    if (found.size() > most_candidates)
      list += " and " + std::to_string(found.size() - most_candidates) + " more";
    fail(std::to_string(found.size()) + " plugins are called " + in_quotes(name) + list);
    return nullptr;
  }

  void say_unknown(const std::string& text) {
    // URIs have a '#' of their own.
    const std::string name =
        text.find("://") == std::string::npos ? text.substr(0, text.find_first_of("#@")) : text;
    std::vector<std::string> names;
    for (const InstalledPlugin& plugin : sources_.plugins()) {
      if (!plugin.not_hosted.empty()) continue;
      names.push_back(plugin.name);
      names.push_back(plugin.specification);
    }
    fail("no plugin is called " + in_quotes(name) + near_it(name, names));
  }

  /// The number of a parameter, as text.
  std::optional<std::string> find_parameter(const Parts& plugin, std::string_view name) {
    if (is_digits(name)) return std::string(name);
    const auto known = std::ranges::find(asked_, plugin.component, &Asked::first);
    const auto parameters = known != asked_.end() ? std::optional(known->second)
                                                  : sources_.parameters(plugin.component, error_);
    if (!parameters) return std::nullopt;
    if (known == asked_.end()) asked_.emplace_back(plugin.component, *parameters);
    std::vector<const ParameterDescription*> found;
    for (const auto text : {&ParameterDescription::symbol, &ParameterDescription::name}) {
      if (!found.empty()) break;
      for (const ParameterDescription& parameter : *parameters)
        if (parameter.is_writable && !name.empty() && is_same_name(parameter.*text, name))
          found.push_back(&parameter);
    }
    if (found.size() == 1) return std::to_string(found.front()->id);
    std::string reason = plugin.label;
    if (found.empty()) {
      std::vector<std::string> names;
      for (const ParameterDescription& parameter : *parameters) {
        if (!parameter.is_writable) continue;
        names.push_back(parameter.name);
        if (!parameter.symbol.empty()) names.push_back(parameter.symbol);
      }
      reason += " has no parameter " + in_quotes(name) + " that can be set" + near_it(name, names);
    } else {
      reason +=
          " has " + std::to_string(found.size()) + " parameters called " + in_quotes(name) + ":";
      for (const ParameterDescription* parameter : found)
        reason += " " + std::to_string(parameter->id) +
                  (parameter->symbol.empty() ? "" : " (" + parameter->symbol + ")");
    }
    fail(reason);
    return std::nullopt;
  }

  using Asked = std::pair<std::string, std::vector<ParameterDescription>>;
  const NameSources& sources_;
  std::string& error_;
  std::vector<Asked> asked_;
};

/// Takes "N:" from the front of a setting; without it the plugin is the first.
std::size_t take_plugin(std::string_view& setting) {
  const std::size_t colon = setting.find(':');
  if (colon == std::string_view::npos || !is_digits(setting.substr(0, colon))) return 1;
  const std::size_t plugin = std::strtoul(std::string(setting).c_str(), nullptr, 10);
  setting.remove_prefix(colon + 1);
  return plugin;
}

}  // namespace

std::optional<std::string> specification_of(const std::string& chain,
                                            const std::vector<std::string>& settings,
                                            const NameSources& sources, std::string& error) {
  Reader reader(sources, error);
  std::vector<Parts> elements;
  for (const std::string& text : split_chain(chain)) {
    auto parts = reader.read_element(text);
    if (!parts) return std::nullopt;
    elements.push_back(*std::move(parts));
  }
  for (const std::string& each : settings) {
    std::string_view setting = each;
    const std::size_t plugin = take_plugin(setting);
    if (plugin < 1 || plugin > elements.size()) {
      error = in_quotes(each) + ": the chain has " + std::to_string(elements.size()) +
              (elements.size() == 1 ? " plugin" : " plugins");
      return std::nullopt;
    }
    Parts& parts = elements[plugin - 1];
    if (parts.component.starts_with("exs:")) {
      error = in_quotes(each) + ": an instrument file takes no parameters";
      return std::nullopt;
    }
    if (!reader.set(parts, setting)) return std::nullopt;
  }
  std::string text;
  for (const Parts& parts : elements)
    text += (&parts == &elements.front() ? "" : "|") + parts.text();
  return text;
}

}  // namespace vesk::tools
