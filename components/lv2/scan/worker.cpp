#include "components/lv2/scan/worker.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <deque>
#include <memory>

#include "components/lv2/catalogue/clock.hpp"
#include "components/lv2/catalogue/record.hpp"
#include "components/lv2/catalogue/system_text.hpp"
#include "components/lv2/catalogue/write_all.hpp"
#include "components/lv2/scan/bundle_reader.hpp"

namespace vesk::lv2::scan {
namespace {

// The slowest description known takes 0.1 s on a busy machine.
constexpr std::int64_t job_limit_ms = 20'000;
constexpr std::size_t max_noise = 4096;
constexpr std::uint32_t max_payload = 256u << 20;

/// A file in memory that takes a child's standard output and error, readable after its death.
class Noise {
 public:
  Noise() : descriptor_(memfd_create("noise", MFD_CLOEXEC)) {}
  ~Noise() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Noise(const Noise&) = delete;
  Noise& operator=(const Noise&) = delete;

  void take_over_output() const {
    if (descriptor_ < 0) return;
    ::fcntl(descriptor_, F_SETFL, O_APPEND);
    ::dup2(descriptor_, STDOUT_FILENO);
    ::dup2(descriptor_, STDERR_FILENO);
  }
  std::string take() const {
    std::string text(max_noise, '\0');
    const ssize_t size = ::pread(descriptor_, text.data(), text.size(), 0);
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    if (size > 0 && ::ftruncate(descriptor_, 0) != 0) text.clear();
    return text;
  }

 private:
  int descriptor_;
};

Bytes perform(BundleReader& reader, const Job& job) {
  ByteWriter to;
  switch (job.kind) {
    case Job::Kind::map:
      encode(to, reader.map(job.bundle));
      break;
    case Job::Kind::describe:
      if (auto record = reader.describe(job.bundle, job.extra_bundles, job.uri))
        to.raw(encode_record(*record));
      break;
    case Job::Kind::preset:
      if (const auto state =
              reader.preset(job.bundle, job.extra_bundles.front(), job.uri, job.preset)) {
        encode(to, *state);
      }
      break;
  }
  return to.take();
}

[[noreturn]] void child_main(const std::vector<Job>& jobs, const std::deque<std::size_t>& mine,
                             int pipe, const Noise& noise) {
  noise.take_over_output();
  // Names come out the same in every locale: the cache is one for all. English rather than none,
  // with which lilv finds no name at all among several that are marked with a language.
  ::setenv("LANG", "en", 1);
  BundleReader reader;
  for (const std::size_t job : mine) {
    const Bytes payload = perform(reader, jobs[job]);
    ByteWriter message;
    message.blob(payload);
    message.text(noise.take());
    if (!write_all(pipe, message.bytes())) _exit(1);
  }
  // Without exit handlers: libraries that dynamic manifests loaded may have some.
  _exit(0);
}

class Child {
 public:
  Child(const std::vector<Job>& jobs, std::deque<std::size_t> mine, const JobDone& done)
      : jobs_(jobs), left_(std::move(mine)), done_(done) {}

  bool start() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(ends[0]);
      child_main(jobs_, left_, ends[1], noise_);
    }
    ::close(ends[1]);
    pipe_ = ends[0];
    deadline_ms_ = now_ms() + job_limit_ms;
    if (pid_ > 0) return true;
    ::close(pipe_);
    return false;
  }

  int pipe() const { return pipe_; }
  std::int64_t deadline_ms() const { return deadline_ms_; }

  bool ended() const { return ended_; }

  /// Takes what the pipe holds, or the news of the child's end.
  void receive() {
    std::byte buffer[65536];
    const ssize_t got = ::read(pipe_, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) return;
    if (got <= 0) {
      ended_ = true;
      return;
    }
    received_.insert(received_.end(), buffer, buffer + got);
    while (take_message()) {
    }
  }

  void kill() {
    timed_out_ = true;
    ::kill(pid_, SIGKILL);
  }

  /// After the end: blames the job that was being done and gives back the others.
  std::deque<std::size_t> finish() {
    ::close(pipe_);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    if (left_.empty()) return {};
    JobResult result;
    result.noise = noise_.take();
    if (timed_out_)
      result.failure = "kept its reader busy for " + std::to_string(job_limit_ms / 1000) + " s";
    else if (WIFSIGNALED(status))
      result.failure = std::string("crashed its reader (") + signal_text(WTERMSIG(status)) + ")";
    else
      result.failure = "ended its reader";
    const std::size_t culprit = left_.front();
    left_.pop_front();
    done_(culprit, result);
    return left_;
  }

 private:
  bool take_message() {
    if (left_.empty()) return false;
    ByteReader from(received_);
    const auto payload = from.blob();
    const std::string noise = from.text();
    if (!from.ok()) {
      if (received_.size() > max_payload) kill();
      return false;
    }
    const JobResult result{Bytes(payload.begin(), payload.end()), {}, noise};
    const std::size_t used = 2 * sizeof(std::uint32_t) + payload.size() + noise.size();
    const std::size_t job = left_.front();
    left_.pop_front();
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(used));
    deadline_ms_ = now_ms() + job_limit_ms;
    done_(job, result);
    return true;
  }

  const std::vector<Job>& jobs_;
  std::deque<std::size_t> left_;
  const JobDone& done_;
  Noise noise_;
  Bytes received_;
  pid_t pid_ = -1;
  int pipe_ = -1;
  std::int64_t deadline_ms_ = 0;
  bool timed_out_ = false;
  bool ended_ = false;
};

class Pool {
 public:
  Pool(const std::vector<Job>& jobs, std::size_t jobs_a_chunk, const JobDone& done)
      : jobs_(jobs), done_(done) {
    for (std::size_t job = 0; job < jobs.size(); ++job) {
      if (job % jobs_a_chunk == 0) chunks_.emplace_back();
      chunks_.back().push_back(job);
    }
    const long processors = ::sysconf(_SC_NPROCESSORS_ONLN);
    limit_ = static_cast<std::size_t>(std::clamp(processors, 1L, 8L));
  }

  void run() {
    while (start_children()) {
      wait();
      reap();
    }
  }

 private:
  /// False when nothing is left to wait for.
  bool start_children() {
    while (!chunks_.empty() && children_.size() < limit_) {
      auto child = std::make_unique<Child>(jobs_, chunks_.front(), done_);
      if (!child->start()) {
        if (!children_.empty()) return true;  // when one has ended there may be room
        for (const auto& chunk : chunks_) give_up(chunk);
        chunks_.clear();
        return false;
      }
      chunks_.pop_front();
      children_.push_back(std::move(child));
    }
    return !children_.empty();
  }

  void give_up(const std::deque<std::size_t>& chunk) {
    JobResult result;
    result.failure = std::string("had no process to read it (") + error_text(errno) + ")";
    for (const std::size_t job : chunk) done_(job, result);
  }

  void wait() {
    std::vector<pollfd> polled;
    std::int64_t deadline = children_.front()->deadline_ms();
    for (const auto& child : children_) {
      polled.push_back({child->pipe(), POLLIN, 0});
      deadline = std::min(deadline, child->deadline_ms());
    }
    const auto wait_ms = std::clamp<std::int64_t>(deadline - now_ms(), 0, job_limit_ms);
    if (::poll(polled.data(), polled.size(), static_cast<int>(wait_ms) + 1) < 0) return;
    for (std::size_t i = 0; i < children_.size(); ++i) {
      Child& child = *children_[i];
      if (polled[i].revents != 0)
        child.receive();
      else if (now_ms() > child.deadline_ms())
        child.kill();
    }
  }

  void reap() {
    for (auto& child : children_) {
      if (!child->ended()) continue;
      if (auto rest = child->finish(); !rest.empty()) chunks_.push_front(std::move(rest));
      child.reset();
    }
    std::erase(children_, nullptr);
  }

  const std::vector<Job>& jobs_;
  const JobDone& done_;
  std::deque<std::deque<std::size_t>> chunks_;
  std::vector<std::unique_ptr<Child>> children_;
  std::size_t limit_ = 1;
};

}  // namespace

void run_jobs(const std::vector<Job>& jobs, std::size_t jobs_a_chunk, const JobDone& done) {
  Pool(jobs, jobs_a_chunk, done).run();
}

}  // namespace vesk::lv2::scan
