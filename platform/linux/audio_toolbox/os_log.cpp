#include <os/log.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t line_size = 512;  // PIPE_BUF allows 4096; an error line needs less

/// Copies `format` without the annotations in braces that follow a percent sign, as in %{public}s.
void strip_annotations(const char* format, char* out, std::size_t size) {
  std::size_t length = 0;
  while (*format && length + 1 < size) {
    out[length++] = *format++;
    if (out[length - 1] != '%') continue;
    if (*format == '{') {
      if (const char* end = std::strchr(format, '}')) format = end + 1;
    } else if (*format == '%' && length + 1 < size) {
      out[length++] = *format++;
    }
  }
  out[length] = '\0';
}

/// A pipe that is ready takes PIPE_BUF bytes without waiting.
bool would_not_wait() {
  pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
  return poll(&descriptor, 1, 0) == 1 && (descriptor.revents & POLLOUT);
}

}  // namespace

os_log_t os_log_create(const char*, const char*) {
  return OS_LOG_DEFAULT;
}

void os_log_write(os_log_t, os_log_type_t type, const char* format, ...) {
  if (type == OS_LOG_TYPE_INFO || type == OS_LOG_TYPE_DEBUG) return;
  char plain_format[line_size];
  strip_annotations(format, plain_format, sizeof plain_format);

  char line[line_size] = "plugin host: ";
  const std::size_t prefix = std::strlen(line);
  va_list arguments;
  va_start(arguments, format);
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral"
  const int length =
      std::vsnprintf(line + prefix, sizeof line - prefix - 1, plain_format, arguments);
#pragma clang diagnostic pop
  va_end(arguments);
  if (length < 0) return;
  std::size_t end =
      prefix + std::min<std::size_t>(static_cast<std::size_t>(length), sizeof line - prefix - 2);
  while (end > prefix && line[end - 1] == '\n') --end;
  line[end++] = '\n';
  if (!would_not_wait()) return;
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line, end);
}
