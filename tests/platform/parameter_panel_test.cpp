// The generic panel's parameters as text, and where everything in it is.

#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "platform/linux/core_audio_kit/panel_layout.hpp"
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
      {kAudioUnitParameterUnit_Hertz, "Hz", 20, 20000, 440, "440.0 Hz"},
      {kAudioUnitParameterUnit_Hertz, "Hz", 20, 20000, 12345, "12.35 kHz"},
      {kAudioUnitParameterUnit_Decibels, "dB", -60, 12, -6, "-6.00 dB"},
      {kAudioUnitParameterUnit_Decibels, "dB", -60, 12, -0.001f, "0.00 dB"},
      {kAudioUnitParameterUnit_Generic, "", 0, 1, 0.3333f, "0.333"},
      {kAudioUnitParameterUnit_Percent, "%", 0, 100, 7.5f, "7.50 %"},
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
  EXPECT_EQ(value_text(unit, parameters[kCutoff], 632), "632.0 Hz");
  // Half way along a logarithmic slider is the geometric mean.
  EXPECT_NEAR(value_at(unit, parameters[kCutoff], 0.5f), 632.5, 1);
  EXPECT_NEAR(position_of(unit, parameters[kCutoff], 632.5f), 0.5, 0.001);
  const UnitTitle title = read_title(unit);
  EXPECT_EQ(title.name, "Editors");
  EXPECT_EQ(title.maker, "Vesk");
  AudioComponentInstanceDispose(unit);
}

TEST(ParameterPanel, ScrollsToEveryParameterAndNoFurther) {
  std::vector<Parameter> many(120);
  for (std::size_t i = 0; i < many.size(); ++i) many[i].group = i < 60 ? "First" : "Second";
  PanelLayout layout(many, {});
  EXPECT_EQ(layout.rows().size(), 122u) << "with a heading for each group";
  ASSERT_TRUE(layout.scrolls());
  EXPECT_LT(layout.height(), 600);
  EXPECT_FALSE(layout.is_visible(layout.rows().back()));
  EXPECT_TRUE(layout.scroll_to(1e9));
  const auto& last = layout.rows().back();
  EXPECT_TRUE(layout.is_visible(last));
  EXPECT_LE(layout.row_area(last).bottom(), layout.list().bottom());
  EXPECT_FALSE(layout.scroll_to(1e9 + 1));
  EXPECT_EQ(layout.row_at(200, layout.row_area(last).y + 3), &last);
  EXPECT_NEAR(layout.scroll_thumb().bottom(), layout.scroll_track().bottom(), 0.01);
  // Dragging the thumb to either end reaches that end.
  layout.scroll_to(layout.scroll_for_thumb(layout.scroll_track().y));
  EXPECT_EQ(layout.scroll(), 0);
  EXPECT_FALSE(PanelLayout(std::vector<Parameter>(5), {}).scrolls());
}

TEST(ParameterPanel, SlidersAndMenusMeetThePointer) {
  PanelLayout layout(std::vector<Parameter>(3), {});
  const auto& row = layout.rows()[1];
  for (const double position : {0.0, 0.25, 1.0})
    EXPECT_NEAR(layout.slider_position(row, layout.slider_x(row, position)), position, 1e-9);
  EXPECT_EQ(layout.slider_position(row, -50), 0);

  const Area field = layout.control_area(row);
  MenuLayout below(field, 3, 1, 600);
  EXPECT_GE(below.area().y, field.bottom());
  EXPECT_EQ(below.item_at(field.x + 5, below.item_area(2).y + 1), 2u);
  EXPECT_FALSE(below.item_at(field.x - 5, below.item_area(2).y + 1));
  MenuLayout above({188, 560, 186, 20}, 10, 0, 600);
  EXPECT_LE(above.area().bottom(), 560);
  // Longer than the panel: opened so that the present choice is in sight.
  MenuLayout tall(field, 100, 80, 400);
  EXPECT_TRUE(tall.area().contains(field.x + 1, tall.item_area(80).y + 1));
  EXPECT_LE(tall.area().bottom(), 400);
}

}  // namespace
