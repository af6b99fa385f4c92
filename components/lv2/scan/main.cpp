// vesk-lv2-scan: reads the descriptions of installed LV2 plugins and keeps them for the hosts.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "components/lv2/catalogue/cache_file.hpp"
#include "components/lv2/catalogue/component_code.hpp"
#include "components/lv2/catalogue/record.hpp"
#include "components/lv2/catalogue/shared_object.hpp"
#include "components/lv2/scan/jobs.hpp"
#include "components/lv2/scan/update.hpp"

namespace vesk::lv2::scan {
namespace {

constexpr const char* usage =
    "Usage: vesk-lv2-scan [--rebuild] [--list | --details | --problems] [--verbose]\n"
    "\n"
    "Reads the descriptions of all LV2 plugins on LV2_PATH and keeps them in a cache from which\n"
    "vesk-host starts plugins. Hosts run it themselves when the cache lacks what they want; there\n"
    "is no need to.\n"
    "\n"
    "  --rebuild   forget the cache first (plugins that once failed to be read are tried again)\n"
    "  --list      print every plugin: the text that names it in a chain and its name, or why it\n"
    "              cannot be hosted\n"
    "  --details   print what can be hosted, one a line, with tabs between: the text that names "
    "it,\n"
    "              its URI, how many audio, MIDI and CV ports it has (inputs, then outputs, of "
    "each),\n"
    "              how many parameters and presets, the kinds of its interfaces, its classes\n"
    "  --problems  print what cannot be hosted: URI or bundle, name and reason, with tabs "
    "between.\n"
    "              Opens every library to see whether it can be\n"
    "  --verbose   show what was printed while each plugin was read\n"
    "  --help      print this text\n"
    "  --version   print the program's version\n"
    "\n"
    "Environment:\n"
    "  LV2_PATH    folders with LV2 bundles, separated by colons\n"
    "  VESK_CACHE  folder of the cache (else XDG_CACHE_HOME/vesk, else ~/.cache/vesk)\n";

struct Options {
  bool rebuild = false;
  bool list = false;
  bool details = false;
  bool problems = false;
  bool verbose = false;
  /// What a host asks for, answered with bytes on standard output.
  std::optional<Request> answer;
  std::span<const std::string_view> preset;  ///< its plugin's bundle, its own, the plugin, itself
};

/// Nothing when the arguments make no sense, with a line on standard error.
std::optional<Options> parse(const std::vector<std::string_view>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    const std::size_t left = arguments.size() - i - 1;
    if (argument == "--rebuild") {
      options.rebuild = true;
    } else if (argument == "--list") {
      options.list = true;
    } else if (argument == "--details") {
      options.details = true;
    } else if (argument == "--problems") {
      options.problems = true;
    } else if (argument == "--verbose") {
      options.verbose = true;
    } else if (argument == "--answer-all") {
      options.answer = Request{.everything = true};
    } else if (argument == "--answer-code" && left >= 1 && code_from_text(arguments[i + 1]) != 0) {
      options.answer = Request{.code = code_from_text(arguments[++i])};
    } else if (argument == "--answer-uri" && left >= 1) {
      options.answer = Request{.uri = std::string(arguments[++i])};
    } else if (argument == "--answer-preset" && left >= 4) {
      options.preset = {&arguments[i + 1], 4};
      i += 4;
    } else {
      std::fprintf(stderr, "vesk-lv2-scan: '%s' is not understood; see vesk-lv2-scan --help\n",
                   std::string(argument).c_str());
      return {};
    }
  }
  return options;
}

Progress progress_for(const Options& options) {
  Progress progress;
  if (::isatty(STDERR_FILENO) != 0) {
    progress.step = [](std::size_t done, std::size_t all) {
      if (all < 2) return;
      std::fprintf(stderr, "\rReading LV2 plugins: %zu of %zu%s", done, all,
                   done == all ? "\n" : "");
    };
  }
  if (options.verbose) {
    progress.printed = [](const std::string& what, const std::string& printed) {
      std::fprintf(stderr, "%s:\n%s%s", what.c_str(), printed.c_str(),
                   printed.ends_with('\n') ? "" : "\n");
    };
  }
  return progress;
}

/// Where one of the standard descriptors is closed, the next file opened would take its place.
void fill_standard_descriptors() {
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) descriptor = ::open("/dev/null", O_RDWR);
  if (descriptor >= 0) ::close(descriptor);
}

/// Why an entry cannot be hosted; empty when it can.
std::string why_not(const Entry& entry) {
  return entry.not_hosted.empty() && entry.code == 0 ? "others have both of its codes"
                                                     : entry.not_hosted;
}

/// What names a plugin in a chain.
std::string specification_of(const Entry& entry) {
  return code_text(entry.type) + ":" + code_text(entry.code) + ":LV2_";
}

void print_list(const Index& index) {
  for (const Entry& entry : index.entries) {
    const std::string reason = why_not(entry);
    const std::string text = reason.empty() ? specification_of(entry) : std::string("-");
    std::printf("%-14s  %s  <%s>%s\n", text.c_str(), entry.title.c_str(), entry.uri.c_str(),
                reason.empty() ? "" : ("  (" + reason + ")").c_str());
  }
  for (const Bundle& bundle : index.bundles) {
    if (bundle.map.failure.empty()) continue;
    std::printf("%-14s  %s  (its manifest %s)\n", "-", bundle.folder.path.c_str(),
                bundle.map.failure.c_str());
  }
}

/// A text that cannot break its line or its column.
std::string column(std::string text) {
  std::ranges::replace_if(text, [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
  return text;
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return column(text);
}

void print_details(const Index& index) {
  for (const Entry& entry : index.entries) {
    if (!why_not(entry).empty()) continue;
    const Outline& has = entry.outline;
    std::printf("%s\t%s\t%u\t%u\t%u\t%u\t%u\t%u\t%u\t%u\t%s\t%s\n", specification_of(entry).c_str(),
                column(entry.uri).c_str(), has.audio_inputs, has.audio_outputs, has.midi_inputs,
                has.midi_outputs, has.cv_inputs, has.cv_outputs, has.parameters, has.presets,
                joined(has.editors).c_str(), joined(has.classes).c_str());
  }
}

void print_problem(const std::string& what, const std::string& name, const std::string& reason) {
  if (reason.empty()) return;
  std::printf("%s\t%s\t%s\n", column(what).c_str(), column(name).c_str(), column(reason).c_str());
}

/// Why libraries cannot be opened, by their paths. Each is opened in a process of its own: what one
/// does there, and the place that it takes, is not to be blamed on the next.
std::map<std::string, std::string> broken_libraries(const std::vector<std::string>& libraries,
                                                    const Progress& progress) {
  std::vector<Job> jobs;
  jobs.reserve(libraries.size());
  for (const std::string& library : libraries)
    jobs.push_back([&library](BundleReader&) {
      std::string error;
      if (open_shared_object(library, error) != nullptr) return Bytes();
      const auto words = std::as_bytes(std::span(error));
      return Bytes(words.begin(), words.end());
    });
  std::map<std::string, std::string> broken;
  std::size_t finished = 0;
  run_jobs(
      jobs,
      [&](std::size_t job, const JobResult& result) {
        std::string reason = result.failure;
        if (reason.empty())
          reason.assign(reinterpret_cast<const char*>(result.payload.data()),
                        result.payload.size());
        if (!reason.empty()) broken[libraries[job]] = reason;
        if (progress.step) progress.step(++finished, libraries.size());
      },
      20, 1);
  return broken;
}

void print_problems(const Installed& installed, const Progress& progress) {
  const Index& index = installed.index;
  std::vector<std::string> library_of(index.entries.size());
  for (std::size_t i = 0; i < index.entries.size(); ++i)
    if (const auto record = decode<PluginRecord>(installed.records[i]); record)
      library_of[i] = record->description.library;
  std::vector<std::string> libraries = library_of;
  std::ranges::sort(libraries);
  const auto twins = std::ranges::unique(libraries);
  libraries.erase(twins.begin(), twins.end());
  std::erase(libraries, "");
  const auto broken = broken_libraries(libraries, progress);
  for (std::size_t i = 0; i < index.entries.size(); ++i) {
    const Entry& entry = index.entries[i];
    std::string reason = why_not(entry);
    const auto found = broken.find(library_of[i]);
    if (reason.empty() && found != broken.end())
      reason = "its library cannot be opened: " + found->second;
    print_problem(entry.uri, entry.title, reason);
  }
  for (const Bundle& bundle : index.bundles)
    print_problem(bundle.folder.path, "",
                  bundle.map.failure.empty() ? "" : "its manifest " + bundle.map.failure);
}

void print_summary(const Installed& installed, const std::string& path, bool stored) {
  const auto& entries = installed.index.entries;
  const auto hosted = std::ranges::count_if(
      entries, [](const Entry& entry) { return entry.not_hosted.empty() && entry.code != 0; });
  const std::size_t bundles = installed.index.bundles.size();
  std::printf("%zu LV2 %s in %zu %s, %td can be hosted.\n", entries.size(),
              entries.size() == 1 ? "plugin" : "plugins", bundles,
              bundles == 1 ? "bundle" : "bundles", hosted);
  if (stored) {
    std::printf("Cache: %s\n", path.c_str());
  } else {
    std::printf("No cache was written: %s\n",
                path.empty() ? "there is no folder for it" : path.c_str());
  }
}

int answer_preset(std::span<const std::string_view> preset) {
  const std::vector<std::string> words(preset.begin(), preset.end());
  const Job job = [&words](BundleReader& reader) {
    const auto state = reader.preset(words[0], words[1], words[2], words[3]);
    return state ? encode(*state) : Bytes();
  };
  JobResult answer;
  run_jobs({job}, [&](std::size_t, const JobResult& result) { answer = result; });
  if (!answer.failure.empty())
    std::fprintf(stderr, "vesk-lv2-scan: preset %s %s\n", words[3].c_str(), answer.failure.c_str());
  return !answer.payload.empty() && write_all(STDOUT_FILENO, answer.payload) ? 0 : 1;
}

bool has_printed() {
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

int scan(const Options& options) {
  const std::string path = cache_file_path();
  const File lock = lock_cache(path);
  std::optional<CacheFile> known;
  if (!options.rebuild) known = CacheFile::open(path);
  // Nothing is decoded but what is printed, as in a host that lists everything.
  if (options.details && known && known->index().is_complete() && known->index().is_current()) {
    print_details(known->index());
    return has_printed() ? 0 : 1;
  }
  const Request request = options.answer.value_or(Request{.everything = true});
  const Progress progress = progress_for(options);
  Installed installed = update(known, request, progress);
  bool stored = known && !installed.changed;
  if (!stored) stored = write_cache_file(path, encode_cache(installed.index, installed.records));
  if (options.answer) {
    const Entry* wanted = request.find_in(installed.index);
    for (std::size_t i = 0; i < installed.records.size(); ++i)
      if (&installed.index.entries[i] != wanted) installed.records[i].clear();
    return write_all(STDOUT_FILENO, encode_cache(installed.index, installed.records)) ? 0 : 1;
  }
  if (options.problems)
    print_problems(installed, progress);
  else if (options.details)
    print_details(installed.index);
  else if (options.list)
    print_list(installed.index);
  else
    print_summary(installed, path, stored);
  return has_printed() ? 0 : 1;
}

}  // namespace
}  // namespace vesk::lv2::scan

int main(int argc, char** argv) {
  using namespace vesk::lv2::scan;
  fill_standard_descriptors();
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  if (std::ranges::find(arguments, "--help") != arguments.end()) {
    std::fputs(usage, stdout);
    return 0;
  }
  if (std::ranges::find(arguments, "--version") != arguments.end()) {
    std::fputs("vesk-lv2-scan " VESK_VERSION "\n", stdout);
    return 0;
  }
  const auto options = parse(arguments);
  if (!options) return 2;
  // A reader of our output that has gone away, or a limit on files, ends the write, not the
  // process.
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  return options->preset.empty() ? scan(*options) : answer_preset(options->preset);
}
