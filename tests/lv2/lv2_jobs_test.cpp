// Jobs that end or hang the process that does them.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <map>

#include "components/lv2/scan/jobs.hpp"

namespace vesk::lv2::scan {
namespace {

TEST(Lv2Jobs, WhatEndsOrHangsItsReaderCostsItselfOnly) {
  struct Fault {
    void (*act)();
    const char* failure;
    bool is_passing;
  };
  const std::map<std::size_t, Fault> faults = {
      {0, {[] { ::abort(); }, "crashed its reader (Aborted)", false}},
      {5, {[] { ::_exit(0); }, "ended its reader", false}},
      {6, {[] { ::raise(SIGKILL); }, "was not read: its reader was ended (Killed)", true}},
      {40,
       {[] {
          for (;;) ::pause();
        },
        "kept its reader busy for 2 s", false}},
      {59, {[] { ::raise(SIGTERM); }, "was not read: its reader was ended (Terminated)", true}},
  };
  std::vector<Job> jobs;
  for (std::size_t i = 0; i < 60; ++i) {
    jobs.emplace_back([i, &faults](BundleReader&) {
      ::dprintf(STDERR_FILENO, "about %zu", i);
      if (const auto fault = faults.find(i); fault != faults.end()) fault->second.act();
      return Bytes{std::byte(i)};
    });
  }
  std::vector<int> times(jobs.size());
  const auto done = [&](std::size_t job, const JobResult& result) {
    ++times[job];
    EXPECT_EQ(result.printed, "about " + std::to_string(job));
    const auto fault = faults.find(job);
    EXPECT_EQ(result.failure, fault == faults.end() ? "" : fault->second.failure) << job;
    EXPECT_EQ(result.is_passing, fault != faults.end() && fault->second.is_passing) << job;
    EXPECT_EQ(result.payload, fault == faults.end() ? Bytes{std::byte(job)} : Bytes()) << job;
  };
  run_jobs(jobs, done, 2);
  EXPECT_EQ(times, std::vector<int>(jobs.size(), 1));
}

}  // namespace
}  // namespace vesk::lv2::scan
