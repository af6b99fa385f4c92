#include "windows/title_text.hpp"

#include <gtest/gtest.h>

namespace {

TEST(TitleText, ReplacesWhatIsNoUtf8) {
  struct Case {
    const char* name;
    std::string_view bytes;
    std::string_view text;
  };
  const Case cases[] = {
      {"plain", "Synth", "Synth"},
      {"one to four bytes", "aé€🎹", "aé€🎹"},
      {"edges of each length", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80",
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"},
      {"Latin-1", "Caf\xE9", "Caf\uFFFD"},
      {"continuation alone", "a\x80z", "a\uFFFDz"},
      {"cut short", "a\xE2\x82", "a\uFFFD\uFFFD"},
      {"longer than needed", "\xC0\xAF\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"half of a pair", "\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"beyond the last character", "\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"a good one after a bad one", "\xF0\x9F\xC3\xA9", "\uFFFD\uFFFDé"},
  };
  for (const Case& c : cases) EXPECT_EQ(vesk::host::readable_utf8(c.bytes), c.text) << c.name;
}

}  // namespace
