#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The indices of its parameter list are the commands, as its documentation numbers them.

/// The rows "| id | name | ..." of the documentation.
std::vector<std::pair<AudioUnitParameterID, std::string>> documented_commands() {
  std::vector<std::pair<AudioUnitParameterID, std::string>> commands;
  std::ifstream file(VESK_MISBEHAVING_TABLE);
  for (std::string line; std::getline(file, line);) {
    std::istringstream row(line);
    std::string bar, name, next_bar;
    AudioUnitParameterID id = 0;
    if (row >> bar >> id >> next_bar >> name && bar == "|" && name.find('-') != std::string::npos)
      commands.emplace_back(id, name);
  }
  return commands;
}

AudioUnit open_misbehaving(const char* commands) {
  setenv("AUDIO_COMPONENT_PATH", VESK_TEST_COMPONENTS, 1);
  setenv("VESK_MISBEHAVE", commands, 1);
  const AudioComponentDescription wanted{kAudioUnitType_MusicDevice, 'Bad_', 'Vesk', 0, 0};
  AudioUnit unit = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &wanted), &unit), noErr);
  return unit;
}

float parameter(AudioUnit unit, AudioUnitParameterID id) {
  AudioUnitParameterValue value = -12345;
  AudioUnitGetParameter(unit, id, kAudioUnitScope_Global, 0, &value);
  return value;
}

TEST(MisbehavingUnit, HasTheCommandsOfItsDocumentation) {
  const auto commands = documented_commands();
  EXPECT_EQ(commands.size(), 31u);
  AudioUnit unit = open_misbehaving("");
  for (const auto& [id, name] : commands) {
    AudioUnitParameterInfo info{};
    UInt32 size = sizeof info;
    ASSERT_EQ(AudioUnitGetProperty(unit, kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global,
                                   id, &info, &size),
              noErr);
    EXPECT_EQ(info.name, name) << id;
    CFRelease(info.cfNameString);
  }
  AudioComponentInstanceDispose(unit);
}

TEST(MisbehavingUnit, TakesCommandsFromTheEnvironment) {
  AudioUnit unit = open_misbehaving("late-ms=2.5,,refuse-latency,nan-in-render=7");
  EXPECT_EQ(parameter(unit, 9), 2.5f);
  EXPECT_EQ(parameter(unit, 22), 1.0f);
  EXPECT_EQ(parameter(unit, 7), 7.0f);
  EXPECT_EQ(parameter(unit, 0), 0.0f);
  Float64 latency = 0;
  UInt32 size = sizeof latency;
  EXPECT_EQ(AudioUnitGetProperty(unit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0,
                                 &latency, &size),
            kAudioUnitErr_InvalidProperty);
  AudioComponentInstanceDispose(unit);

  testing::internal::CaptureStderr();
  AudioComponentInstanceDispose(open_misbehaving("no-such-thing=1"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "misbehaving unit: no command no-such-thing=1\n");
}

TEST(MisbehavingUnit, ReportsTheEventsAndRendersItSaw) {
  AudioUnit unit = open_misbehaving("fail-in-render=2,fail-status=-7");
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  const AudioTimeStamp time{};
  struct {
    AudioBufferList list;
    AudioBuffer second;
  } data{{2, {{1, 256, nullptr}}}, {1, 256, nullptr}};
  EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 64, &data.list), noErr);
  MusicDeviceMIDIEvent(unit, 0x91, 60, 100, 5);
  EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 64, &data.list), -7);
  EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 64, &data.list), noErr);
  EXPECT_EQ(parameter(unit, 100), 3.0f);
  EXPECT_EQ(parameter(unit, 101), 1.0f);
  EXPECT_EQ(parameter(unit, 102), -1.0f) << "no thread ran";
  AudioComponentInstanceDispose(unit);
}

}  // namespace
