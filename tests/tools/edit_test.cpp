// vesk-edit as a person uses it: windows on an X server of their own, a real pointer in another
// process, and preset files that must not be lost.

#include <gtest/gtest.h>
#include <signal.h>

#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/display.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

// Offers a view 300 points wide: a click sets the level from its place (tests/components/editors).
const std::string editor_unit = "aumu:Edit:Vesk#1=" + std::to_string(kCocoaView);

using User = std::function<void(pid_t program)>;

/// By its plugin's name without the maker, and by the preset.
constexpr const char* title =
    "^(Editors|Tone|Gain|Silence|Misbehaving instrument)( - [a-z]+\\.aupreset)?$";

/// The editor that the program shows. Ends the program when there is none.
std::optional<WindowPlace> editor(pid_t program) {
  for (int attempt = 0; attempt < 5; ++attempt)
    if (const auto window = find_window(title)) return window;
  ADD_FAILURE() << "no editor";
  kill(program, SIGTERM);
  return std::nullopt;
}

/// Sets the level with a click at `x` and closes the window by its close box.
User click_and_close(int x) {
  return [x](pid_t program) {
    const auto window = editor(program);
    if (!window) return;
    click(*window, x, 60);
    click_close_box(*window);
  };
}

/// The same while the program sleeps, so that it never sees the editor open.
User unseen(const User& user) {
  return [user](pid_t program) {
    if (!editor(program)) return;
    kill(program, SIGSTOP);
    user(program);
    EXPECT_TRUE(wait_until([] { return !look_for_window(title); }));
    kill(program, SIGCONT);
  };
}

class Edit : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(display_.is_running()); }

  /// Runs vesk-edit, and `user` beside it.
  static ProgramResult edit(std::vector<std::string> words, const User& user = {},
                            std::vector<std::string> environment = {}) {
    words.insert(words.begin(), build_tree() + "/bin/vesk-edit");
    environment.push_back("AUDIO_COMPONENT_PATH=" + build_tree() + "/components");
    return run_program(words, {.environment = environment, .meanwhile = user});
  }

  VirtualDisplay display_;
  const ScratchFolder folder_;
  const std::string preset_ = folder_ / "p.aupreset";
  const std::string chain_ = editor_unit + "@" + preset_;
};

TEST_F(Edit, MakesAPresetAndKeepsTheOldOneWhenItIsRewritten) {
  const auto first = edit({chain_}, click_and_close(150));
  EXPECT_EQ(first.status, 0) << first.errors;
  EXPECT_EQ(first.output, preset_ + ": does not exist yet\n" + preset_ + ": rewritten\n");
  const Bytes made = file_bytes(preset_);
  ASSERT_FALSE(made.empty());
  EXPECT_EQ(folder_.names().size(), 1u);

  const std::string warning =
      preset_ + ": exists and will be rewritten; what it holds now is kept as " + preset_ + "~\n";
  bool was_kept_before_the_editor = false;
  const auto second = edit({chain_}, [&](pid_t program) {
    if (editor(program)) was_kept_before_the_editor = file_bytes(preset_ + "~") == made;
    click_and_close(225)(program);
  });
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(second.output, warning + preset_ + ": rewritten\n");
  EXPECT_TRUE(was_kept_before_the_editor);
  EXPECT_EQ(file_bytes(preset_ + "~"), made);
  const Bytes changed = file_bytes(preset_);
  EXPECT_NE(changed, made);

  const auto look = edit({chain_}, [](pid_t program) {
    if (editor(program)) kill(program, SIGINT);
  });
  EXPECT_EQ(look.status, 0) << look.errors;
  EXPECT_EQ(look.output, warning + "no preset file was rewritten\n");
  EXPECT_EQ(file_bytes(preset_), changed);
  EXPECT_EQ(file_bytes(preset_ + "~"), made);
}

TEST_F(Edit, CtrlCSaves) {
  const auto result = edit({chain_}, [&](pid_t program) {
    const auto window = editor(program);
    if (!window) return;
    // The bar of the level reaches beyond the second point once the click has come.
    const auto [x, y] = on_screen(*window, 10, 60);
    const auto reaches = [&] { return display_.colour_at(x, y) == display_.colour_at(x + 110, y); };
    EXPECT_TRUE(wait_until([&] { return !reaches(); })) << "nothing is drawn";
    click(*window, 150, 60);
    EXPECT_TRUE(wait_until(reaches));
    kill(program, SIGINT);
  });
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(result.output, preset_ + ": does not exist yet\n" + preset_ + ": rewritten\n");
  EXPECT_FALSE(file_bytes(preset_).empty());
}

TEST_F(Edit, ACopyLeavesTheOriginalAlone) {
  ASSERT_EQ(edit({chain_}, click_and_close(150)).status, 0);
  const Bytes made = file_bytes(preset_);
  const std::string copy = folder_ / "copy.aupreset";
  const auto result = edit({chain_, "--copy-to", copy}, click_and_close(225));
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(
      result.output.starts_with(copy + ": copied from " + preset_ + ", which stays as it is\n"))
      << result.output;
  EXPECT_TRUE(result.output.ends_with(copy + ": rewritten\n")) << result.output;
  EXPECT_EQ(file_bytes(preset_), made);
  EXPECT_NE(file_bytes(copy), made);
  EXPECT_EQ(file_bytes(copy + "~"), made);

  const auto again = edit({chain_, "--copy-to", copy});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.errors, "vesk-edit: " + copy + ": exists already\n");
  EXPECT_NE(file_bytes(copy), made);
}

TEST_F(Edit, PlaysMeanwhile) {
  const struct {
    std::vector<std::string> words;
    const char* line = "played with a peak of -";
  } cases[] = {
      {{"aumu:Tone:Vesk", "--notes"}},
      {{"aumu:Tone:Vesk", "--play", VESK_SONGS "/demo.mid"}},
      {{"aufx:Gain:Vesk", "--notes"}},
      {{"aumu:Null:Vesk", "--notes"}, "played, and nothing was to be heard"},
      {{"aumu:Bad_:Vesk#7=1", "--notes"}, "samples were infinite or not a number"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.words[0] + " " + test.words[1]);
    bool is_said = false;
    // A busy machine gets more time to play in.
    for (auto time = 700ms; !is_said && time < 20s; time *= 5) {
      const auto result = edit(test.words, [&](pid_t program) {
        if (editor(program)) std::this_thread::sleep_for(time);
        kill(program, SIGINT);
      });
      EXPECT_EQ(result.status, 0) << result.errors;
      is_said = result.output.find(test.line) != std::string::npos;
    }
    EXPECT_TRUE(is_said);
  }
}

TEST_F(Edit, SaysInOneLineWhatFailed) {
  const std::string nowhere = folder_ / "no" + "/p.aupreset";
  const std::string exiting = "aumu:Edit:Vesk#1=" + std::to_string(kExitsInFactory);
  const auto press = click_and_close(150);
  const struct {
    std::vector<std::string> words;
    int status;
    std::string error;
    User user = {};
    std::vector<std::string> environment = {};
  } cases[] = {
      {{}, 2, "no chain given; vesk-edit --help tells how"},
      {{"aumu:None:Vesk"}, 1, "aumu:None:Vesk is not installed; vesk-list shows what is"},
      {{"aumu:Tone:Vesk", "--play", nowhere}, 1, nowhere + ": No such file or directory"},
      {{chain_, "--copy-to", nowhere}, 1, preset_ + ": cannot be read: No such file or directory"},
      {{editor_unit + "@" + nowhere}, 1, "could not save state to " + nowhere, press},
      {{chain_}, 1, "no editor could be opened (is there a display?)", {}, {"DISPLAY="}},
      {{editor_unit + "@" + folder_ / ""}, 1, folder_ / "" + ": is a folder"},
#ifndef VESK_SANITIZER  // which are told of such an end before the host
      {{exiting},
       1,
       "the host ended with status 0, though it was not told to: aumu:Edit:Vesk died in editor: "
       "exit"},
#endif
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.error);
    const auto result = edit(test.words, test.user, test.environment);
    EXPECT_EQ(result.status, test.status) << result.output;
    EXPECT_EQ(result.errors, "vesk-edit: " + test.error + "\n");
  }
}

TEST_F(Edit, RepeatsWhyAnEditorFailed) {
  const struct {
    EditorVariant variant;
    User user;
    const char* reason;
  } cases[] = {
      // The panel opens in its place.
      {kThrowsInFactory,
       [](pid_t program) {
         if (editor(program)) kill(program, SIGINT);
       },
       "no view today"},
      {kThrowsInMouseDown, click_and_close(150), "clicked in vain"},
      {kThrowsInMouseDown, unseen(click_and_close(150)), "clicked in vain"},
  };
  for (const auto& test : cases) {
    const auto result = edit({"aumu:Edit:Vesk#1=" + std::to_string(test.variant)}, test.user);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.errors,
              "vesk-edit: editor of plugin 0 failed: " + std::string(test.reason) + "\n");
  }
}

TEST_F(Edit, TellsOfAHostThatDies) {
  ASSERT_EQ(edit({chain_}, click_and_close(150)).status, 0);
  const Bytes made = file_bytes(preset_);
  const auto result = edit({chain_}, [](pid_t program) {
    if (!editor(program)) return;
    const std::string id = std::to_string(program);
    pid_t host = 0;
    if (std::ifstream("/proc/" + id + "/task/" + id + "/children") >> host) kill(host, SIGKILL);
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "vesk-edit: the host was ended by signal 9 (Killed)\n");
  EXPECT_EQ(file_bytes(preset_), made);
  EXPECT_EQ(folder_.names().size(), 1u) << "nothing has changed, and nothing is kept";
}

}  // namespace
