#include "platform/linux/process/report.hpp"

#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace vesk::platform {

namespace {
std::atomic<const char*> g_label = nullptr;
}

void set_report_label(const char* label) {
  g_label.store(label, std::memory_order_release);
}

void report(std::initializer_list<const char*> pieces) {
  const int saved_errno = errno;
  iovec parts[12];
  int count = 0;
  const auto add = [&](const char* text) {
    if (count < 12) parts[count++] = {const_cast<char*>(text), std::strlen(text)};
  };
  add("plugin host");
  if (const char* label = g_label.load(std::memory_order_acquire)) {
    add(" ");
    add(label);
  }
  add(": ");
  for (const char* piece : pieces) add(piece);
  add("\n");
  // A reader that has gone or does not read loses the line.
  static_cast<void>(writev(STDERR_FILENO, parts, count));
  errno = saved_errno;
}

Digits::Digits(unsigned number) {
  char* at = digits_ + sizeof digits_;
  *--at = '\0';
  do {
    *--at = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  start_ = at;
}

}  // namespace vesk::platform
