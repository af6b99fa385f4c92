// Names put into specification texts by a program that is asked for it, here one of the test's own.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "tests/support/scratch_folder.hpp"
#include "vesk/plugin_names.hpp"

namespace {

using namespace vesk::client;
using namespace std::chrono_literals;

TEST(ClientNames, WhatTheProgramSaysAtLastIsTheAnswer) {
  const vesk::tests::ScratchFolder folder;
  const struct {
    const char* script;  ///< empty: there is no such program
    NamedChain chain;
    const char* text = "";
    std::string message = {};
  } cases[] = {
      // Nothing is asked about what is a specification text already.
      {"", {"aumu:none:None#1=2@/a b|exs:/x\ny"}, "aumu:none:None#1=2@/a b|exs:/x\ny"},
      {"echo noise >&2; printf '%s\\n' \"aumu:Sm48:LV2_@$1$2\"",
       {"MDA ePiano", {"2:A=1"}},
       "aumu:Sm48:LV2_@--resolve=MDA ePiano--set=2:A=1"},
      {"echo aumu:Sm48:LV2_", {"--help"}, "aumu:Sm48:LV2_"},
      {"echo 'plugin host: x' >&2; printf 'vesk-list: not \\033 here\\n' >&2; exit 1",
       {"piano"},
       "",
       "not ? here"},
      {"echo aumu:Sm48:LV2_; exit 1", {"piano"}, "", "PROGRAM ended without an answer"},
      {"echo piano", {"piano"}, "", "PROGRAM ended without an answer"},
      {"exit 0", {"piano"}, "", "PROGRAM ended without an answer"},
      {"kill -SEGV $$", {"piano"}, "", "PROGRAM ended without an answer (Segmentation fault)"},
      {"exec sleep 60",
       {"piano", {}, {}, 50ms},
       "",
       "PROGRAM took longer than the limit to look up piano"},
      {"", {"piano"}, "", "cannot start PROGRAM: No such file or directory"},
      {"", {"a\nb"}, "", "a chain to look up holds a line break or a NUL byte"},
      {"",
       {"aumu:none:None", {std::string("a\0=1", 4)}},
       "",
       "a chain to look up holds a line break or a NUL byte"},
      {"", {"a", {}, {}, -1ms}, "", "a time limit is negative"},
  };
  int number = 0;
  for (auto test : cases) {
    SCOPED_TRACE(test.script);
    test.chain.list_program = folder / ("list" + std::to_string(++number));
    if (*test.script != 0) {
      std::ofstream(test.chain.list_program) << "#!/bin/sh\n" << test.script << '\n';
      chmod(test.chain.list_program.c_str(), 0700);
    }
    if (const auto at = test.message.find("PROGRAM"); at != std::string::npos)
      test.message.replace(at, 7, test.chain.list_program);
    std::string error;
    EXPECT_EQ(specification_of(test.chain, error).value_or(""), test.text);
    EXPECT_EQ(error, test.message);
  }
}

}  // namespace
