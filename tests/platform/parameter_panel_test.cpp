// The generic panel's parameters as text.

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "platform/linux/core_audio_kit/parameter.hpp"

extern "C" {
#include "tests/components/editors/variants.h"
}

using namespace vesk::platform;

namespace {

Parameter parameter(AudioUnitParameterUnit unit, float minimum, float maximum) {
  Parameter made;
  made.unit = unit;
  made.minimum = minimum;
  made.maximum = maximum;
  return made;
}

TEST(ParameterPanel, WritesNumbersAsPeopleReadThem) {
  struct Case {
    AudioUnitParameterUnit unit;
    const char* unit_text;
    float minimum, maximum, value;
    const char* text;
  };
  const Case cases[] = {
      {kAudioUnitParameterUnit_Hertz, "Hz", 20, 20000, 440, "440 Hz"},
      {kAudioUnitParameterUnit_Hertz, "Hz", 20, 20000, 12345, "12.35 kHz"},
      {kAudioUnitParameterUnit_Hertz, "Hz", 20, 20000, 20.5f, "20 Hz"},
      {kAudioUnitParameterUnit_Hertz, "Hz", 0.1f, 1000, 0.5f, "0.50 Hz"},
      {kAudioUnitParameterUnit_Generic, "", 0, 1, 1, "1.000"},
      {kAudioUnitParameterUnit_Decibels, "dB", -60, 12, -6, "-6.0 dB"},
      {kAudioUnitParameterUnit_Decibels, "dB", -60, 12, -0.001f, "0.0 dB"},
      {kAudioUnitParameterUnit_Generic, "", 0, 1, 0.3333f, "0.333"},
      {kAudioUnitParameterUnit_Percent, "%", 0, 100, 7.5f, "7.5 %"},
      {kAudioUnitParameterUnit_SampleFrames, "samples", 0, 48000, 4800, "4800 samples"},
      {kAudioUnitParameterUnit_Indexed, "", 0, 9, 3, "3"},
      {kAudioUnitParameterUnit_MIDINoteNumber, "", 0, 127, 69, "A4"},
      {kAudioUnitParameterUnit_MIDINoteNumber, "", 0, 127, 0, "C-1"},
      {kAudioUnitParameterUnit_Boolean, "", 0, 1, 1, "On"},
      {kAudioUnitParameterUnit_Boolean, "", 0, 1, 0.5f, "Off"},
  };
  for (const Case& c : cases) {
    Parameter made = parameter(c.unit, c.minimum, c.maximum);
    made.unit_text = c.unit_text;
    EXPECT_EQ(number_text(made, c.value), c.text);
  }
}

TEST(ParameterPanel, ReadsWhatPeopleType) {
  struct Case {
    AudioUnitParameterUnit unit;
    float minimum, maximum;
    const char* text;
    std::optional<float> value;
  };
  const Case cases[] = {
      {kAudioUnitParameterUnit_Generic, 0, 1, " 0.5 ", 0.5f},
      {kAudioUnitParameterUnit_Generic, -1, 1, "-0,25", -0.25f},
      {kAudioUnitParameterUnit_Generic, 0, 1, "+7", 1.0f},
      {kAudioUnitParameterUnit_Generic, 0, 1, ".5", 0.5f},
      {kAudioUnitParameterUnit_Hertz, 20, 20000, "440 Hz", 440.0f},
      {kAudioUnitParameterUnit_Hertz, 20, 20000, "12.5 kHz", 12500.0f},
      {kAudioUnitParameterUnit_Indexed, 0, 9, "2.7", 3.0f},
      {kAudioUnitParameterUnit_MIDINoteNumber, 0, 127, "A4", 69.0f},
      {kAudioUnitParameterUnit_MIDINoteNumber, 0, 127, "69", 69.0f},
      {kAudioUnitParameterUnit_Generic, 0, 1, "", std::nullopt},
      {kAudioUnitParameterUnit_Generic, 0, 1, "loud", std::nullopt},
      {kAudioUnitParameterUnit_Generic, 0, 1, "nan", std::nullopt},
      {kAudioUnitParameterUnit_Generic, 0, 1, "1e99", std::nullopt},
  };
  for (const Case& c : cases)
    EXPECT_EQ(value_of_text(nullptr, parameter(c.unit, c.minimum, c.maximum), c.text), c.value)
        << c.text;
}

TEST(ParameterPanel, ChoosesAControlThatSuitsTheUnit) {
  const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
  setenv("AUDIO_COMPONENT_PATH", (build / "components").c_str(), 1);
  const AudioComponentDescription description{'aumu', 'Edit', 'Vesk', 0, 0};
  AudioUnit unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), &unit), noErr);
  const std::vector<Parameter> parameters = read_parameters(unit, false);
  ASSERT_EQ(parameters.size(), 7u);
  const Control controls[] = {Control::slider, Control::slider, Control::slider, Control::menu,
                              Control::toggle, Control::meter,  Control::meter};
  for (std::size_t i = 0; i < parameters.size(); ++i)
    EXPECT_EQ(parameters[i].control, controls[i]) << parameters[i].name;
  EXPECT_EQ(parameters[kShape].value_names, (std::vector<std::string>{"Round", "Square", "Star"}));
  EXPECT_EQ(value_text(unit, parameters[kShape], 2), "Star");
  EXPECT_EQ(value_text(unit, parameters[kCutoff], 632), "632 Hz");
  // Half way along a logarithmic slider is the geometric mean.
  EXPECT_NEAR(value_at(unit, parameters[kCutoff], 0.5f), 632.5, 1);
  EXPECT_NEAR(position_of(unit, parameters[kCutoff], 632.5f), 0.5, 0.001);
  const UnitTitle title = read_title(unit);
  EXPECT_EQ(title.name, "Editors");
  EXPECT_EQ(title.maker, "Vesk");
  AudioComponentInstanceDispose(unit);
}

}  // namespace
