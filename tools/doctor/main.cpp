#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/doctor/facts.hpp"
#include "tools/doctor/grant.hpp"
#include "tools/doctor/judge.hpp"
#include "tools/doctor/report.hpp"
#include "tools/program/command_line.hpp"
#include "tools/program/progress_bar.hpp"
#include "tools/program/standard_output.hpp"

namespace {

using namespace vesk::tools;

constexpr char help[] =
    R"(vesk-doctor tells what this machine grants for real-time audio, what that means for periods, and
which command or file mends what is wrong on Debian. It changes nothing itself.

usage: vesk-doctor [--json]

      --json              for programs
  -h, --help              this text
      --version           the program's version

It asks for real-time scheduling as a host does, with the rights of whoever starts it, and measures
how late a thread wakes: for a second beside what runs anyway, and for a second beside a thread on
every CPU that never sleeps. A period is fine where the worst wake-up took no more than a quarter of
it. Start it where hosts are started: another session, service or container has other limits.

Exit status: 0 fine, 1 when something is to be mended, 2 for a command line that makes no sense.
)";

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  std::string error;
  std::string text = text_asked_for(words, "vesk-doctor", help);
  bool is_fine = true;
  if (text.empty()) {
    bool as_json = false;
    const Option options[] = {{"--json", nullptr, nullptr, &as_json}};
    std::vector<std::string> operands;
    if (read_command_line(words, options, operands, error) && !operands.empty())
      error = "cannot use " + operands.front();
    if (!error.empty()) {
      std::fprintf(stderr, "vesk-doctor: %s; vesk-doctor --help tells how\n", error.c_str());
      return 2;
    }
    // Before asking, which lowers a limit.
    const Facts facts = read_facts("");
    Grant grant;
    {
      ProgressBar bar("measuring wake-ups", true);
      grant =
          ask_and_measure(usual_frames, usual_rate, [&bar](double share) { bar.show(share, ""); });
    }
    const Diagnosis diagnosis = judge(facts, grant);
    is_fine = diagnosis.is_fine();
    text = as_json ? doctor_json(diagnosis, grant) : doctor_text(diagnosis, grant);
  }
  if (print(STDOUT_FILENO, text, error)) return is_fine ? 0 : 1;
  std::fprintf(stderr, "vesk-doctor: %s\n", error.c_str());
  return 1;
}
