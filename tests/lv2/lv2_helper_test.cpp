// What a host and the program that shows an interface say to each other, without a display.

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "components/lv2/catalogue/interface_kind.hpp"
#include "components/lv2/editor/helper_interface.hpp"
#include "tests/support/raw_host.hpp"
#include "tests/support/scratch_folder.hpp"

using namespace vesk::lv2;

namespace {

std::array<int, 2> make_stream() {
  std::array<int, 2> ends{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
  return ends;
}

TEST(HelperSocket, MessagesComeWholeAndInOrderHoweverSlowlyTheyAreTaken) {
  const auto [one, other] = make_stream();
  HelperSocket from{File(one)};
  HelperSocket to{File(other)};
  constexpr int count = 200;
  const Bytes bytes(10'000, std::byte{7});
  for (int i = 0; i < count; ++i) EXPECT_TRUE(from.send(HelperMessage::atom, i, bytes));
  EXPECT_FALSE(from.is_drained());
  int taken = 0;
  while (taken < count) {
    from.flush();
    while (const auto message = to.receive()) {
      int number = -1;
      Bytes body;
      ASSERT_TRUE(message->read(number, body));
      EXPECT_EQ(number, taken++);
      EXPECT_EQ(body, bytes);
      EXPECT_FALSE(message->read(number)) << "fewer fields than there are";
    }
  }
  EXPECT_TRUE(from.is_drained());
}

TEST(HelperSocket, WhoeverDoesNotListenIsNotToldForEver) {
  const auto [one, other] = make_stream();
  HelperSocket from{File(one)};
  const File deaf(other);
  const Bytes bytes(1u << 20);
  int sent = 0;
  while (sent < 1'000 && from.send(HelperMessage::atom, bytes)) ++sent;
  EXPECT_LT(sent, 100);
}

TEST(HelperSocket, LastWordsAreHeardAndNonsenseEndsTheStream) {
  struct Case {
    const char* name;
    std::array<std::uint32_t, 3> words;  ///< size, kind, body
    std::size_t count;
    bool is_message;
  };
  const Case cases[] = {
      {"a message, then the end", {4, 2, 1}, 3, true},
      {"half a head", {4, 2, 1}, 1, false},
      {"half a message", {8, 2, 1}, 3, false},
      {"a length that nobody has", {0xffffffff, 2, 1}, 3, false},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    const auto [one, other] = make_stream();
    HelperSocket to{File(other)};
    const std::size_t size = each.count * sizeof(std::uint32_t);
    EXPECT_EQ(write(one, each.words.data(), size), static_cast<ssize_t>(size));
    close(one);
    EXPECT_EQ(to.receive().has_value(), each.is_message);
    EXPECT_FALSE(to.receive());
    EXPECT_TRUE(to.is_closed());
  }
}

/// A unit that has no plugin, and names `program`.
class FakeLink final : public EditorLink, public InterfaceListener {
 public:
  explicit FakeLink(std::string program, std::string library, std::string_view class_uri)
      : program_(std::move(program)) {
    editor_.uri = "urn:test:interface";
    editor_.class_uri = class_uri;
    editor_.library = std::move(library);
    plugin_.editors = {editor_};
  }

  const Description& plugin() const override { return plugin_; }
  const Editor& editor() const override { return editor_; }
  double sample_rate() const override { return 48'000; }
  std::uint32_t max_frames() const override { return 128; }
  std::uint32_t map(const char*) const override { return 0; }
  const char* unmap(std::uint32_t) const override { return nullptr; }
  LV2_Handle handle() const override { return nullptr; }
  ExtensionData extension_data() const override { return nullptr; }
  std::string helper() const override { return program_; }
  float value(std::uint32_t) const override { return 0; }
  void set_value(std::uint32_t, float) override {}
  bool attach(EditorViewer*) override { return true; }
  void detach(EditorViewer*) override {}
  bool send(std::uint32_t, const LV2_Atom*) override { return true; }
  void receive(void (*)(void*, std::uint32_t, const LV2_Atom*), void*) override {}
  void write_value(std::uint32_t, float) override {}
  void write_atom(std::uint32_t, const LV2_Atom&) override {}
  void touch(std::uint32_t, bool) override {}

 private:
  std::string program_;
  Description plugin_;
  Editor editor_;
};

TEST(HelperInterface, SaysWhyAProgramShowsNothing) {
  const std::string helper = build_folder() + "/lib/vesk/vesk-lv2-ui";
  struct Case {
    std::string program;
    std::string_view class_uri;
    const char* error;
  };
  const Case cases[] = {
      {"/no/such/program", external_class, "/no/such/program: No such file or directory"},
      {"/bin/true", external_class, "its program has ended"},
      {"/bin/false", external_class, "its program has ended: exit status 1"},
      {helper, "urn:test:unknown", "it is of an unknown kind"},
      // Test programs have no display.
      {helper, external_class, "the display does not answer"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.error);
    FakeLink link(each.program, "/no/such/library.so", each.class_uri);
    std::string error;
    EXPECT_EQ(HelperInterface::open(link, link, {}, error), nullptr);
    EXPECT_EQ(error, each.error);
  }
}

TEST(HelperInterface, NonsenseOfAProgramEndsItsInterface) {
  struct Case {
    const char* name;
    const char* bytes;  ///< for printf: size, kind, body
  };
  const Case cases[] = {
      {"an unknown kind", "\\4\\0\\0\\0\\143\\0\\0\\0abcd"},
      {"a message of a host's", "\\0\\0\\0\\0\\5\\0\\0\\0"},
      {"a size without a height", "\\4\\0\\0\\0\\4\\0\\0\\0\\7\\0\\0\\0"},
      {"a size of nothing", "\\10\\0\\0\\0\\4\\0\\0\\0\\7\\0\\0\\0\\0\\0\\0\\0"},
      {"an atom that is longer than its message",
       "\\20\\0\\0\\0\\3\\0\\0\\0\\0\\0\\0\\0\\10\\0\\0\\0\\377\\0\\0\\0\\1\\0\\0\\0"},
      {"a text that is longer than its message", "\\4\\0\\0\\0\\10\\0\\0\\0\\377\\377\\377\\377"},
  };
  const vesk::tests::ScratchFolder folder;
  const std::string program = folder / "program";
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    std::ofstream(program) << "#!/bin/sh\nprintf '" << each.bytes << "' >&0\nexec sleep 20\n";
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    FakeLink link(program, "/no/such/library.so", external_class);
    std::string error;
    EXPECT_EQ(HelperInterface::open(link, link, {}, error), nullptr);
    EXPECT_EQ(error, "its program talks nonsense");
  }
}

}  // namespace
