#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "spec/catalogue.hpp"
#include "spec/plugin_spec.hpp"
#include "tools/list/arguments.hpp"
#include "tools/list/columns.hpp"
#include "tools/list/instrument_listing.hpp"
#include "tools/list/parameter_listing.hpp"
#include "tools/list/plugin_listing.hpp"
#include "tools/list/problems.hpp"
#include "tools/naming/installed.hpp"
#include "tools/naming/look_up.hpp"
#include "tools/naming/named_chain.hpp"
#include "tools/parameters/question.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

NameSources sources() {
  return {[]() -> const InstalledPlugins& {
            static const InstalledPlugins plugins = installed_plugins(true);
            return plugins;
          },
          [](const std::string& specification, std::string& error) {
            return ask_parameters(specification, specification, 0, error);
          }};
}

/// The name of the installed component, as the platform has it.
std::string name_of(const AudioComponentDescription& wanted) {
  const std::vector<ComponentInfo> found = list_components(wanted);
  return found.empty() ? "" : found.front().name;
}

std::optional<std::string> plugin_answer(const ListArguments& arguments, std::string& error) {
  const bool wants_presets = !arguments.presets_of.empty();
  const auto text = specification_of(wants_presets ? arguments.presets_of : arguments.parameters_of,
                                     {}, sources(), error);
  if (!text) return std::nullopt;
  std::string reason;
  const auto spec = PluginSpec::parse(*text, reason);
  if (!spec) {
    error = *text + ": " + syntax_error(reason);
    return std::nullopt;
  }
  const auto plugin = ask_plugin(spec->text, spec->name, 0, {}, "", error);
  if (!plugin) return std::nullopt;
  const std::string name = name_of(spec->desc);
  if (arguments.as_json)
    return wants_presets ? presets_json(spec->name, name, *plugin)
                         : parameters_json(spec->name, name, *plugin);
  return spec->name + "  " + name + '\n' +
         (wants_presets ? presets_text(plugin->presets) : parameters_text(*plugin));
}

std::optional<std::string> instrument_answer(const ListArguments& arguments, std::string& error) {
  const auto contents = read_instrument(arguments.instrument, error);
  if (!contents) return std::nullopt;
  return arguments.as_json ? instrument_json(*contents) : instrument_text(*contents);
}

std::optional<std::string> problems_answer(const ListArguments& arguments, std::string& error) {
  auto problems = find_problems(error);
  if (!problems) return std::nullopt;
  std::erase_if(*problems, [&arguments](const Problem& problem) {
    return !holds_words(problem.what + '\n' + problem.name + '\n' + problem.reason,
                        arguments.words);
  });
  return arguments.as_json ? problems_json(*problems) : problems_text(*problems);
}

std::optional<std::string> list_answer(const ListArguments& arguments, std::string& error) {
  // On a terminal the LV2 scan shows how far it is, where there is something new to read.
  InstalledPlugins plugins = installed_plugins(arguments.as_json || !arguments.words.empty());
  const bool is_selected = arguments.type != 0 || !arguments.words.empty();
  std::erase_if(plugins, [&arguments](const InstalledPlugin& plugin) {
    return (arguments.type != 0 && plugin.component.desc.componentType != arguments.type) ||
           !holds_words(plugin, arguments.words);
  });
  if (arguments.as_json) return plugins_json(plugins);
  if (!plugins.empty() || !is_selected)
    return plugins_text(std::move(plugins), terminal_columns(STDOUT_FILENO));
  error =
      "nothing that is installed is of that kind; vesk-list --problems shows what is not hosted";
  return std::nullopt;
}

std::optional<std::string> answer_to(const ListArguments& arguments, std::string& error) {
  if (arguments.rescans && !rescan(error)) return std::nullopt;
  if (!arguments.parameters_of.empty() || !arguments.presets_of.empty())
    return plugin_answer(arguments, error);
  if (!arguments.instrument.empty()) return instrument_answer(arguments, error);
  if (arguments.shows_problems) return problems_answer(arguments, error);
  if (arguments.resolved.empty()) return list_answer(arguments, error);
  const auto text = specification_of(arguments.resolved, arguments.settings, sources(), error);
  return text ? std::optional(*text + '\n') : std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  std::optional<std::string> text = text_asked_for(words, "vesk-list", list_help);
  if (text->empty()) {
    const auto arguments = parse_list_arguments(words, error);
    if (!arguments) {
      std::fprintf(stderr, "vesk-list: %s; vesk-list --help tells how\n", error.c_str());
      return 2;
    }
    text = answer_to(*arguments, error);
  }
  if (text && print(STDOUT_FILENO, *text, error)) return 0;
  std::fprintf(stderr, "vesk-list: %s\n", error.c_str());
  return 1;
}
