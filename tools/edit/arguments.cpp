#include "tools/edit/arguments.hpp"

#include <algorithm>
#include <set>
#include <utility>

#include "host/block.hpp"
#include "tools/live/preset_file.hpp"
#include "tools/program/command_line.hpp"

namespace vesk::tools {

const std::string edit_help =
    R"(vesk-edit opens the editors of a chain of plugins, keeps what is changed in them in the
chain's preset files, and ends when the last editor is closed.

usage: vesk-edit CHAIN [options]

CHAIN is one plugin or several, separated by '|', as for vesk-render. A plugin is its specification
text as vesk-list prints it, its LV2 URI or its name ("MDA ePiano"), optionally with parameters
(#PARAMETER=value,...; by id, symbol or name) and a preset file (@path). What is changed in a
plugin's editor goes to its preset file, which is made when it is not there; without a preset file it
is lost. Quote the chain: the shell takes '|', '#' and blanks for its own. The specification text that
names stand for is printed once, on standard error.

A preset file that exists is said to be rewritten before it is opened, and what it held is kept
beside it, with a '~' after its name.

  -s, --set [N:]PARAMETER=VALUE
                          set a parameter of the chain's first plugin, or of its N-th
      --copy-to FILE      leave the chain's preset file as it is and work on a copy, FILE, which
                          must not exist
)" + std::string(settings_help) +
    R"(      --save              write the chain's preset files as they would be opened, open no editor,
                          and end
      --play SONG.mid     play a MIDI file meanwhile, over and over
      --notes             play test notes meanwhile: an arpeggio, over and over. A chain that
                          starts with an effect is sent plucked tones of the same notes
      --jack              be heard, and played, through a JACK server (jackd, or PipeWire's)
      --connect           the same, connected to the first physical outputs and to MIDI from all
                          physical inputs
  -r, --sample-rate HZ    8000 to 384000 (48000); with --jack the server's
      --period FRAMES     frames a period, 1 to 4096 (512); with --jack the server's
  -h, --help              this text
      --version           the program's version

Periods are rendered at the pace at which they would be heard, which nothing is without --jack. With
it the chain has the ports that vesk-play gives one, and is started again when it dies, with what it
saved. Ctrl-C closes the editors, which saves, and ends. A second one does not wait for that.

examples:
  vesk-edit aumu:Sm48:LV2_@piano.aupreset --notes --connect
  vesk-edit 'MDA ePiano@piano.aupreset' --set Hardness=0.4
  vesk-edit aumu:Sm48:LV2_@piano.aupreset --copy-to bright.aupreset
  vesk-edit aumu:Sm48:LV2_@mellow.aupreset --preset Mellow --save
  vesk-edit 'aumu:Sm48:LV2_@p.aupreset|aufx:kZu9:LV2_@hall.aupreset' --play song.mid

Exit status: 0 when everything is saved, 1 when something failed (one line says what), 2 for a
command line that makes no sense.
)";

namespace {

/// The mask of open editors has a bit for each.
constexpr std::size_t longest_chain = 32;
constexpr int usual_rate = 48'000;
constexpr std::uint32_t usual_period = 512;

std::vector<Option> options_for(EditArguments& arguments) {
  std::vector<Option> options = {
      {"--set", "-s", takes_each(arguments.settings)},
      {"--copy-to", nullptr, takes_path(arguments.copy_path)},
      {"--play", nullptr, takes_path(arguments.midi_path)},
      {"--notes", nullptr, nullptr, &arguments.plays_notes},
      {"--jack", nullptr, nullptr, &arguments.is_live},
      {"--connect", nullptr, nullptr, &arguments.connects},
      {"--sample-rate", "-r", takes_whole(8'000, 384'000, " Hz", arguments.sample_rate)},
      {"--period", nullptr,
       takes_whole(1, static_cast<int>(host::buffer_frames), " frames", arguments.period)},
      {"--save", nullptr, nullptr, &arguments.only_saves},
  };
  for (Option& option : setting_options(arguments.start)) options.push_back(std::move(option));
  return options;
}

bool check_chain(const EditArguments& arguments, std::string& error) {
  if (arguments.chain.size() > longest_chain) {
    error = "a chain of more than " + std::to_string(longest_chain) + " plugins cannot be shown";
    return false;
  }
  if (!arguments.midi_path.empty() && !arguments.chain.front().takes_midi()) {
    error = "the chain starts with an effect that takes no MIDI events; --notes sends it tones";
    return false;
  }
  const auto names_preset = [](const ChainElement& plugin) { return !plugin.preset_path.empty(); };
  if (arguments.only_saves && std::ranges::none_of(arguments.chain, names_preset)) {
    error = "--save, and the chain names no preset file (@path)";
    return false;
  }
  std::set<std::string> paths;
  for (const ChainElement& plugin : arguments.chain) {
    if (!plugin.preset_path.empty() && !paths.insert(plugin.preset_path).second) {
      error = "two plugins of the chain name the preset file " + plugin.preset_path;
      return false;
    }
  }
  return true;
}

}  // namespace

std::optional<EditArguments> parse_edit_arguments(const std::vector<std::string>& words,
                                                  std::string& error) {
  EditArguments arguments;
  if (!read_command_line(words, options_for(arguments), arguments.chain_words, error))
    return std::nullopt;
  const bool is_pace_given = arguments.sample_rate != 0 || arguments.period != 0;
  if (arguments.sample_rate == 0) arguments.sample_rate = usual_rate;
  if (arguments.period == 0) arguments.period = usual_period;
  arguments.is_live |= arguments.connects;
  if (arguments.chain_words.empty())
    error = "no chain given";
  else if (arguments.is_live && is_pace_given)
    error = "sample rate and period are the JACK server's";
  else if (arguments.plays_notes && !arguments.midi_path.empty())
    error = "--play or --notes, not both";
  else
    return arguments;
  return std::nullopt;
}

bool take_chain(EditArguments& arguments, const std::string& specification, std::string& error) {
  if (!read_chain(specification, arguments.chain, error)) return false;
  return check_chain(arguments, error) && check_settings(arguments.start, arguments.chain, error) &&
         (arguments.copy_path.empty() ||
          replace_preset(arguments.chain, arguments.copy_path, arguments.original_path, error));
}

}  // namespace vesk::tools
