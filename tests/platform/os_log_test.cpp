#include <fcntl.h>
#include <gtest/gtest.h>
#include <os/log.h>
#include <unistd.h>

#include <string>

namespace {

TEST(OsLog, WritesOneLineACallAndCutsALongOne) {
  testing::internal::CaptureStderr();
  os_log_error(OS_LOG_DEFAULT, "bus %d of %{public}s is at 100%%", 3, "unit");
  os_log(OS_LOG_DEFAULT, "ends with a newline\n");
  os_log_debug(OS_LOG_DEFAULT, "not for users");
  os_log_info(OS_LOG_DEFAULT, "nor this");
  os_log_fault(os_log_create("a", "b"), "%{private}d", 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "plugin host: bus 3 of unit is at 100%\n"
            "plugin host: ends with a newline\n"
            "plugin host: 1\n");

  testing::internal::CaptureStderr();
  os_log_error(OS_LOG_DEFAULT, "%s", std::string(5000, 'x').c_str());
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_LE(line.size(), 512u);
  EXPECT_GT(line.size(), 500u);
  EXPECT_EQ(line.find('\n'), line.size() - 1);
}

TEST(OsLog, DropsALineRatherThanWaitForItsReader) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const int saved = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  for (int i = 0; i < 5000; ++i)
    os_log_error(OS_LOG_DEFAULT, "line %d of more than a pipe holds", i);
  dup2(saved, STDERR_FILENO);
  char text[64] = "";
  EXPECT_GT(read(ends[0], text, sizeof text - 1), 0);
  EXPECT_TRUE(std::string(text).starts_with("plugin host: line 0 ")) << text;
  for (const int each : {ends[0], ends[1], saved}) close(each);
}

}  // namespace
