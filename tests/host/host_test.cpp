// The host as a parent sees it: its words in the block, its lines and its exit status.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vesk/workgroup_record.h>

#include <atomic>
#include <cstdio>
#include <fstream>

#include "tests/support/raw_host.hpp"

using namespace vesk::host;
using namespace std::chrono_literals;

namespace {

int exit_status(int status) {
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Host, ChecksItsArguments) {
  const std::string program = build_folder() + "/bin/vesk-host";
  struct Case {
    const char* arguments;
    int status;
    const char* line;
  };
  const Case cases[] = {
      {"", 2, " SHM_NAME PLUGIN SAMPLE_RATE MAX_FRAMES PERIOD_FRAMES\n"},
      {"/a b c d e f", 2, " SHM_NAME PLUGIN SAMPLE_RATE MAX_FRAMES PERIOD_FRAMES\n"},
      {"/vesk-no-such-object x 48000 64 64", 1,
       "plugin host: shm_open failed: No such file or directory\n"},
      {"'' x 48000 64 64", 1, "plugin host: shm_open failed: Invalid argument\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.arguments);
    FILE* const output = popen((program + " " + c.arguments + " 2>&1").c_str(), "r");
    ASSERT_NE(output, nullptr);
    char text[512] = "";
    const std::size_t length = fread(text, 1, sizeof text - 1, output);
    EXPECT_EQ(exit_status(pclose(output)), c.status);
    EXPECT_TRUE(std::string(text, length).ends_with(c.line)) << text;
  }
}

TEST(Host, RefusesABlockThatIsNone) {
  struct Case {
    const char* name;
    std::size_t size;
    std::uint32_t magic;
    const char* line;
  };
  const Case cases[] = {
      {"short object", block_size - 1, block_magic, "plugin host: mmap failed\n"},
      {"wrong magic", block_size, 0x4B534556, "plugin host: bad shared-memory block\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RawHost host({.chain = "aumu:Null:Vesk", .object_size = c.size, .prepare = [&](Block& block) {
                    block.magic = c.magic;
                  }});
    EXPECT_EQ(exit_status(host.wait_end()), 1);
    EXPECT_EQ(host.standard_error(), c.line);
    EXPECT_EQ(host.block().state, starting);
    EXPECT_EQ(host.block().error[0], '\0');
  }
}

TEST(Host, PublishesWhyAChainFailed) {
  const std::string long_name(300, 'n');
  struct Case {
    std::string chain, error;
    const char* commands = "";  // of the misbehaving component
  };
  const Case cases[] = {
      {"", "expected type:subtype:manufacturer, e.g. aumu:Pt7q:Mdrt"},
      {"aumu:Null:Vesk#x", "expected parameters as id=value,id=value, e.g. #2=800"},
      {"aumu:none:Here", "aumu:none:Here: component not found: aumu:none:Here"},
      {"aumu:Null:Vesk|aumu:Tone:Vesk",
       "aumu:Tone:Vesk is not an effect, so can only start a chain"},
      {"aufx:Gain:Vesk|aufx:none:Here", "aufx:none:Here: component not found: aufx:none:Here"},
      {"aumu:Asyn:Vesk", "aumu:Asyn:Vesk: instantiation failed (OSStatus -10875)",
       "fail-in-load=2"},
      {"aumu:Bad_:Vesk#19=1", "aumu:Bad_:Vesk: initialize failed (OSStatus -10875)"},
      {"aumu:Tone:Vesk@/dev/null", "aumu:Tone:Vesk: could not read preset /dev/null"},
      {"aumu:Null:Vesk|exs:" + long_name,
       ("AUSampler: " + long_name + " is not an effect, so can only start a chain").substr(0, 255)},
  };
  for (const auto& [chain, error, commands] : cases) {
    SCOPED_TRACE(chain);
    RawHost host({.chain = chain, .environment = {std::string("VESK_MISBEHAVE=") + commands}});
    EXPECT_EQ(host.wait_state(), failed);
    EXPECT_EQ(exit_status(host.wait_end()), 1);
    EXPECT_EQ(host.block().error, error);
    EXPECT_EQ(host.standard_error(), "");
  }
}

TEST(Host, TakesAnyNumberForItsLargestPeriod) {
  for (const char* number : {"-1", "2147483647", "5000000000", "4096", "much"}) {
    SCOPED_TRACE(number);
    RawHost host({.chain = "aufx:Gain:Vesk#0=1", .max_frames = number, .period_frames = number});
    ASSERT_TRUE(host.wait_listening()) << host.block().error << host.standard_error();
    std::fill_n(host.block().input_left, buffer_frames, 0.5f);
    ASSERT_TRUE(host.serve(buffer_frames));
    EXPECT_EQ(host.block().output_left[buffer_frames - 1], number[0] == 'm' ? 0 : 0.5f);
    EXPECT_TRUE(host.stop());
  }
}

TEST(Host, TakesQuitInEveryPhase) {
  for (const char* phase : {"before its start", "while loading", "while waiting"}) {
    SCOPED_TRACE(phase);
    const bool early = phase[0] == 'b';
    RawHost host({.chain = "aumu:Tone:Vesk", .prepare = [&](Block& block) {
                    if (early) block.quit = 1;
                  }});
    if (phase[6] == 'w') ASSERT_TRUE(host.wait_listening());
    host.quit();
    EXPECT_EQ(host.wait_end(), 0);
    EXPECT_EQ(load_acquire(host.block().state), ready);
    EXPECT_EQ(host.standard_error(), "plugin host aumu:Tone:Vesk: workgroup not shared\n");
  }
}

TEST(Host, MapsNoLibraryThatItsChainDoesNotUse) {
  const auto libraries = [](const char* chain) {
    RawHost host({.chain = chain});
    EXPECT_TRUE(host.wait_listening()) << host.block().error;
    std::ifstream maps("/proc/" + std::to_string(host.pid()) + "/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {});
  };
  const std::string native = libraries("aumu:Null:Vesk");
  const std::string lv2 = libraries("aumu:Sm48:LV2_");
  for (const char* name :
       {"gnustep", "libobjc", "libX11", "lilv", "sndfile", "libdbus", "libplist", "libexpat"}) {
    EXPECT_EQ(native.find(name), std::string::npos) << name;
    EXPECT_EQ(lv2.find(name), std::string::npos) << name;
  }
  EXPECT_EQ(native.find("lv2.so"), std::string::npos);
  EXPECT_NE(lv2.find("lv2.so"), std::string::npos);
}

// A render thread's stack is as large as the limit that the host inherits.
TEST(Host, RendersUnderASmallLimitOnStacks) {
  rlimit before{};
  getrlimit(RLIMIT_STACK, &before);
  for (const rlim_t bytes : {128u * 1024, 256u * 1024}) {
    const rlimit small{.rlim_cur = bytes, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_STACK, &small), 0);
    RawHost host({.chain = "aumu:Tone:Vesk"});
    setrlimit(RLIMIT_STACK, &before);
    EXPECT_TRUE(host.wait_listening()) << bytes << ": " << host.standard_error();
    EXPECT_TRUE(host.stop()) << bytes;
  }
}

// Descriptor 3 is the record of the parent's workgroup.
TEST(Host, ItsRenderThreadIsInTheParentsWorkgroupUntilItEnds) {
  cpu_set_t cpus;
  sched_getaffinity(0, sizeof cpus, &cpus);
  if (!CPU_ISSET(0, &cpus)) GTEST_SKIP() << "this process may not use CPU 0";
  for (const bool is_sound : {true, false}) {
    SCOPED_TRACE(is_sound ? "a sound record" : "a record of another version");
    const int descriptor = memfd_create("workgroup", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    ASSERT_EQ(ftruncate(descriptor, sizeof(VeskWorkgroupRecord)), 0);
    void* const memory = mmap(nullptr, sizeof(VeskWorkgroupRecord), PROT_READ | PROT_WRITE,
                              MAP_SHARED, descriptor, 0);
    ASSERT_NE(memory, MAP_FAILED);
    fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW);
    auto& record = *static_cast<VeskWorkgroupRecord*>(memory);
    record.magic = VESK_WORKGROUP_MAGIC;
    record.version = is_sound ? VESK_WORKGROUP_VERSION : 99;
    record.parent = getpid();
    record.cpus[0] = 1;
    const std::atomic_ref<std::uint64_t> slot(record.members[0]);

    RawHost host({.chain = "aumu:Null:Vesk", .descriptor_3 = descriptor});
    ASSERT_TRUE(host.wait_listening()) << "it renders all the same";
    const std::uint64_t member = slot.load();
    EXPECT_EQ(static_cast<pid_t>(member >> 32), is_sound ? host.pid() : 0);
    if (is_sound) {
      cpu_set_t placed;
      EXPECT_EQ(sched_getaffinity(static_cast<pid_t>(member), sizeof placed, &placed), 0);
      EXPECT_TRUE(CPU_COUNT(&placed) == 1 && CPU_ISSET(0, &placed));
    }
    EXPECT_TRUE(host.stop());
    EXPECT_EQ(host.standard_error(), std::string("plugin host aumu:Null:Vesk: workgroup ") +
                                         (is_sound ? "joined\n" : "join failed\n"));
    EXPECT_EQ(slot.load(), 0u);
    munmap(memory, sizeof(VeskWorkgroupRecord));
    close(descriptor);
  }
}

}  // namespace
