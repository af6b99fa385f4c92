#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace {

// A unit that answers each method with a status of its own, 1000 + selector, when it is given what
// was passed, or offers no method at all.

bool offers_methods = true;
void* self_at_open = nullptr;

/// What is passed as the index-th argument.
template <typename Argument>
Argument numbered(std::size_t index) {
  if constexpr (std::is_pointer_v<Argument>)
    return reinterpret_cast<Argument>(index + 1);
  else
    return static_cast<Argument>(index + 1);
}

template <SInt16 selector, typename... Arguments>
OSStatus method(void* self, Arguments... arguments) {
  std::size_t index = 0;
  const bool is_as_passed = ((arguments == numbered<Arguments>(index++)) && ...);
  return self == self_at_open && is_as_passed ? 1000 + selector : -1;
}

struct Call {
  SInt16 selector;
  AudioComponentMethod method;
  std::function<OSStatus(AudioUnit)> call;
};

template <SInt16 selector, typename... Arguments>
Call call_of(OSStatus (*function)(AudioUnit, Arguments...)) {
  return {selector, reinterpret_cast<AudioComponentMethod>(&method<selector, Arguments...>),
          [function](AudioUnit unit) {
            return [&]<std::size_t... index>(std::index_sequence<index...>) {
              return function(unit, numbered<Arguments>(index)...);
            }(std::index_sequence_for<Arguments...>());
          }};
}

// The real-time calls' types are marked, which this unit's methods are not.
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

AudioComponentPlugInInterface* make_unit(const AudioComponentDescription*) {
  static AudioComponentPlugInInterface interface{
      [](void* self, AudioComponentInstance) -> OSStatus {
        self_at_open = self;
        return noErr;
      },
      [](void*) -> OSStatus { return noErr; },
      [](SInt16 selector) -> AudioComponentMethod {
        for (const Call& each : calls)
          if (offers_methods && each.selector == selector) return each.method;
        return nullptr;
      },
      nullptr};
  return &interface;
}

TEST(AudioUnitCalls, ReachTheMethodOfTheirSelectorOrSayThatThereIsNone) {
  const AudioComponentDescription description{kAudioUnitType_Effect, 'Reco', 'Test', 0, 0};
  AudioComponent component = AudioComponentRegister(&description, nullptr, 0, make_unit);
  for (const bool has_methods : {true, false}) {
    offers_methods = has_methods;
    AudioUnit unit = nullptr;
    ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
    for (const Call& each : calls) {
      SCOPED_TRACE(each.selector);
      EXPECT_EQ(each.call(unit), has_methods ? 1000 + each.selector : kAudio_UnimplementedError);
      EXPECT_EQ(each.call(nullptr), kAudio_ParamError);
    }
    AudioComponentInstanceDispose(unit);
  }
}

}  // namespace
