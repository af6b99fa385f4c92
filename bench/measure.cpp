#include "bench/measure.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace vesk::bench {

std::uint64_t now_ns() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000 +
         static_cast<std::uint64_t>(time.tv_nsec);
}

void sleep_us(unsigned microseconds) {
  const timespec time{microseconds / 1'000'000, static_cast<long>(microseconds % 1'000'000) * 1000};
  clock_nanosleep(CLOCK_MONOTONIC, 0, &time, nullptr);
}

std::uint64_t cpu_time_ns(pid_t process) {
  std::uint64_t sum = 0;
  std::error_code ended;
  for (const auto& task :
       std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", ended)) {
    std::uint64_t run = 0;
    std::ifstream(task.path() / "schedstat") >> run;
    sum += run;
  }
  return sum;
}

double quantile(std::vector<double>& samples, double share) {
  if (samples.empty()) return 0;
  const auto last = static_cast<double>(samples.size() - 1);
  const auto position = samples.begin() + static_cast<std::ptrdiff_t>(std::floor(last * share));
  std::nth_element(samples.begin(), position, samples.end());
  return *position;
}

RealTime::RealTime(int priority) {
  const sched_param parameter{.sched_priority = priority};
  granted_ = sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameter) == 0;
}

RealTime::~RealTime() {
  const sched_param ordinary{.sched_priority = 0};
  if (granted_) sched_setscheduler(0, SCHED_OTHER, &ordinary);
}

OnCpu::OnCpu(int cpu) {
  sched_getaffinity(0, sizeof before_, &before_);
  cpu_set_t wanted;
  CPU_ZERO(&wanted);
  for (unsigned i = 0; i < CPU_SETSIZE; ++i)
    if (cpu < 0 || i == static_cast<unsigned>(cpu)) CPU_SET(i, &wanted);
  sched_setaffinity(0, sizeof wanted, &wanted);
}

OnCpu::~OnCpu() {
  sched_setaffinity(0, sizeof before_, &before_);
}

std::string program_folder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
}

pid_t start_program(const std::vector<std::string>& arguments) {
  std::vector<std::string> copy = arguments;
  std::vector<char*> pointers;
  for (std::string& argument : copy) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  pid_t process = -1;
  if (posix_spawnp(&process, pointers[0], &actions, nullptr, pointers.data(), environ) != 0)
    process = -1;
  posix_spawn_file_actions_destroy(&actions);
  return process;
}

}  // namespace vesk::bench
