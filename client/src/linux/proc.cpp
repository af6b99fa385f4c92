#include "client/src/linux/proc.hpp"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "client/src/linux/field_reader.hpp"

namespace vesk::client::proc {

namespace {

std::string process(int pid) {
  return "/proc/" + std::to_string(pid);
}
std::string task(int pid, int thread) {
  return process(pid) + "/task/" + std::to_string(thread);
}

/// The fields of a stat file from the state letter on: what stands before, the program's name in
/// parentheses, may itself hold blanks and parentheses.
const char* after_name(const std::string& stat) {
  const std::size_t end = stat.rfind(')');
  return end == std::string::npos || end + 2 >= stat.size() ? nullptr : stat.c_str() + end + 2;
}

}  // namespace

std::string read_file(const std::string& path) {
  std::string text;
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return text;
  char buffer[4096];
  ssize_t count;
  while ((count = read(descriptor, buffer, sizeof buffer)) > 0)
    text.append(buffer, static_cast<std::size_t>(count));
  close(descriptor);
  return text;
}

std::uint64_t start_time(int pid) {
  const std::string stat = read_file(process(pid) + "/stat");
  const char* field = after_name(stat);
  if (field == nullptr || *field == 'Z' || *field == 'X') return 0;
  // proc(5): the state is field 3, the start time field 22.
  for (int i = 3; i < 22; ++i) {
    while (*field != ' ' && *field != 0) ++field;
    while (*field == ' ') ++field;
  }
  std::uint64_t ticks = 0;
  FieldReader(field).number(ticks);
  return ticks;
}

std::vector<int> threads(int pid) {
  std::vector<int> found;
  std::error_code failure;
  for (std::filesystem::directory_iterator entry(process(pid) + "/task", failure), end;
       !failure && entry != end; entry.increment(failure)) {
    int thread = 0;
    if (FieldReader(entry->path().filename().native()).number(thread)) found.push_back(thread);
  }
  return found;
}

bool has_thread(int pid, int thread) {
  return access(task(pid, thread).c_str(), F_OK) == 0;
}

char thread_state(int pid, int thread) {
  const std::string stat = read_file(task(pid, thread) + "/stat");
  const char* field = after_name(stat);
  return field == nullptr ? '\0' : *field;
}

RunTime thread_run_time(int pid, int thread) {
  RunTime time;
  const std::string text = read_file(task(pid, thread) + "/schedstat");
  FieldReader fields(text);
  if (fields.number(time.run_ns) && fields.literal(" ")) fields.number(time.wait_ns);
  return time;
}

bool has_mapped(int pid, std::string_view name) {
  const std::string maps = read_file(process(pid) + "/maps");
  return maps.find("/dev/shm" + std::string(name) + "\n") != std::string::npos;
}

int thread_waiting_at(int pid, std::size_t offset) {
  for (const int thread : threads(pid)) {
    // "202 0x7f0123456780 ...": the number of the system call and its arguments.
    const std::string call = read_file(task(pid, thread) + "/syscall");
    long number = -1;
    unsigned long address = 0;
    FieldReader fields(call);
    if (fields.number(number) && fields.literal(" 0x") && fields.number(address, 16) &&
        number == SYS_futex && address % 4096 == offset)
      return thread;
  }
  return 0;
}

}  // namespace vesk::client::proc
