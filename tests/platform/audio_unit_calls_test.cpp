#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

namespace {

// A unit that answers each method with a status of its own, 1000 + selector, and writes down what
// it was given; it has only the methods that `offered` allows.

// The arguments as text, without allocating: the real-time methods record as well.
char given[256];
bool offers_methods = true;
void* self_at_open = nullptr;

template <typename Argument>
void write_down(Argument argument) {
  char* const start = given + std::strlen(given);
  const std::size_t size = sizeof given - static_cast<std::size_t>(start - given);
  if constexpr (std::is_pointer_v<Argument>) {
    const auto address = reinterpret_cast<std::uintptr_t>(argument);
    std::snprintf(start, size, "%#" PRIxPTR " ", address);
  } else {
    std::snprintf(start, size, "%g ", static_cast<double>(argument));
  }
}

template <SInt16 selector, typename... Arguments>
OSStatus method(void* self, Arguments... arguments) {
  EXPECT_EQ(self, self_at_open);
  given[0] = 0;
  (write_down(arguments), ...);
  return 1000 + selector;
}

template <SInt16 selector, typename... Arguments>
AudioComponentMethod as_method(OSStatus (*)(void*, Arguments...)) {
  return reinterpret_cast<AudioComponentMethod>(&method<selector, Arguments...>);
}

// The real-time methods' types are marked, which this recording one is not.
template <SInt16 selector, typename... Arguments>
AudioComponentMethod as_method(OSStatus (*marked)(void*, Arguments...) CA_REALTIME_API) {
  (void)marked;
  return reinterpret_cast<AudioComponentMethod>(&method<selector, Arguments...>);
}

#define METHOD(number, Proc) \
  case number:               \
    return as_method<number>(static_cast<Proc>(nullptr))

AudioComponentMethod lookup(SInt16 selector) {
  if (!offers_methods) return nullptr;
  switch (selector) {
    METHOD(1, AudioUnitInitializeProc);
    METHOD(2, AudioUnitUninitializeProc);
    METHOD(3, AudioUnitGetPropertyInfoProc);
    METHOD(4, AudioUnitGetPropertyProc);
    METHOD(5, AudioUnitSetPropertyProc);
    METHOD(6, AudioUnitGetParameterProc);
    METHOD(7, AudioUnitSetParameterProc);
    METHOD(9, AudioUnitResetProc);
    METHOD(10, AudioUnitAddPropertyListenerProc);
    METHOD(14, AudioUnitRenderProc);
    METHOD(15, AudioUnitAddRenderNotifyProc);
    METHOD(16, AudioUnitRemoveRenderNotifyProc);
    METHOD(17, AudioUnitScheduleParametersProc);
    METHOD(18, AudioUnitRemovePropertyListenerWithUserDataProc);
    METHOD(0x101, MusicDeviceMIDIEventProc);
    METHOD(0x102, MusicDeviceSysExProc);
    METHOD(0x105, MusicDeviceStartNoteProc);
    METHOD(0x106, MusicDeviceStopNoteProc);
    default:
      return nullptr;
  }
}

AudioUnit open_recorder(bool with_methods) {
  static AudioComponent component = [] {
    const AudioComponentDescription description{kAudioUnitType_Effect, 'Reco', 'Test', 0, 0};
    return AudioComponentRegister(
        &description, nullptr, 0,
        [](const AudioComponentDescription*) -> AudioComponentPlugInInterface* {
          static AudioComponentPlugInInterface interface{
              [](void* self, AudioComponentInstance) -> OSStatus {
                self_at_open = self;
                return noErr;
              },
              [](void*) -> OSStatus { return noErr; }, lookup, nullptr};
          return &interface;
        });
  }();
  offers_methods = with_methods;
  AudioUnit unit = nullptr;
  EXPECT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  return unit;
}

void* at(std::uintptr_t address) {
  return reinterpret_cast<void*>(address);
}

struct Call {
  SInt16 selector;
  std::string arguments;
  std::function<OSStatus(AudioUnit)> call;
};

std::vector<Call> all_calls() {
  const auto listener = reinterpret_cast<AudioUnitPropertyListenerProc>(at(0x70));
  const auto callback = reinterpret_cast<AURenderCallback>(at(0x71));
  const auto size = static_cast<UInt32*>(at(0x11));
  const auto flags = static_cast<AudioUnitRenderActionFlags*>(at(0x12));
  const auto time = static_cast<const AudioTimeStamp*>(at(0x13));
  const auto list = static_cast<AudioBufferList*>(at(0x14));
  return {
      {1, "", [](AudioUnit unit) { return AudioUnitInitialize(unit); }},
      {2, "", [](AudioUnit unit) { return AudioUnitUninitialize(unit); }},
      {3, "8 1 2 0x11 0 ",
       [=](AudioUnit unit) { return AudioUnitGetPropertyInfo(unit, 8, 1, 2, size, nullptr); }},
      {4, "8 1 2 0x10 0x11 ",
       [=](AudioUnit unit) { return AudioUnitGetProperty(unit, 8, 1, 2, at(0x10), size); }},
      {5, "8 1 2 0x10 40 ",
       [](AudioUnit unit) { return AudioUnitSetProperty(unit, 8, 1, 2, at(0x10), 40); }},
      {6, "3 1 2 0x17 ",
       [](AudioUnit unit) {
         return AudioUnitGetParameter(unit, 3, 1, 2, static_cast<Float32*>(at(0x17)));
       }},
      {7, "3 1 2 0.3 5 ",
       [](AudioUnit unit) { return AudioUnitSetParameter(unit, 3, 1, 2, 0.3f, 5); }},
      {9, "1 2 ", [](AudioUnit unit) { return AudioUnitReset(unit, 1, 2); }},
      {10, "8 0x70 0x10 ",
       [=](AudioUnit unit) { return AudioUnitAddPropertyListener(unit, 8, listener, at(0x10)); }},
      {14, "0x12 0x13 1 64 0x14 ",
       [=](AudioUnit unit) { return AudioUnitRender(unit, flags, time, 1, 64, list); }},
      {15, "0x71 0x10 ",
       [=](AudioUnit unit) { return AudioUnitAddRenderNotify(unit, callback, at(0x10)); }},
      {16, "0x71 0x10 ",
       [=](AudioUnit unit) { return AudioUnitRemoveRenderNotify(unit, callback, at(0x10)); }},
      {17, "0x18 9 ",
       [](AudioUnit unit) {
         return AudioUnitScheduleParameters(unit, static_cast<AudioUnitParameterEvent*>(at(0x18)),
                                            9);
       }},
      {18, "8 0x70 0x10 ",
       [=](AudioUnit unit) {
         return AudioUnitRemovePropertyListenerWithUserData(unit, 8, listener, at(0x10));
       }},
      {0x101, "144 60 100 17 ",
       [](AudioUnit unit) { return MusicDeviceMIDIEvent(unit, 0x90, 60, 100, 17); }},
      {0x102, "0x1b 6 ",
       [](AudioUnit unit) {
         return MusicDeviceSysEx(unit, static_cast<const UInt8*>(at(0x1b)), 6);
       }},
      {0x105, "4 5 0x11 6 0x19 ",
       [=](AudioUnit unit) {
         return MusicDeviceStartNote(unit, 4, 5, size, 6,
                                     static_cast<const MusicDeviceNoteParams*>(at(0x19)));
       }},
      {0x106, "5 7 6 ", [](AudioUnit unit) { return MusicDeviceStopNote(unit, 5, 7, 6); }},
  };
}

TEST(AudioUnitCalls, ReachTheMethodOfTheirSelectorWithTheirArguments) {
  AudioUnit unit = open_recorder(true);
  for (const Call& each : all_calls()) {
    EXPECT_EQ(each.call(unit), 1000 + each.selector);
    EXPECT_EQ(std::string(given), each.arguments) << "selector " << each.selector;
  }
  AudioComponentInstanceDispose(unit);
}

TEST(AudioUnitCalls, SayWhenTheUnitHasNoSuchMethodOrIsNone) {
  AudioUnit unit = open_recorder(false);
  for (const Call& each : all_calls()) {
    EXPECT_EQ(each.call(unit), kAudio_UnimplementedError) << "selector " << each.selector;
    EXPECT_EQ(each.call(nullptr), kAudio_ParamError) << "selector " << each.selector;
  }
  AudioComponentInstanceDispose(unit);
}

// Before the first search of this process.
[[maybe_unused]] const int component_path_is_set =
    setenv("AUDIO_COMPONENT_PATH", VESK_TEST_COMPONENTS, 1);

/// An instance of a built test unit, initialised for `frames` frames at 48 kHz.
class Instance {
 public:
  Instance(OSType type, OSType subtype, UInt32 frames) {
    const AudioComponentDescription wanted{type, subtype, 'Vesk', 0, 0};
    AudioComponent component = AudioComponentFindNext(nullptr, &wanted);
    EXPECT_EQ(AudioComponentInstanceNew(component, &unit_), noErr);
    const Float64 rate = 48000;
    EXPECT_EQ(AudioUnitSetProperty(unit_, kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 0,
                                   &rate, sizeof rate),
              noErr);
    if (type == kAudioUnitType_Effect) {
      AudioUnitSetProperty(unit_, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, 0, &rate,
                           sizeof rate);
    }
    EXPECT_EQ(AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice,
                                   kAudioUnitScope_Global, 0, &frames, sizeof frames),
              noErr);
    EXPECT_EQ(AudioUnitInitialize(unit_), noErr);
  }
  ~Instance() { AudioComponentInstanceDispose(unit_); }
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;
  AudioUnit get() const { return unit_; }

 private:
  AudioUnit unit_ = nullptr;
};

struct Stereo {
  AudioBufferList list;
  AudioBuffer right;
};

/// Plays a note from frame 100 to frame 700 of 960, in periods of `frames`.
std::vector<float> play(UInt32 frames) {
  const Instance tone(kAudioUnitType_MusicDevice, 'Tone', frames);
  std::vector<float> sound(960);
  std::vector<float> right(frames);
  for (UInt32 start = 0; start < 960; start += frames) {
    const struct {
      UInt32 frame, status;
    } events[] = {{100, 0x90}, {700, 0x80}};
    for (const auto& event : events)
      if (event.frame >= start && event.frame < start + frames)
        MusicDeviceMIDIEvent(tone.get(), event.status, 69, 127, event.frame - start);
    Stereo data{{2, {{1, frames * 4, &sound[start]}}}, {1, frames * 4, right.data()}};
    AudioTimeStamp time{};
    time.mSampleTime = start;
    time.mFlags = kAudioTimeStampSampleTimeValid;
    EXPECT_EQ(AudioUnitRender(tone.get(), nullptr, &time, 0, frames, &data.list), noErr);
  }
  return sound;
}

TEST(TestUnits, PlayTheSameBytesAtEveryPeriodLength) {
  const std::vector<float> sound = play(64);
  for (UInt32 frames : {1u, 96u, 480u, 960u}) EXPECT_EQ(play(frames), sound) << frames;
  EXPECT_EQ(sound[99], 0.0f);
  EXPECT_NE(sound[100], 0.0f) << "the note sounds in the frame that it was sent for";
  EXPECT_NE(sound[760], 0.0f);
  EXPECT_EQ(sound[764], 0.0f) << "released within 64 frames";
}

TEST(TestUnits, ReadTheCallersInputWithoutACopyUnlessTold) {
  static const void* offered;
  static float input[2][64];
  const auto supply = [](void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                         AudioBufferList* data) CA_REALTIME_API -> OSStatus {
    offered = data->mBuffers[0].mData;
    for (UInt32 i = 0; i < data->mNumberBuffers; ++i)
      if (!data->mBuffers[i].mData) data->mBuffers[i].mData = input[i];
    return noErr;
  };
  const Instance gain(kAudioUnitType_Effect, 'Gain', 64);
  AudioTimeStamp time{};
  Stereo data{{2, {{1, 256, nullptr}}}, {1, 256, nullptr}};
  EXPECT_EQ(AudioUnitRender(gain.get(), nullptr, &time, 0, 64, &data.list),
            kAudioUnitErr_NoConnection);
  const AURenderCallbackStruct callback{supply, nullptr};
  ASSERT_EQ(AudioUnitSetProperty(gain.get(), kAudioUnitProperty_SetRenderCallback,
                                 kAudioUnitScope_Input, 0, &callback, sizeof callback),
            noErr);
  input[0][3] = 0.5f;
  AudioUnitSetParameter(gain.get(), 0, kAudioUnitScope_Global, 0, 3, 0);
  EXPECT_EQ(AudioUnitRender(gain.get(), nullptr, &time, 0, 64, &data.list), noErr);
  EXPECT_EQ(offered, nullptr);
  ASSERT_NE(data.list.mBuffers[0].mData, nullptr) << "the unit's own output buffers";
  EXPECT_EQ(static_cast<float*>(data.list.mBuffers[0].mData)[3], 1.5f);
  AudioUnitSetParameter(gain.get(), 1, kAudioUnitScope_Global, 0, 1, 0);
  EXPECT_EQ(AudioUnitRender(gain.get(), nullptr, &time, 0, 64, &data.list), noErr);
  EXPECT_NE(offered, nullptr);
}

TEST(TestUnits, ComeBackFromTheirState) {
  const Instance first(kAudioUnitType_MusicDevice, 'Tone', 64);
  AudioUnitSetParameter(first.get(), 0, kAudioUnitScope_Global, 0, 0.7f, 0);
  AudioUnitSetParameter(first.get(), 1, kAudioUnitScope_Global, 0, 3, 0);
  CFPropertyListRef state = nullptr;
  UInt32 size = sizeof state;
  ASSERT_EQ(AudioUnitGetProperty(first.get(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global,
                                 0, &state, &size),
            noErr);
  const Instance second(kAudioUnitType_MusicDevice, 'Tone', 64);
  EXPECT_EQ(AudioUnitSetProperty(second.get(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global,
                                 0, &state, sizeof state),
            noErr);
  AudioUnitParameterValue value = 0;
  AudioUnitGetParameter(second.get(), 0, kAudioUnitScope_Global, 0, &value);
  EXPECT_EQ(value, 0.7f);
  AudioUnitGetParameter(second.get(), 1, kAudioUnitScope_Global, 0, &value);
  EXPECT_EQ(value, 3.0f);

  const Instance other(kAudioUnitType_Effect, 'Gain', 64);
  EXPECT_EQ(AudioUnitSetProperty(other.get(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global,
                                 0, &state, sizeof state),
            kAudioUnitErr_InvalidPropertyValue)
      << "the state of another unit";
  CFRelease(state);
}

}  // namespace
