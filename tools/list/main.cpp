#include <unistd.h>

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "spec/catalogue.hpp"
#include "spec/plugin_spec.hpp"
#include "tools/list/arguments.hpp"
#include "tools/list/component_listing.hpp"
#include "tools/list/instrument_listing.hpp"
#include "tools/list/parameter_listing.hpp"
#include "tools/list/problems.hpp"
#include "tools/parameters/question.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

/// The installed component with the three codes of `wanted`, for its name.
std::string name_of(const AudioComponentDescription& wanted) {
  const std::vector<ComponentInfo> found = list_components(wanted);
  return found.empty() ? "" : found.front().name;
}

std::optional<std::string> parameters_answer(const ListArguments& arguments, std::string& error) {
  std::string reason;
  const auto spec = PluginSpec::parse(arguments.parameters_of, reason);
  if (!spec) {
    error = arguments.parameters_of + ": " + syntax_error(reason);
    return std::nullopt;
  }
  const auto parameters = ask_parameters(spec->text, spec->name, 0, error);
  if (!parameters) return std::nullopt;
  const std::string name = name_of(spec->desc);
  if (arguments.as_json) return parameters_json(spec->name, name, *parameters);
  return spec->name + "  " + name + '\n' +
         (parameters->empty() ? "no parameters\n" : parameters_text(*parameters));
}

std::optional<std::string> instrument_answer(const ListArguments& arguments, std::string& error) {
  const auto contents = read_instrument(arguments.instrument, error);
  if (!contents) return std::nullopt;
  return arguments.as_json ? instrument_json(*contents) : instrument_text(*contents);
}

std::optional<std::string> problems_answer(const ListArguments& arguments, std::string& error) {
  const auto problems = find_problems(error);
  if (!problems) return std::nullopt;
  return arguments.as_json ? problems_json(*problems) : problems_text(*problems);
}

std::optional<std::string> answer_to(const ListArguments& arguments, std::string& error) {
  if (arguments.rescans && !rescan(error)) return std::nullopt;
  if (!arguments.parameters_of.empty()) return parameters_answer(arguments, error);
  if (!arguments.instrument.empty()) return instrument_answer(arguments, error);
  if (arguments.shows_problems) return problems_answer(arguments, error);
  // On a terminal the LV2 scan shows how far it is, where there is something new to read.
  const std::vector<ComponentInfo> components = list_components(AudioComponentDescription{});
  return arguments.as_json ? listing_json(components) : listing_text(components);
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
