#include <cstdio>
#include <string>
#include <vector>

#include "spec/catalogue.hpp"
#include "spec/plugin_spec.hpp"
#include "tools/list/arguments.hpp"
#include "tools/list/component_listing.hpp"
#include "tools/list/parameter_listing.hpp"
#include "tools/parameters/question.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

/// The installed component with the three codes of `wanted`, for its name.
std::string name_of(const AudioComponentDescription& wanted) {
  const std::vector<ComponentInfo> found = list_components(wanted);
  return found.empty() ? "" : found.front().name;
}

bool print_parameters(const ListArguments& arguments, std::string& error) {
  std::string reason;
  const auto spec = PluginSpec::parse(arguments.parameters_of, reason);
  if (!spec) {
    error = arguments.parameters_of + ": " + reason;
    return false;
  }
  const auto parameters = ask_parameters(spec->text, spec->name, 0, error);
  if (!parameters) return false;
  const std::string name = name_of(spec->desc);
  if (arguments.as_json) {
    std::fputs(parameters_json(spec->name, name, *parameters).c_str(), stdout);
    return true;
  }
  std::printf("%s  %s\n", spec->name.c_str(), name.c_str());
  std::fputs(parameters->empty() ? "no parameters\n" : parameters_text(*parameters).c_str(),
             stdout);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  const auto arguments = parse_list_arguments({argv + 1, argv + argc}, error);
  if (!arguments) {
    std::fprintf(stderr, "vesk-list: %s; vesk-list --help tells how\n", error.c_str());
    return 2;
  }
  if (arguments->wants_help) {
    std::fputs(list_help, stdout);
  } else if (!arguments->parameters_of.empty()) {
    if (!print_parameters(*arguments, error)) {
      std::fprintf(stderr, "vesk-list: %s\n", error.c_str());
      return 1;
    }
  } else {
    // On a terminal the LV2 scan shows how far it is, where there is something new to read.
    const std::vector<ComponentInfo> components = list_components(AudioComponentDescription{});
    std::fputs((arguments->as_json ? listing_json(components) : listing_text(components)).c_str(),
               stdout);
  }
  if (std::fflush(stdout) != 0) {
    std::perror("vesk-list: standard output");
    return 1;
  }
  return 0;
}
