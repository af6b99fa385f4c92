#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include "tests/headers/unit_author.hpp"

// headers/layouts.cpp, which is part of this program, holds the layouts and values as it compiles.

namespace {

TEST(Layouts, DisplayCurvesAreOneNumberAndNotFlags) {
  AudioUnitParameterOptions flags = kAudioUnitParameterFlag_IsReadable;
  flags = SetAudioUnitParameterDisplayType(flags, kAudioUnitParameterFlag_DisplayCubed);
  EXPECT_TRUE(AudioUnitDisplayTypeIsCubed(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsSquared(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsSquareRoot(flags));
  flags = SetAudioUnitParameterDisplayType(flags, kAudioUnitParameterFlag_DisplayLogarithmic);
  EXPECT_TRUE(AudioUnitDisplayTypeIsLogarithmic(flags));
  EXPECT_FALSE(AudioUnitDisplayTypeIsCubed(flags));
  EXPECT_TRUE(flags & kAudioUnitParameterFlag_IsReadable);
}

TEST(Layouts, EverythingAUnitAuthorUsesIsThere) {
  EXPECT_STREQ(unit_author_fault(), nullptr);
  EXPECT_STREQ(older_unit_fault(), nullptr);
}

}  // namespace
