#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace {

// A unit that answers each method with a status of its own, 1000 + selector, and writes down what
// it was given, or offers no method at all.

// The arguments as text, without allocating: the real-time methods record as well.
char given[256];
bool offers_methods = true;
void* self_at_open = nullptr;

template <typename Argument>
void write_down(Argument argument) {
  char* const start = given + std::strlen(given);
  const std::size_t size = sizeof given - static_cast<std::size_t>(start - given);
  if constexpr (std::is_pointer_v<Argument>)
    std::snprintf(start, size, "%" PRIuPTR " ", reinterpret_cast<std::uintptr_t>(argument));
  else
    std::snprintf(start, size, "%g ", static_cast<double>(argument));
}

template <SInt16 selector, typename... Arguments>
OSStatus method(void* self, Arguments... arguments) {
  EXPECT_EQ(self, self_at_open);
  given[0] = 0;
  (write_down(arguments), ...);
  return 1000 + selector;
}

/// The index-th argument of a call: 1 for the first.
template <typename Argument>
Argument numbered(std::size_t index) {
  if constexpr (std::is_pointer_v<Argument>)
    return reinterpret_cast<Argument>(index + 1);
  else
    return static_cast<Argument>(index + 1);
}

struct Call {
  SInt16 selector;
  AudioComponentMethod method;
  std::function<OSStatus(AudioUnit)> call;
  std::size_t arguments;

  template <typename... Arguments, std::size_t... index>
  static OSStatus make(OSStatus (*function)(AudioUnit, Arguments...), AudioUnit unit,
                       std::index_sequence<index...>) {
    return function(unit, numbered<Arguments>(index)...);
  }
};

template <SInt16 selector, typename... Arguments>
Call call_of(OSStatus (*function)(AudioUnit, Arguments...)) {
  return {selector, reinterpret_cast<AudioComponentMethod>(&method<selector, Arguments...>),
          [function](AudioUnit unit) {
            return Call::make(function, unit, std::index_sequence_for<Arguments...>());
          },
          sizeof...(Arguments)};
}

// The real-time calls' types are marked, which this recording method's is not.
template <SInt16 selector, typename... Arguments>
Call real_time_call_of(OSStatus (*marked)(AudioUnit, Arguments...) CA_REALTIME_API) {
  return call_of<selector>(static_cast<OSStatus (*)(AudioUnit, Arguments...)>(marked));
}

const Call calls[] = {
    call_of<1>(AudioUnitInitialize),
    call_of<2>(AudioUnitUninitialize),
    call_of<3>(AudioUnitGetPropertyInfo),
    call_of<4>(AudioUnitGetProperty),
    call_of<5>(AudioUnitSetProperty),
    real_time_call_of<6>(AudioUnitGetParameter),
    real_time_call_of<7>(AudioUnitSetParameter),
    call_of<9>(AudioUnitReset),
    call_of<10>(AudioUnitAddPropertyListener),
    real_time_call_of<14>(AudioUnitRender),
    call_of<15>(AudioUnitAddRenderNotify),
    call_of<16>(AudioUnitRemoveRenderNotify),
    real_time_call_of<17>(AudioUnitScheduleParameters),
    call_of<18>(AudioUnitRemovePropertyListenerWithUserData),
    real_time_call_of<0x101>(MusicDeviceMIDIEvent),
    real_time_call_of<0x102>(MusicDeviceSysEx),
    real_time_call_of<0x105>(MusicDeviceStartNote),
    real_time_call_of<0x106>(MusicDeviceStopNote),
};

AudioComponentMethod lookup(SInt16 selector) {
  for (const Call& each : calls)
    if (offers_methods && each.selector == selector) return each.method;
  return nullptr;
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

TEST(AudioUnitCalls, ReachTheMethodOfTheirSelectorWithTheirArguments) {
  AudioUnit unit = open_recorder(true);
  for (const Call& each : calls) {
    EXPECT_EQ(each.call(unit), 1000 + each.selector);
    std::string expected;
    for (std::size_t i = 1; i <= each.arguments; ++i) expected += std::to_string(i) + " ";
    EXPECT_EQ(given, expected) << "selector " << each.selector;
  }
  AudioComponentInstanceDispose(unit);
}

TEST(AudioUnitCalls, SayWhenTheUnitHasNoSuchMethodOrIsNone) {
  AudioUnit unit = open_recorder(false);
  for (const Call& each : calls) {
    EXPECT_EQ(each.call(unit), kAudio_UnimplementedError) << "selector " << each.selector;
    EXPECT_EQ(each.call(nullptr), kAudio_ParamError) << "selector " << each.selector;
  }
  AudioComponentInstanceDispose(unit);
}

}  // namespace
