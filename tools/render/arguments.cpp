#include "tools/render/arguments.hpp"

#include <utility>

#include "host/block.hpp"
#include "tools/program/command_line.hpp"

namespace vesk::tools {

const std::string render_help =
    R"(vesk-render plays a MIDI file or an audio file through a chain of plugins, each period of it
in a host process of its own, and writes what comes back.

usage: vesk-render CHAIN --midi SONG.mid -o OUT.wav [options]
       vesk-render CHAIN --input IN.wav  -o OUT.wav [options]

CHAIN is one plugin or several, separated by '|': an instrument or an effect, then effects.
A plugin is its specification text as vesk-list prints it, its LV2 URI or its name ("MDA ePiano"),
optionally with parameters (#PARAMETER=value,...; by id, symbol or name) and a preset file (@path).
Quote the chain: the shell takes '|', '#' and blanks for its own. Names cost a look at what is
installed; the specification text that they stand for is printed once, on standard error.

  -s, --set [N:]PARAMETER=VALUE
                          set a parameter of the chain's first plugin, or of its N-th
  -m, --midi FILE         Standard MIDI File to play (instruments, and effects of type aumf)
  -i, --input FILE        audio file to send through a chain that starts with an effect
  -o, --output FILE       .wav (32-bit float), .flac (24-bit) or .ogg (Vorbis); written when all
                          went well. FILE can be - in all three: standard input, or a WAV to
                          standard output, and then the figures go to standard error
  -p, --plot FILE.png     draw the waveform over the spectrogram
)" + std::string(settings_help) +
    R"(  -r, --sample-rate HZ    8000 to 384000; without it the input's rate, or 48000. Input at
                          another rate is converted
      --period FRAMES     frames a period, 1 to 4096 (512)
      --duration SECONDS  play no more than this of the song
      --tempo BPM         beats a minute of the audio input, 1 to 999, for plugins that follow a
                          song; a MIDI file has its own
      --tail SECONDS      go on this long after the song's end. Without it until the sound has
                          stayed below -90 dBFS for a second, at most 30 seconds
      --keep-latency      leave the chain's latency at the start of the output
      --strict            write nothing when a warning says that something was hardly meant (see
                          the exit status)
      --json              the figures and the warnings as a JSON object
  -q, --quiet             no progress bar, no figures
  -h, --help              this text
      --version           the program's version

examples:
  vesk-render 'aumu:Sm48:LV2_' --midi song.mid -o song.wav --plot song.png
  vesk-render 'aumu:Sm48:LV2_#4=0.7|aufx:jvLs:LV2_#2=0.4' --midi song.mid -o song.flac
  vesk-render 'MDA ePiano|MDA Delay' -s Hardness=0.4 -s '2:FX Mix=0.2' --midi song.mid -o song.wav
  vesk-render 'aufx:kZu9:LV2_' --input voice.wav -o hall.wav --tail 4

What was hardly meant is a line on standard error, and with --strict an error.

Exit status: 0 when the output is written, 1 when something failed or nothing is called so (one
line says what, and no output is left behind), 2 for a command line that makes no sense. With
--strict 3 for a parameter that a plugin does not have, 4 for a value outside its range, 5 for a
preset file that does not exist, 6 for output that is not finite, 7 for silence from beginning to
end.
)";

namespace {

Option::Setter takes_number(double least, double most, const char* unit,
                            std::optional<double>& target) {
  return [=, &target](const std::string& value, std::string& error) {
    double number = 0.0;
    if (!to_number(value, number) || !(number >= least && number <= most)) {
      error = "takes " + std::to_string(static_cast<int>(least)) + " to " +
              std::to_string(static_cast<int>(most)) + unit + ", not \"" + value + "\"";
      return false;
    }
    target = number;
    return true;
  };
}

/// A setter of a file to read, where "-" is standard input.
Option::Setter takes_source(std::string& target) {
  return [&target](const std::string& value, std::string& error) {
    return takes_path(target)(value == "-" ? "/dev/stdin" : value, error);
  };
}

std::vector<Option> options_for(RenderArguments& arguments) {
  std::vector<Option> options = {
      {"--set", "-s", takes_each(arguments.settings)},
      {"--midi", "-m", takes_source(arguments.midi_path)},
      {"--input", "-i", takes_source(arguments.input_path)},
      {"--output", "-o", takes_path(arguments.output_path)},
      {"--plot", "-p", takes_path(arguments.plot_path)},
      {"--sample-rate", "-r", takes_whole(8'000, 384'000, " Hz", arguments.sample_rate)},
      {"--period", nullptr,
       takes_whole(1, static_cast<int>(host::buffer_frames), " frames", arguments.period)},
      {"--tempo", nullptr, takes_number(1, 999, " beats a minute", arguments.tempo)},
      {"--duration", nullptr, takes_number(0, 86'400, " seconds", arguments.duration_seconds)},
      {"--tail", nullptr, takes_number(0, 3600, " seconds", arguments.tail_seconds)},
      {"--keep-latency", nullptr, nullptr, &arguments.keep_latency},
      {"--strict", nullptr, nullptr, &arguments.is_strict},
      {"--json", nullptr, nullptr, &arguments.as_json},
      {"--quiet", "-q", nullptr, &arguments.quiet},
  };
  for (Option& option : setting_options(arguments.start)) options.push_back(std::move(option));
  return options;
}

}  // namespace

std::optional<RenderArguments> parse_render_arguments(const std::vector<std::string>& words,
                                                      std::string& error) {
  RenderArguments arguments;
  if (!read_command_line(words, options_for(arguments), arguments.chain_words, error))
    return std::nullopt;
  if (arguments.chain_words.empty())
    error = "no chain given";
  else if (arguments.midi_path.empty() && arguments.input_path.empty())
    error = "nothing to play: give --midi FILE or --input FILE";
  else if (arguments.output_path.empty())
    error = "no output given (-o FILE)";
  else if (!format_of_name(arguments.output_path, arguments.format))
    error = "-o " + arguments.output_path + ": the name must end in .wav, .flac or .ogg";
  else if (!arguments.plot_path.empty() && !arguments.plot_path.ends_with(".png"))
    error = "--plot " + arguments.plot_path + ": the name must end in .png";
  else if (!arguments.midi_path.empty() && arguments.midi_path == arguments.input_path)
    error = "--midi and --input are the same";
  else
    return arguments;
  return std::nullopt;
}

bool take_chain(RenderArguments& arguments, const std::string& specification, std::string& error) {
  if (!read_chain(specification, arguments.chain, error) ||
      !check_settings(arguments.start, arguments.chain, error))
    return false;
  const ChainElement& first = arguments.chain.front();
  if (first.is_effect() && arguments.input_path.empty())
    error = first.name + " is an effect and needs --input";
  else if (!first.is_effect() && !arguments.input_path.empty())
    error = first.name + " is no effect and takes no --input";
  else if (!first.takes_midi() && !arguments.midi_path.empty())
    error = first.name + " takes no MIDI events (effects of type aumf do)";
  else if (arguments.tempo && !arguments.midi_path.empty())
    error = "--tempo is for audio input; " + arguments.midi_path + " has a tempo of its own";
  else
    return true;
  return false;
}

}  // namespace vesk::tools
