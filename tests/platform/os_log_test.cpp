#include <fcntl.h>
#include <gtest/gtest.h>
#include <os/log.h>
#include <unistd.h>

#include <string>

namespace {

/// Standard error as a pipe, for as long as it lives.
class CapturedErrors {
 public:
  CapturedErrors() {
    EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
    // The writing end waits as a user's would.
    fcntl(ends_[1], F_SETFL, 0);
    saved_ = dup(STDERR_FILENO);
    dup2(ends_[1], STDERR_FILENO);
  }
  ~CapturedErrors() {
    dup2(saved_, STDERR_FILENO);
    for (int each : {ends_[0], ends_[1], saved_}) close(each);
  }
  CapturedErrors(const CapturedErrors&) = delete;
  CapturedErrors& operator=(const CapturedErrors&) = delete;

  std::string read_all() {
    std::string text(1 << 17, '\0');
    const ssize_t count = read(ends_[0], text.data(), text.size());
    text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return text;
  }

 private:
  int ends_[2] = {-1, -1};
  int saved_ = -1;
};

TEST(OsLog, WritesOneLineACallAndCutsALongOne) {
  CapturedErrors errors;
  os_log_error(OS_LOG_DEFAULT, "bus %d of %{public}s is at 100%%", 3, "unit");
  os_log(OS_LOG_DEFAULT, "ends with a newline\n");
  os_log_debug(OS_LOG_DEFAULT, "not for users");
  os_log_info(OS_LOG_DEFAULT, "nor this");
  os_log_fault(os_log_create("a", "b"), "%{private}d", 1);
  EXPECT_EQ(errors.read_all(),
            "plugin host: bus 3 of unit is at 100%\n"
            "plugin host: ends with a newline\n"
            "plugin host: 1\n");

  os_log_error(OS_LOG_DEFAULT, "%s", std::string(5000, 'x').c_str());
  const std::string line = errors.read_all();
  EXPECT_LE(line.size(), 512u);
  EXPECT_GT(line.size(), 500u);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
}

TEST(OsLog, DropsALineRatherThanWaitForItsReader) {
  CapturedErrors errors;
  for (int i = 0; i < 5000; ++i)
    os_log_error(OS_LOG_DEFAULT, "line %d of more than a pipe holds", i);
  EXPECT_EQ(errors.read_all().find("plugin host: line 0 "), 0u);
}

}  // namespace
