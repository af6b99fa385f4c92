// vesk-play, and vesk-edit as it is heard, with a JACK server of their own, whose driver is a
// clock.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <jack/jack.h>
#include <jack/midiport.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/display.hpp"
#include "tests/support/empty_preset.hpp"
#include "tests/support/program.hpp"
#include "tests/support/scratch_folder.hpp"
#include "tests/support/wait_until.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

namespace {

using namespace vesk::tests;
using namespace std::chrono_literals;

constexpr auto patience = 30s;

/// A server that only this test and its children find.
class Server {
 public:
  Server() {
    const std::string name = "vesk-test-" + std::to_string(getpid());
    setenv("JACK_DEFAULT_SERVER", name.c_str(), 1);
    setenv("JACK_NO_AUDIO_RESERVATION", "1", 1);
    const char* const words[] = {"jackd", "--no-realtime", "-n", name.c_str(), "-d",   "dummy",
                                 "-r",    "48000",         "-p", "256",        nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int output : {1, 2})
      posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
    posix_spawnp(&pid_, "jackd", &actions, nullptr, const_cast<char* const*>(words), environ);
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Server() { end(); }
  void end() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  pid_t pid_ = -1;
};

/// Plays a note of its own choice, over and over, and listens.
class Musician {
 public:
  bool join() {
    jack_set_error_function([](const char*) {});
    jack_set_info_function([](const char*) {});
    if (!wait_until(
            [&] {
              return (client_ = jack_client_open("musician", JackNoStartServer, nullptr)) !=
                     nullptr;
            },
            patience))
      return false;
    keys_ = jack_port_register(client_, "keys", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    ears_ = jack_port_register(client_, "ears", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    jack_set_process_callback(
        client_,
        [](jack_nframes_t frames, void* self) {
          static_cast<Musician*>(self)->cycle(frames);
          return 0;
        },
        this);
    return jack_activate(client_) == 0;
  }
  ~Musician() {
    if (client_ != nullptr) jack_client_close(client_);
  }
  bool connect(const std::string& midi, const std::string& audio) {
    return wait_until(
        [&] {
          const int to = jack_connect(client_, "musician:keys", midi.c_str());
          const int from = jack_connect(client_, audio.c_str(), "musician:ears");
          return (to == 0 || to == EEXIST) && (from == 0 || from == EEXIST);
        },
        patience);
  }
  /// The loudest sample since the last call.
  float loudest() { return loudest_.exchange(0); }

 private:
  void cycle(jack_nframes_t frames) {
    void* const keys = jack_port_get_buffer(keys_, frames);
    jack_midi_clear_buffer(keys);
    const jack_midi_data_t on[] = {0x90, 69, 100}, off[] = {0x80, 69, 0};
    if (++cycles_ % 20 == 0) jack_midi_event_write(keys, 3, cycles_ % 40 == 0 ? on : off, 3);
    const auto* heard = static_cast<const float*>(jack_port_get_buffer(ears_, frames));
    float loudest = loudest_;
    for (jack_nframes_t i = 0; i < frames; ++i) loudest = std::max(loudest, std::abs(heard[i]));
    loudest_ = loudest;
  }

  jack_client_t* client_ = nullptr;
  jack_port_t* keys_ = nullptr;
  jack_port_t* ears_ = nullptr;
  unsigned cycles_ = 0;
  std::atomic<float> loudest_{0};
};

ProgramResult play(std::vector<std::string> words,
                   const std::function<void(pid_t program)>& meanwhile = {},
                   const std::string& program = "vesk-play") {
  words.insert(words.begin(), build_tree() + "/bin/" + program);
  return run_program(words,
                     {.environment = {"AUDIO_COMPONENT_PATH=" + build_tree() + "/components"},
                      .meanwhile = meanwhile});
}

/// The processes that `program` has started.
std::vector<pid_t> hosts_of(pid_t program) {
  const std::string id = std::to_string(program);
  std::ifstream children("/proc/" + id + "/task/" + id + "/children");
  return {std::istream_iterator<pid_t>(children), {}};
}

TEST(Play, IsHeardAndGoesOnAfterACrashAndAHang) {
  Server server;
  Musician musician;
  ASSERT_TRUE(musician.join()) << "jackd does not run";
  const auto result =
      play({"aumu:Tone:Vesk", "aufx:Gain:Vesk", "--name", "band"}, [&](pid_t program) {
        EXPECT_TRUE(musician.connect("band:1-midi", "band:1-out-left"));
        EXPECT_TRUE(wait_until([&] { return musician.loudest() > 0.1f; }, patience));
        const std::vector<pid_t> hosts = hosts_of(program);
        EXPECT_EQ(hosts.size(), 2u);
        kill(hosts.front(), SIGKILL);
        kill(hosts.back(), SIGSTOP);
        const auto is_old = [&](pid_t host) {
          return std::ranges::find(hosts, host) != hosts.end();
        };
        EXPECT_TRUE(wait_until(
            [&] {
              const std::vector<pid_t> now = hosts_of(program);
              return now.size() == 2 && std::ranges::none_of(now, is_old);
            },
            patience));
        musician.loudest();
        EXPECT_TRUE(wait_until([&] { return musician.loudest() > 0.1f; }, patience));
        kill(program, SIGINT);
      });
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(result.errors.starts_with("playing as \"band\" at 48000 Hz, 256 frames a period"))
      << result.errors;
  for (const char* said : {": the host was ended by signal 9 (Killed); it is started again\n",
                           ": does not answer, and is ended\n", "aumu:Tone:Vesk: plays again\n",
                           "aufx:Gain:Vesk: plays again\n", "missed "})
    EXPECT_NE(result.errors.find(said), std::string::npos) << said << "is not in:\n"
                                                           << result.errors;
}

TEST(Play, AnEditorsChangesAreHeardAndTheOldPresetIsKept) {
  VirtualDisplay display;
  ASSERT_TRUE(display.is_running());
  Server server;
  Musician musician;
  ASSERT_TRUE(musician.join()) << "jackd does not run";
  const ScratchFolder folder;
  const std::string preset = folder / "p.aupreset";
  // It plays its level, which a click sets: 0.5 in the middle of its 300 points.
  const std::string chain = "aumu:Edit:Vesk#1=" + std::to_string(kCocoaView) + "@" + preset;
  const struct {
    const char* program;
    const char* option;
    bool ends_with_editor;
  } cases[] = {{"vesk-edit", "--jack", true}, {"vesk-play", "--editors", false}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.program);
    write_empty_preset(preset, 'aumu', 'Edit', 'Vesk');
    const Bytes old = file_bytes(preset);
    const std::string client = test.ends_with_editor ? "vesk-edit" : "vesk";
    const auto result = play(
        {chain, test.option},
        [&](pid_t program) {
          EXPECT_TRUE(musician.connect(client + ":midi", client + ":out-left"));
          if (const auto window = find_window("^Editors - p.aupreset$")) {
            click(*window, 150, 60);
            EXPECT_TRUE(
                wait_until([&] { return std::abs(musician.loudest() - 0.5f) < 0.02f; }, patience));
            click_close_box(*window);
          } else {
            ADD_FAILURE() << "no editor";
          }
          if (!test.ends_with_editor || HasFailure()) kill(program, SIGINT);
        },
        test.program);
    EXPECT_EQ(result.status, 0) << result.errors;
    const std::string said = result.output + result.errors;
    for (const std::string& line :
         {preset + ": exists and will be rewritten; what it holds now is kept as " + preset + "~\n",
          preset + ": rewritten\n", std::string("missed ")})
      EXPECT_NE(said.find(line), std::string::npos) << line << "is not in:\n" << said;
    EXPECT_EQ(file_bytes(preset + "~"), old);
    EXPECT_NE(file_bytes(preset), old);
  }
}

TEST(Play, SaysInOneLineWhyItEnds) {
  const struct {
    const char* name;
    std::vector<std::string> words;
    int status;
    const char* said;
  } without_server[] = {
      {"no chain", {}, 2, "no chain given"},
      {"a bad tempo", {"aumu:Tone:Vesk", "--tempo", "0"}, 2, "takes 1 to 999 beats a minute"},
      {"no server", {"aumu:Tone:Vesk"}, 1, "no JACK server runs"},
  };
  setenv("JACK_DEFAULT_SERVER", "vesk-test-none", 1);
  for (const auto& test : without_server) {
    SCOPED_TRACE(test.name);
    const auto result = play(test.words);
    EXPECT_EQ(result.status, test.status);
    EXPECT_NE(result.errors.find(test.said), std::string::npos) << result.errors;
  }
  auto edited = play({"aumu:Tone:Vesk", "--connect"}, {}, "vesk-edit");
  EXPECT_EQ(edited.status, 1);
  EXPECT_TRUE(edited.errors.ends_with("no JACK server runs (jackd, or PipeWire's)\n"))
      << edited.errors;
  Server server;
  Musician musician;
  ASSERT_TRUE(musician.join()) << "jackd does not run";
  edited = play({"aumu:Tone:Vesk", "--jack"}, {}, "vesk-edit");
  EXPECT_EQ(edited.status, 1);
  EXPECT_TRUE(edited.errors.ends_with("no editor could be opened (is there a display?)\n"))
      << edited.errors;
  auto result = play({"aumu:Bad_:Vesk#19=1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.errors.find("-10875"), std::string::npos) << result.errors;
  result = play({"aumu:Tone:Vesk"}, [&](pid_t) {
    EXPECT_TRUE(musician.connect("vesk:midi", "vesk:out-left"));
    EXPECT_TRUE(wait_until([&] { return musician.loudest() > 0.1f; }, patience));
    server.end();
  });
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(result.errors.ends_with("vesk-play: the JACK server has ended\n")) << result.errors;
}

}  // namespace
