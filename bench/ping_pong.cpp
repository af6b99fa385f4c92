#include "bench/ping_pong.hpp"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>

#include "bench/futex.hpp"
#include "bench/measure.hpp"

namespace vesk::bench {
PingPong::PingPong(int priority, int cpu, unsigned frames)
    : frames_(std::min(frames, most_frames)) {
  words_ = static_cast<Words*>(
      mmap(nullptr, sizeof(Words), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  process_ = fork();
  if (process_ != 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (cpu >= 0) {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(static_cast<unsigned>(cpu), &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  const sched_param parameter{.sched_priority = priority};
  if (priority > 0) sched_setscheduler(0, SCHED_FIFO, &parameter);
  answer();
}

PingPong::~PingPong() {
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  munmap(words_, sizeof(Words));
}

void PingPong::answer() {
  for (std::uint32_t served = 0;; ++served) {
    wait_while(words_->request, served, frames_ > 0);
    for (auto& channel : words_->sound) std::fill_n(channel, frames_, static_cast<float>(served));
    publish(words_->done, served + 1);
  }
}

void PingPong::round() {
  const std::uint32_t request = words_->request + 1;
  publish(words_->request, request);
  wait_while(words_->done, request - 1, frames_ > 0);
  for (const auto& channel : words_->sound)
    heard_ += std::accumulate(channel, channel + frames_, 0.f);
}

}  // namespace vesk::bench
