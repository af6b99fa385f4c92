#include "components/lv2/scan/jobs.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <system_error>

#include "components/lv2/catalogue/file.hpp"

namespace vesk::lv2::scan {
namespace {

constexpr std::size_t max_printed = 4096;
constexpr rlim_t max_results = 256u << 20;

struct Range {
  std::size_t first;
  std::size_t end;
};

std::string take_printed(const File& file) {
  const Bytes bytes =
      file.read(0, std::min<std::uint64_t>(file.size(), max_printed)).value_or(Bytes());
  // What is left untaken would be told of the next job.
  if (::ftruncate(file.descriptor(), 0) != 0) return {};
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

[[noreturn]] void read_all(const std::vector<Job>& jobs, Range range, const File& results,
                           const File& printed) {
  const rlimit limit{max_results, max_results};
  ::setrlimit(RLIMIT_FSIZE, &limit);
  ::signal(SIGXFSZ, SIG_DFL);
  ::fcntl(printed.descriptor(), F_SETFL, O_APPEND);
  ::dup2(printed.descriptor(), STDOUT_FILENO);
  ::dup2(printed.descriptor(), STDERR_FILENO);
  // Names come out the same in every locale: the cache is one for all. English rather than none,
  // with which lilv finds no name at all among several that are marked with a language.
  ::setenv("LANG", "en", 1);
  BundleReader reader;
  for (std::size_t job = range.first; job < range.end; ++job) {
    const Bytes payload = jobs[job](reader);
    ByteWriter result;
    result(payload, take_printed(printed));
    if (!write_all(results.descriptor(), result.take())) ::_exit(EX_TEMPFAIL);
  }
  ::_exit(EXIT_SUCCESS);
}

/// Signals that a process earns by what it does. Any other was sent: by the system for want of
/// memory, by a person, at a shutdown.
bool is_own_fault(int signal) {
  constexpr std::array faults{SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGTRAP, SIGXFSZ, SIGSYS};
  return std::ranges::find(faults, signal) != faults.end();
}

/// A forked reader of a batch.
class Reader {
 public:
  Reader(const std::vector<Job>& jobs, Range range) : range_(range) {
    if (!results_.is_open() || !printed_.is_open()) return;
    pid_ = ::fork();
    if (pid_ == 0) read_all(jobs, range, results_, printed_);
    // This needs one descriptor more, as lilv does there: it would take a file that it cannot open
    // for one that says nothing.
    if (pid_ > 0) end_ = File::of_process(pid_);
    if (pid_ > 0 && !end_.is_open()) ::kill(pid_, SIGKILL);
  }

  bool is_running() const { return end_.is_open(); }
  pollfd end() const { return {end_.descriptor(), POLLIN, 0}; }

  /// To be called about once a second: kills it when no result has come for too many calls.
  /// Counted so, and not by a clock, a scan that is stopped as a whole for a while blames nobody.
  void lose_patience(int patience_s) {
    const std::uint64_t size = results_.size();
    waited_s_ = size == size_seen_ ? waited_s_ + 1 : 0;
    size_seen_ = size;
    gave_up_ = waited_s_ >= patience_s;
    if (gave_up_) ::kill(pid_, SIGKILL);
  }

  /// After the end: hands over all results, blames the job that was being done and returns what
  /// is left to do.
  Range finish(const JobDone& done) {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    const Bytes bytes = results_.read_all();
    ByteReader from(bytes);
    while (range_.first < range_.end) {
      JobResult result;
      from(result.payload, result.printed);
      if (!from.ok()) break;
      done(range_.first++, result);
    }
    if (range_.first == range_.end) return range_;
    JobResult result;
    result.printed = take_printed(printed_);
    blame(status, result);
    done(range_.first++, result);
    return range_;
  }

 private:
  void blame(int status, JobResult& result) const {
    if (gave_up_) {
      result.failure = "kept its reader busy for " + std::to_string(waited_s_) + " s";
    } else if (WIFSIGNALED(status)) {
      const int signal = WTERMSIG(status);
      result.is_passing = !is_own_fault(signal);
      result.failure = std::string(result.is_passing ? "was not read: its reader was ended ("
                                                     : "crashed its reader (") +
                       ::strsignal(signal) + ")";
    } else {
      result.is_passing = WEXITSTATUS(status) == EX_TEMPFAIL;
      result.failure =
          result.is_passing ? "was not read: its reader had no memory" : "ended its reader";
    }
  }

  Range range_;
  File results_ = File::in_memory();
  File printed_ = File::in_memory();
  File end_;
  pid_t pid_ = -1;
  std::uint64_t size_seen_ = 0;
  int waited_s_ = 0;
  bool gave_up_ = false;
};

}  // namespace

void run_jobs(const std::vector<Job>& jobs, const JobDone& done, int patience_s,
              std::size_t batch) {
  std::deque<Range> batches;
  for (std::size_t first = 0; first < jobs.size(); first += batch)
    batches.push_back({first, std::min(first + batch, jobs.size())});
  const auto processors =
      static_cast<std::size_t>(std::clamp(::sysconf(_SC_NPROCESSORS_ONLN), 1L, 8L));
  std::vector<Reader> readers;
  while (!batches.empty() || !readers.empty()) {
    while (!batches.empty() && readers.size() < processors) {
      Reader reader(jobs, batches.front());
      if (!reader.is_running()) break;
      batches.pop_front();
      readers.push_back(std::move(reader));
    }
    if (readers.empty()) {
      // Not even one process is to be had.
      JobResult result;
      result.failure = "was not read: " + std::system_category().message(errno);
      result.is_passing = true;
      for (const Range& left : batches)
        for (std::size_t job = left.first; job < left.end; ++job) done(job, result);
      return;
    }
    std::vector<pollfd> ends(readers.size());
    std::ranges::transform(readers, ends.begin(), &Reader::end);
    const int ready = ::poll(ends.data(), ends.size(), 1000);
    for (std::size_t i = readers.size(); i-- > 0;) {
      if (ready == 0) readers[i].lose_patience(patience_s);
      if (ready <= 0 || ends[i].revents == 0) continue;
      const Range rest = readers[i].finish(done);
      if (rest.first < rest.end) batches.push_front(rest);
      readers.erase(readers.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
}

}  // namespace vesk::lv2::scan
