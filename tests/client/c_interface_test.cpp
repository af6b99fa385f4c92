// What the C interface adds to the client: sizes of structs, buffers for text, NULL.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <string>

#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"
#include "vesk/vesk.h"

namespace {

constexpr std::int64_t second_ns = 1'000'000'000;

vesk_options options(const char* commands) {
  vesk_options options{};
  options.struct_size = sizeof options;
  options.chain = commands;
  options.mode = VESK_OFFLINE;
  options.host_program = VESK_FAKE_HOST;
  return options;
}

TEST(CInterface, FailuresAreSentencesThatFit) {
  const struct {
    const char* name;
    vesk_options options;
    std::string sentence;
  } cases[] = {
      {"no chain", options(nullptr), "the chain names no plugin"},
      {"one that fails", options("fail=too dark"), "too dark"},
      {"nothing at all", {}, "the chain names no plugin"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    char whole[256] = "", cut[5] = "????";
    EXPECT_EQ(vesk_host_start(&test.options, whole, sizeof whole), nullptr);
    EXPECT_NE(std::string(whole).find(test.sentence), std::string::npos) << whole;
    EXPECT_EQ(vesk_host_start(&test.options, cut, sizeof cut), nullptr);
    EXPECT_EQ(cut, std::string(whole).substr(0, 4));
    EXPECT_EQ(vesk_host_start(&test.options, nullptr, 0), nullptr);
  }
  EXPECT_EQ(vesk_host_start(nullptr, nullptr, 0), nullptr);
  vesk_host_free(nullptr);
  vesk_group_free(nullptr);
}

TEST(CInterface, NamesBecomeSpecificationTexts) {
  const vesk::tests::ScratchFolder folder;
  const std::string program = folder / "list";
  std::ofstream(program) << "#!/bin/sh\n[ \"$1\" = --resolve=piano ] || "
                            "{ echo vesk-list: nothing is called so >&2; exit 1; }\n"
                            "shift; echo \"aumu:Sm48:LV2_@$*\"\n";
  chmod(program.c_str(), 0700);
  const char* const settings[] = {"A=1", "2:B=2", nullptr};
  const struct {
    const char* text;
    const char* const* settings;
    const char* found;
    const char* sentence;
  } cases[] = {
      {"piano", settings, "aumu:Sm48:LV2_@--set=A=1 --set=2:B=2", ""},
      {"aumu:a___:b___|aufx:c___:d___", nullptr, "aumu:a___:b___|aufx:c___:d___", ""},
      {"organ", nullptr, "", "nothing is called so"},
      {nullptr, nullptr, "", "nothing is called so"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.found);
    vesk_named_chain chain{};
    chain.struct_size = sizeof chain;
    chain.text = test.text;
    chain.settings = test.settings;
    chain.list_program = program.c_str();
    char text[64] = "", cut[5] = "", error[64] = "";
    const std::size_t length =
        vesk_specification_of(&chain, text, sizeof text, error, sizeof error);
    EXPECT_EQ(length, std::strlen(test.found));
    EXPECT_STREQ(text, test.found);
    EXPECT_STREQ(error, test.sentence);
    EXPECT_EQ(vesk_specification_of(&chain, cut, sizeof cut, nullptr, 0), length);
    EXPECT_EQ(cut, std::string(test.found).substr(0, 4));
  }
}

TEST(CInterface, WhatAnOlderCallerDoesNotHaveIsNeitherReadNorWritten) {
  auto older = options("x=1");
  older.struct_size = offsetof(vesk_options, start_limit_ms);
  older.start_limit_ms = 1;  // rubbish to this caller
  older.max_frames = 64;
  char error[256];
  vesk_host* host = vesk_host_start(&older, error, sizeof error);
  ASSERT_NE(host, nullptr) << error;

  vesk_ending ending{};
  std::memset(&ending, 0x55, sizeof ending);
  ending.struct_size = offsetof(vesk_ending, status);
  vesk_host_stop(host, &ending);
  EXPECT_TRUE(ending.known && ending.asked && ending.orderly);
  EXPECT_FALSE(ending.killed);
  EXPECT_EQ(ending.status, 0x55555555);
  EXPECT_EQ(ending.struct_size, offsetof(vesk_ending, status));
  vesk_host_free(host);
}

TEST(CInterface, DrivesAGroupUntilOneOfItDies) {
  vesk_group* group = vesk_group_create();
  vesk_host* hosts[2];
  char text[256];
  for (vesk_host*& host : hosts) {
    const auto given = options("x=1");
    host = vesk_host_spawn(&given, text, sizeof text);
    ASSERT_NE(host, nullptr) << text;
  }
  for (vesk_host* host : hosts) {
    ASSERT_TRUE(vesk_host_wait_ready(host, text, sizeof text)) << text;
    ASSERT_TRUE(vesk_group_add(group, host));
  }
  const vesk_midi_event events[3] = {};
  vesk_group_set_events(group, 1, events, 3);
  vesk_group_set_events(group, 2, events, 3);  // which does not exist
  vesk_host_input(hosts[0], 0)[0] = 0.5f;
  ASSERT_EQ(vesk_group_render(group, 1, 77, 20 * second_ns), VESK_ANSWERED);
  EXPECT_EQ(vesk_host_output(hosts[0], 0)[0], 0.5f);
  EXPECT_EQ(vesk_host_output(hosts[1], 0)[0], 3);
  EXPECT_EQ(vesk_host_output(hosts[1], 1)[0], 77);
  EXPECT_EQ(vesk_host_output(hosts[1], 2), nullptr);

  vesk_figures figures{};
  figures.struct_size = sizeof figures;
  vesk_host_get_figures(hosts[1], &figures);
  EXPECT_GT(figures.listening_ms, 0);
  kill(figures.pid, SIGKILL);
  EXPECT_TRUE(vesk::tests::wait_until([&] { return vesk_host_has_ended(hosts[1]); }));
  EXPECT_EQ(vesk_group_render(group, 1, 78, 20 * second_ns), VESK_HOST_GONE);
  EXPECT_EQ(vesk_group_answer(group, 0), VESK_ANSWERED);
  EXPECT_EQ(vesk_group_answer(group, 1), VESK_HOST_GONE);
  EXPECT_EQ(vesk_group_answer(group, 2), VESK_REFUSED);
  EXPECT_EQ(vesk_host_diagnose(hosts[1]), VESK_DEAD);
  EXPECT_EQ(vesk_host_obituary(hosts[1], text, sizeof text), std::strlen(text));
  EXPECT_NE(std::string(text).find("signal 9"), std::string::npos) << text;

  vesk_group_remove(group, hosts[1]);
  EXPECT_EQ(vesk_group_render(group, 1, 79, 20 * second_ns), VESK_ANSWERED);
  vesk_group_free(group);
  for (vesk_host* host : hosts) vesk_host_free(host);
}

}  // namespace
