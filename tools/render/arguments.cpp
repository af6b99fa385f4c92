#include "tools/render/arguments.hpp"

#include <algorithm>
#include <span>
#include <utility>

#include "host/block.hpp"
#include "tools/program/command_line.hpp"

namespace vesk::tools {

const std::string render_help =
    R"(vesk-render plays MIDI files or audio files through a chain of plugins, each period of it in a
host process of its own, and writes what comes back.

usage: vesk-render CHAIN INPUT -o OUTPUT [options]
       vesk-render CHAIN INPUT ... --out-dir FOLDER [options]
       vesk-render CHAIN --midi SONG.mid --input IN.wav -o OUTPUT [options]

CHAIN is one plugin or several, separated by '|': an instrument or an effect, then effects.
A plugin is its specification text as vesk-list prints it, its LV2 URI or its name ("MDA ePiano"),
optionally with parameters (#PARAMETER=value,...; by id, symbol or name) and a preset file (@path).
Quote the chain: the shell takes '|', '#' and blanks for its own. Names cost a look at what is
installed; the specification text that they stand for is printed once, on standard error.

INPUT is what the chain takes: an instrument a Standard MIDI File, an effect an audio file. Effects
of type aumf take both, INPUT and --midi. It can be - for standard input.

  -s, --set [N:]PARAMETER=VALUE
                          set a parameter of the chain's first plugin, or of its N-th
  -m, --midi FILE         Standard MIDI File to play (instruments, and effects of type aumf)
  -i, --input FILE        audio file to send through a chain that starts with an effect
  -o, --output FILE       written when all went well. It can be - for standard output, and then the
                          figures go to standard error
  -f, --format FORMAT     of the output, where its name does not end in one of these (wav):
                            wav   32-bit float, beyond 4 GB as RF64
                            flac  24-bit
                            ogg   Vorbis, about 320 kbit/s
                            opus  Opus, about 260 kbit/s
  -p, --plot FILE.png     draw the waveform over the spectrogram
)" + std::string(settings_help) +
    R"(  -r, --sample-rate HZ    8000 to 384000; without it the input's rate, or 48000. Input at
                          another rate is converted
      --period FRAMES     frames a period, 1 to 4096 (512)
      --start SECONDS     begin there in the song: with the controllers and programs of that moment,
                          without the notes that began before
      --preroll SECONDS   play so much of the song before that, unheard, so that notes and echoes are
                          under way (0)
      --duration SECONDS  play no more than this of the song
      --tempo BPM         beats a minute of the audio input, 1 to 999, for plugins that follow a
                          song; a MIDI file has its own
      --tail SECONDS      go on this long after the song's end. Without it until the sound has
                          stayed below -90 dBFS for a second, at most 30 seconds
      --keep-latency      leave the chain's latency at the start of the output
      --verify            render twice, and write nothing unless both make the same bytes
      --strict            write nothing when a warning says that something was hardly meant (see
                          the exit status)
      --out-dir FOLDER    write an output for every INPUT into this folder, under the INPUT's name
  -j, --jobs N            render so many INPUTs at a time, 1 to 64 (one a processor)
      --limit SECONDS     how long one try at an INPUT may take, 1 to 86400 (no limit)
      --keep-folders      put outputs into folders below --out-dir as their INPUTs are named
      --again             render also what an earlier call has finished
      --json              the figures and the warnings as a JSON object
  -q, --quiet             no progress bar, no figures
  -h, --help              this text
      --version           the program's version

With --out-dir every INPUT is rendered by a process of its own, and one that fails costs no other.
One that crashed or hung is tried a second time. What an earlier call has finished stays as it is,
when neither the options nor the files that they name have changed since: a call that was interrupted
goes on when it is given once more. FOLDER/.vesk-render keeps what was made from what.

examples:
  vesk-render 'aumu:Sm48:LV2_' song.mid -o song.wav --plot song.png
  vesk-render 'aumu:Sm48:LV2_#4=0.7|aufx:jvLs:LV2_#2=0.4' song.mid -o song.flac
  vesk-render 'MDA ePiano|MDA Delay' -s Hardness=0.4 -s '2:FX Mix=0.2' song.mid -o song.wav
  vesk-render 'aufx:kZu9:LV2_' voice.wav -o hall.wav --tail 4
  vesk-render 'aufx:kZu9:LV2_' drums/*.wav --out-dir wet --format flac --jobs 4
  vesk-render 'aumu:Sm48:LV2_' - -o - <song.mid | vesk-render 'aufx:kZu9:LV2_' - -o hall.opus

What was hardly meant is a line on standard error, and with --strict an error.

Exit status: 0 when the output is written, 1 when something failed or nothing is called so (one
line says what, and no output is left behind), 2 for a command line that makes no sense. With
--strict 3 for a parameter that a plugin does not have, 4 for a value outside its range, 5 for a
preset file that does not exist, 6 for output that is not finite, 7 for silence from beginning to
end. With --verify 8 when the second rendering differs. With --out-dir 0 when every output is there,
otherwise 1 or 2.
)";

namespace {

const char* const standard_input = "/dev/stdin";

template <typename Number>
Option::Setter takes_number(double least, double most, const char* unit, Number& target) {
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
    return takes_path(target)(value == "-" ? standard_input : value, error);
  };
}

Option::Setter takes_format(std::optional<AudioFormat>& target) {
  return [&target](const std::string& value, std::string& error) {
    AudioFormat format{};
    if (!format_called(value, format)) {
      error = "takes wav, flac, ogg or opus, not \"" + value + "\"";
      return false;
    }
    target = format;
    return true;
  };
}

/// Those that say how a rendering sounds, and hold for each of many.
std::vector<Option> rendering_options(RenderArguments& arguments) {
  std::vector<Option> options = {
      {"--midi", "-m", takes_source(arguments.midi_path)},
      {"--input", "-i", takes_source(arguments.input_path)},
      {"--sample-rate", "-r", takes_whole(8'000, 384'000, " Hz", arguments.sample_rate)},
      {"--period", nullptr,
       takes_whole(1, static_cast<int>(host::buffer_frames), " frames", arguments.period)},
      {"--tempo", nullptr, takes_number(1, 999, " beats a minute", arguments.tempo)},
      {"--start", nullptr, takes_number(0, 86'400, " seconds", arguments.start_seconds)},
      {"--preroll", nullptr, takes_number(0, 3600, " seconds", arguments.preroll_seconds)},
      {"--duration", nullptr, takes_number(0, 86'400, " seconds", arguments.duration_seconds)},
      {"--tail", nullptr, takes_number(0, 3600, " seconds", arguments.tail_seconds)},
      {"--keep-latency", nullptr, nullptr, &arguments.keep_latency},
      {"--strict", nullptr, nullptr, &arguments.is_strict},
      {"--verify", nullptr, nullptr, &arguments.verifies},
  };
  for (Option& option : setting_options(arguments.start)) options.push_back(std::move(option));
  return options;
}

std::vector<Option> other_options(RenderArguments& arguments, std::optional<AudioFormat>& format) {
  return {
      {"--set", "-s", takes_each(arguments.settings)},
      {"--output", "-o", takes_path(arguments.output_path)},
      {"--format", "-f", takes_format(format)},
      {"--plot", "-p", takes_path(arguments.plot_path)},
      {"--out-dir", nullptr, takes_path(arguments.out_dir)},
      {"--jobs", "-j", takes_whole(1, 64, "", arguments.jobs)},
      {"--limit", nullptr, takes_whole(1, 86'400, " seconds", arguments.limit_seconds)},
      {"--keep-folders", nullptr, nullptr, &arguments.keeps_folders},
      {"--again", nullptr, nullptr, &arguments.does_again},
      {"--json", nullptr, nullptr, &arguments.as_json},
      {"--quiet", "-q", nullptr, &arguments.quiet},
  };
}

/// Puts down every value that the option is given, as words of another command line.
void note_values(Option& option, std::vector<std::string>& words) {
  if (!option.take) return;
  option.take = [take = std::move(option.take), name = option.name, &words](
                    const std::string& value, std::string& error) {
    if (!take(value, error)) return false;
    words.push_back(std::string(name) + "=" + value);
    return true;
  };
}

/// Empty, or a sentence on what is wrong.
std::string choose_format(RenderArguments& arguments, std::optional<AudioFormat> wanted) {
  const std::string& path = arguments.output_path;
  AudioFormat named{};
  const bool is_named = format_of_name(path, named);
  const bool may_be_any = arguments.is_batch() || path == "-";
  if (!is_named && !wanted && !may_be_any)
    return "-o " + path + ": give --format, or a name that ends in .wav, .flac, .ogg or .opus";
  if (is_named && wanted && *wanted != named)
    return "-o " + path + ": the name and --format ask for different things";
  arguments.format = is_named ? named : wanted.value_or(AudioFormat::wav_float);
  return {};
}

/// Empty, or a sentence on what cannot be meant of one rendering, or of many.
std::string outputs_complaint(const RenderArguments& arguments) {
  const std::vector<std::string>& inputs = arguments.inputs;
  const bool reads_standard_input = arguments.midi_path == standard_input ||
                                    arguments.input_path == standard_input ||
                                    std::ranges::find(inputs, standard_input) != inputs.end();
  if (arguments.is_batch()) {
    if (inputs.empty()) return "--out-dir takes its INPUTs as words behind the chain";
    if (!arguments.output_path.empty() || !arguments.plot_path.empty())
      return "--output and --plot are for one rendering, --out-dir for many";
    if (reads_standard_input)
      return "--out-dir takes no standard input, which comes once and has no name";
    return {};
  }
  if (inputs.size() > 1)
    return "several INPUTs need --out-dir FOLDER; \"" + inputs[1] +
           "\" is a second one (quote a chain with blanks or '|')";
  if (arguments.jobs > 0 || arguments.limit_seconds > 0 || arguments.keeps_folders ||
      arguments.does_again)
    return "--jobs, --limit, --keep-folders and --again go with --out-dir";
  if (arguments.output_path.empty()) return "no output given (-o FILE)";
  if (!arguments.plot_path.empty() && !arguments.plot_path.ends_with(".png"))
    return "--plot " + arguments.plot_path + ": the name must end in .png";
  return {};
}

}  // namespace

std::optional<RenderArguments> parse_render_arguments(const std::vector<std::string>& words,
                                                      std::string& error) {
  RenderArguments arguments;
  std::optional<AudioFormat> format;
  std::vector<Option> options = rendering_options(arguments);
  const std::size_t of_rendering = options.size();
  for (Option& option : options) note_values(option, arguments.rendering_words);
  for (Option& option : other_options(arguments, format)) options.push_back(std::move(option));
  if (!read_command_line(words, options, arguments.inputs, error)) return std::nullopt;
  for (const Option& option : std::span(options).first(of_rendering))
    if (option.flag && *option.flag) arguments.rendering_words.emplace_back(option.name);
  if (!arguments.inputs.empty()) {
    arguments.chain_words = arguments.inputs.front();
    arguments.inputs.erase(arguments.inputs.begin());
  }
  std::ranges::replace(arguments.inputs, std::string("-"), std::string(standard_input));

  std::string complaint;
  if (arguments.chain_words.empty())
    complaint = "no chain given";
  else if (arguments.inputs.empty() && arguments.midi_path.empty() && arguments.input_path.empty())
    complaint = "nothing to play: give a MIDI file or an audio file";
  else if (!arguments.midi_path.empty() && arguments.midi_path == arguments.input_path)
    complaint = "--midi and --input are the same";
  else if (arguments.preroll_seconds > 0 && !(arguments.start_seconds > 0))
    complaint = "--preroll is what is played before --start, and there is none";
  else
    complaint = outputs_complaint(arguments);
  if (complaint.empty()) complaint = choose_format(arguments, format);
  if (complaint.empty()) return arguments;
  error = complaint;
  return std::nullopt;
}

bool take_chain(RenderArguments& arguments, const std::string& specification, std::string& error) {
  if (!read_chain(specification, arguments.chain, error) ||
      !check_settings(arguments.start, arguments.chain, error))
    return false;
  const ChainElement& first = arguments.chain.front();
  std::string& place = first.is_effect() ? arguments.input_path : arguments.midi_path;
  if (!arguments.inputs.empty()) {
    if (!place.empty()) {
      error = "\"" + arguments.inputs.front() + "\" is an INPUT beside " +
              (first.is_effect() ? "--input " : "--midi ") + place +
              " (quote a chain with blanks or '|')";
      return false;
    }
    place = arguments.inputs.front();
  }
  if (first.is_effect() && arguments.input_path.empty())
    error = first.name + " is an effect and needs audio, as INPUT or by --input";
  else if (!first.is_effect() && !arguments.input_path.empty())
    error = first.name + " is no effect and takes no --input";
  else if (!first.takes_midi() && !arguments.midi_path.empty())
    error = first.name + " takes no MIDI events (effects of type aumf do)";
  else if (arguments.tempo && !arguments.midi_path.empty())
    error = "--tempo is for audio input; " + arguments.midi_path + " has a tempo of its own";
  else {
    // Of many, each rendering has its own.
    if (arguments.is_batch()) place.clear();
    return true;
  }
  return false;
}

}  // namespace vesk::tools
