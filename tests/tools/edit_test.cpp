// vesk-edit as a person uses it: windows on an X server of their own, a real pointer in another
// process, and preset files that must not be lost.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <thread>

#include "tests/support/display.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

// Offers a view 300 points wide: a click sets the level from its place (tests/components/editors).
const std::string editor_unit = "aumu:Edit:Vesk#1=1";
const std::string title = "^Editors";

class Edit : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    display_ = new VirtualDisplay;
    ASSERT_TRUE(display_->is_running());
  }
  static void TearDownTestSuite() {
    delete display_;
    display_ = nullptr;
  }

  using User = std::function<void(pid_t program)>;

  /// Runs vesk-edit, and `user` beside it.
  ProgramResult edit(std::vector<std::string> words, const User& user = {},
                     std::vector<std::string> environment = {}) {
    words.insert(words.begin(), build_tree() + "/bin/vesk-edit");
    environment.push_back("AUDIO_COMPONENT_PATH=" + build_tree() + "/components");
    return run_program(words, {.environment = environment, .meanwhile = user});
  }

  static std::optional<WindowPlace> editor() {
    for (int attempt = 0; attempt < 5; ++attempt)
      if (const auto window = find_window(title)) return window;
    ADD_FAILURE() << "no window " << title;
    return std::nullopt;
  }

  /// Sets the level with a click at `x` and closes the window by its close box.
  static User click_and_close(int x) {
    return [x](pid_t program) {
      if (const auto window = editor()) {
        click(*window, x, 60);
        click_close_box(*window);
      } else {
        kill(program, SIGTERM);
      }
    };
  }

  static VirtualDisplay* display_;
  const ScratchFolder folder_;
  const std::string preset_ = folder_ / "p.aupreset";
  const std::string chain_ = editor_unit + "@" + preset_;
};

VirtualDisplay* Edit::display_ = nullptr;

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
    if (editor()) was_kept_before_the_editor = file_bytes(preset_ + "~") == made;
    click_and_close(225)(program);
  });
  EXPECT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(second.output, warning + preset_ + ": rewritten\n");
  EXPECT_TRUE(was_kept_before_the_editor);
  EXPECT_EQ(file_bytes(preset_ + "~"), made);
  const Bytes changed = file_bytes(preset_);
  EXPECT_NE(changed, made);

  const auto look = edit({chain_}, [](pid_t program) {
    if (editor()) kill(program, SIGINT);
  });
  EXPECT_EQ(look.status, 0) << look.errors;
  EXPECT_EQ(look.output, warning + "no preset file was rewritten\n");
  EXPECT_EQ(file_bytes(preset_), changed);
  EXPECT_EQ(file_bytes(preset_ + "~"), made);
}

TEST_F(Edit, CtrlCSaves) {
  const auto result = edit({chain_}, [](pid_t program) {
    const auto window = editor();
    if (window) click(*window, 150, 60);
    // Lets the click through the X server and the host's next turn.
    std::this_thread::sleep_for(300ms);
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
}

TEST_F(Edit, PlaysMeanwhile) {
  const std::string song = VESK_SONGS "/demo.mid";
  const struct {
    std::vector<std::string> words;
  } cases[] = {
      {{"aumu:Tone:Vesk", "--notes"}},
      {{"aumu:Tone:Vesk", "--play", song}},
      {{"aufx:Gain:Vesk", "--notes"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.words[0] + " " + test.words[1]);
    const auto result = edit(test.words, [](pid_t program) {
      for (int attempt = 0; attempt < 5 && !find_window("^(Tone|Gain)$"); ++attempt) {
      }
      std::this_thread::sleep_for(700ms);
      kill(program, SIGINT);
    });
    EXPECT_EQ(result.status, 0) << result.errors;
    constexpr const char* line = "played with a peak of -";
    EXPECT_NE(result.output.find(line), std::string::npos) << result.output;
  }
}

TEST_F(Edit, SaysInOneLineWhatFailed) {
  const std::string nowhere = folder_ / "no" + "/p.aupreset";
  const auto press = click_and_close(150);
  const struct {
    std::vector<std::string> words;
    int status;
    std::string error;
    User user;
    std::vector<std::string> environment = {};
  } cases[] = {
      {{}, 2, "no chain given; vesk-edit --help tells how", {}},
      {{"aumu:None:Vesk"}, 1, "aumu:None:Vesk: component not found: aumu:None:Vesk", {}},
      {{"aumu:Tone:Vesk", "--play", nowhere}, 1, nowhere + ": No such file or directory", {}},
      {{editor_unit + "@" + nowhere}, 1, "could not save state to " + nowhere, press},
      {{chain_}, 1, "no editor could be opened (is there a display?)", {}, {"DISPLAY="}},
      {{editor_unit + "@" + folder_ / ""}, 1, folder_ / "" + ": is a folder", {}},
  };
  for (const auto& test : cases) {
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
      {kThrowsInFactory, [](pid_t program) { editor() ? kill(program, SIGINT) : 0; },
       "no view today"},
      {kThrowsInMouseDown, click_and_close(150), "clicked in vain"},
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
    if (editor()) {
      const std::string id = std::to_string(program);
      pid_t host = 0;
      if (std::ifstream("/proc/" + id + "/task/" + id + "/children") >> host) kill(host, SIGKILL);
    } else {
      kill(program, SIGTERM);
    }
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "vesk-edit: the host was ended by signal 9 (Killed)\n");
  EXPECT_EQ(file_bytes(preset_), made);
}

TEST_F(Edit, TellsOfAPluginThatExits) {
  const auto result = edit({"aumu:Edit:Vesk#1=" + std::to_string(kExitsInFactory)});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.errors.starts_with(
      "vesk-edit: the host ended with status 0, though it was not told to"))
      << result.errors;
#ifndef VESK_SANITIZER
  EXPECT_TRUE(result.errors.ends_with(": plugin 0 died in editor: exit\n")) << result.errors;
#endif
}

}  // namespace
