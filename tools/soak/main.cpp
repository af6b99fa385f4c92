#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "tools/naming/installed.hpp"
#include "tools/naming/look_up.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/interruption.hpp"
#include "tools/program/output_file.hpp"
#include "tools/program/standard_output.hpp"
#include "tools/soak/arguments.hpp"
#include "tools/soak/report.hpp"
#include "tools/soak/report_formats.hpp"
#include "tools/soak/soak_all.hpp"
#include "tools/soak/virtual_display.hpp"

namespace {

using namespace vesk;
using namespace vesk::tools;

int say(const std::string& sentence, int status) {
  std::fprintf(stderr, "vesk-soak: %s\n", sentence.c_str());
  return status;
}

bool is_delay(const InstalledPlugin& plugin) {
  return plugin.lv2 && std::ranges::any_of(plugin.lv2->classes, [](const std::string& word) {
           return word == "DelayPlugin" || word == "ReverbPlugin";
         });
}

std::vector<Candidate> everything_hosted() {
  std::vector<Candidate> candidates;
  for (const InstalledPlugin& plugin : installed_plugins(true)) {
    std::string ignored;
    if (!plugin.not_hosted.empty()) continue;
    if (auto element = parse_element(plugin.specification, ignored))
      candidates.push_back({*std::move(element), plugin.component.name, is_delay(plugin)});
  }
  return candidates;
}

/// Takes those that are wanted out of what is there. A specification that is not there is soaked
/// all the same: its host says why it cannot be.
bool choose(const std::vector<std::string>& wanted, const std::vector<Candidate>& there,
            std::vector<Candidate>& chosen, std::string& error) {
  for (const std::string& words : wanted) {
    const std::size_t before = chosen.size();
    std::ranges::copy_if(there, std::back_inserter(chosen), [&](const Candidate& each) {
      return each.element.name.find(words) != std::string::npos || holds_words(each.name, {words});
    });
    if (chosen.size() > before) continue;
    std::string reason;
    auto element = parse_element(words, reason);
    if (!element || element->text != element->name) {
      error = "\"" + words + "\" is no part of what vesk-list shows, and no plain " +
              "TYPE:SUBTYPE:MANUFACTURER";
      return false;
    }
    chosen.push_back({*std::move(element), ""});
  }
  return true;
}

/// Where editors are shown: on the display there is, outside of its screen, or on one of our own.
std::unique_ptr<VirtualDisplay> find_display(SoakSettings& settings) {
  settings.editor_environment = {"VESK_PLUGIN_WINDOWS_OFFSCREEN=1"};
  const char* const display = std::getenv("DISPLAY");
  settings.opens_editors = display && *display;
  if (settings.opens_editors) return nullptr;
  auto own = VirtualDisplay::start();
  settings.opens_editors = own != nullptr;
  if (own) settings.editor_environment.push_back("DISPLAY=" + own->name());
  return own;
}

bool write_junit(const SoakArguments& arguments, const std::vector<SoakResult>& results,
                 std::string& error) {
  if (arguments.junit_path.empty()) return true;
  const std::string text = soak_junit(results, arguments.is_strict);
  auto file = OutputFile::create(arguments.junit_path, error);
  return file && file->write(text.data(), text.size(), error) && file->commit(error);
}

int run(SoakArguments& arguments) {
  std::string error;
  const std::vector<Candidate> there = everything_hosted();
  std::vector<Candidate> chosen;
  if (arguments.all)
    chosen = there;
  else if (!choose(arguments.wanted, there, chosen, error))
    return say(error, 2);
  watch_for_interruption();
  std::vector<SoakResult> results;
  {
    const bool wants_display =
        !arguments.no_editors && level_of(arguments.settings.level).editors > 0;
    const auto display = wants_display ? find_display(arguments.settings) : nullptr;
    if (wants_display && !arguments.settings.opens_editors)
      say("editors are not opened: there is no display, and no Xvfb to make one", 0);
    results = soak_all(arguments.settings, chosen, arguments.jobs, !arguments.quiet);
  }
  const std::string text = arguments.as_json       ? soak_json(results, arguments.is_strict)
                           : arguments.as_markdown ? soak_markdown(results, arguments.is_strict)
                                                   : soak_text(results, arguments.is_strict);
  if (!print(STDOUT_FILENO, text, error) || !write_junit(arguments, results, error))
    return say(error, 1);
  if (interruption() != 0) end_by_signal(interruption());
  const bool all_passed = std::ranges::all_of(
      results, [&](const SoakResult& result) { return has_passed(result, arguments.is_strict); });
  return all_passed ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  make_size_limit_an_error();
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  if (const std::string text = text_asked_for(words, "vesk-soak", soak_help().c_str());
      !text.empty())
    return print(STDOUT_FILENO, text, error) ? 0 : say(error, 1);
  auto arguments = parse_soak_arguments(words, error);
  if (!arguments) return say(error + "; vesk-soak --help tells how", 2);
  return run(*arguments);
}
