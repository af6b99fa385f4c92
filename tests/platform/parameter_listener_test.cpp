#include <AudioToolbox/AudioToolbox.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <thread>
#include <vector>

#include "tests/support/wait_until.hpp"

namespace {

// A unit with a hundred parameters and one property that changes, in as few lines as do.

std::array<float, 100> values;  // by id
AudioUnitParameterInfo described{};
struct {
  AudioUnitPropertyListenerProc proc;
  void* user_data;
  int count;
} property_listener;

OSStatus get_parameter(void*, AudioUnitParameterID id, AudioUnitScope, AudioUnitElement,
                       Float32* value) {
  *value = values[id];
  return noErr;
}

OSStatus set_parameter(void*, AudioUnitParameterID id, AudioUnitScope, AudioUnitElement,
                       Float32 value, UInt32) {
  if (id == 99) return kAudioUnitErr_InvalidParameter;
  values[id] = value;
  return noErr;
}

OSStatus get_property(void*, AudioUnitPropertyID id, AudioUnitScope, AudioUnitElement, void* data,
                      UInt32*) {
  if (id != kAudioUnitProperty_ParameterInfo) return kAudioUnitErr_InvalidProperty;
  *static_cast<AudioUnitParameterInfo*>(data) = described;
  return noErr;
}

OSStatus add_listener(void*, AudioUnitPropertyID, AudioUnitPropertyListenerProc proc,
                      void* user_data) {
  property_listener = {proc, user_data, property_listener.count + 1};
  return noErr;
}

OSStatus remove_listener(void*, AudioUnitPropertyID, AudioUnitPropertyListenerProc, void*) {
  --property_listener.count;
  return noErr;
}

AudioComponentMethod lookup(SInt16 selector) {
  const auto is = [&](SInt16 wanted, auto* method) {
    return selector == wanted ? reinterpret_cast<AudioComponentMethod>(method) : nullptr;
  };
  if (const auto found = is(kAudioUnitGetParameterSelect, get_parameter)) return found;
  if (const auto found = is(kAudioUnitSetParameterSelect, set_parameter)) return found;
  if (const auto found = is(kAudioUnitGetPropertySelect, get_property)) return found;
  if (const auto found = is(kAudioUnitAddPropertyListenerSelect, add_listener)) return found;
  return is(kAudioUnitRemovePropertyListenerWithUserDataSelect, remove_listener);
}

AudioComponentPlugInInterface* make_unit(const AudioComponentDescription*) {
  static AudioComponentPlugInInterface interface{
      [](void*, AudioComponentInstance) -> OSStatus { return noErr; },
      [](void*) -> OSStatus { return noErr; }, lookup, nullptr};
  return &interface;
}

AudioUnit open_unit() {
  const AudioComponentDescription description{kAudioUnitType_Effect, 'Para', 'Test', 0, 0};
  AudioUnit unit = nullptr;
  AudioComponentInstanceNew(AudioComponentRegister(&description, nullptr, 0, make_unit), &unit);
  return unit;
}

struct Heard {
  void* object;
  AudioUnitEventType type;
  AudioUnitParameterID id;
  float value;
  bool operator==(const Heard&) const = default;
};
using HeardList = std::vector<Heard>;

std::ostream& operator<<(std::ostream& out, const Heard& heard) {
  return out << "{object " << heard.object << ", type " << heard.type << ", id " << heard.id << ", "
             << heard.value << "}";
}

void hear_parameter(void* list, void* object, const AudioUnitParameter* parameter, Float32 value) {
  static_cast<HeardList*>(list)->push_back(
      {object, kAudioUnitEvent_ParameterValueChange, parameter->mParameterID, value});
}

void hear_event(void* list, void* object, const AudioUnitEvent* event, UInt64 time, Float32 value) {
  EXPECT_NE(time, 0u);
  static_cast<HeardList*>(list)->push_back(
      {object, event->mEventType, event->mArgument.mParameter.mParameterID, value});
}

constexpr AudioUnitEventType value_change = kAudioUnitEvent_ParameterValueChange;
constexpr AudioUnitEventType gesture_begin = kAudioUnitEvent_BeginParameterChangeGesture;
constexpr AudioUnitEventType gesture_end = kAudioUnitEvent_EndParameterChangeGesture;

class ParameterListener : public testing::Test {
 protected:
  ParameterListener() {
    values.fill(0);
    property_listener = {};
  }
  ~ParameterListener() override {
    for (AUEventListenerRef listener : listeners_) AUListenerDispose(listener);
    if (unit_) AudioComponentInstanceDispose(unit_);
  }

  AudioUnitParameter parameter(AudioUnitParameterID id) const {
    return {unit_, id, kAudioUnitScope_Global, 0};
  }
  AudioUnitEvent event(AudioUnitEventType type, AudioUnitParameterID id) const {
    AudioUnitEvent event{};
    event.mEventType = type;
    event.mArgument.mParameter = parameter(id);
    return event;
  }
  /// Listens to values of parameters; the listener ends with the test, if not before.
  AUParameterListenerRef listen(HeardList& heard, float interval,
                                std::initializer_list<AudioUnitParameterID> ids,
                                void* object = nullptr) {
    AUParameterListenerRef listener = nullptr;
    EXPECT_EQ(AUListenerCreate(hear_parameter, &heard, nullptr, nullptr, interval, &listener),
              noErr);
    for (AudioUnitParameterID id : ids) {
      const AudioUnitParameter wanted = parameter(id);
      EXPECT_EQ(AUListenerAddParameter(listener, object, &wanted), noErr);
    }
    listeners_.push_back(listener);
    return listener;
  }
  /// Listens to events.
  AUEventListenerRef listen(HeardList& heard, float interval, float granularity,
                            std::initializer_list<AudioUnitEvent> events) {
    AUEventListenerRef listener = nullptr;
    EXPECT_EQ(AUEventListenerCreate(hear_event, &heard, nullptr, nullptr, interval, granularity,
                                    &listener),
              noErr);
    for (const AudioUnitEvent& wanted : events)
      EXPECT_EQ(AUEventListenerAddEventType(listener, nullptr, &wanted), noErr);
    listeners_.push_back(listener);
    return listener;
  }
  void set(AudioUnitParameterID id, float value, AUParameterListenerRef sender = nullptr,
           void* object = nullptr) {
    const AudioUnitParameter changed = parameter(id);
    EXPECT_EQ(AUParameterSet(sender, object, &changed, value, 0), noErr);
  }
  static void run_loop(double seconds) {
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false);
  }
  /// Runs the loop until there is so much to hear.
  static bool hear(const HeardList& heard, std::size_t count) {
    return vesk::tests::wait_until([&] {
      run_loop(0.001);
      return heard.size() >= count;
    });
  }

  AudioUnit unit_ = open_unit();
  std::vector<AUEventListenerRef> listeners_;
};

TEST_F(ParameterListener, HearsAtOnceWhatItAskedForAndNothingElse) {
  HeardList heard;
  int object;
  const auto listener = listen(heard, 0, {1, 2}, &object);
  set(1, 0.5f);
  set(3, 0.6f);
  EXPECT_EQ(values[3], 0.6f);
  EXPECT_EQ(heard, (HeardList{{&object, value_change, 1, 0.5f}}));
  AudioUnitSetParameter(unit_, 1, kAudioUnitScope_Global, 0, 0.7f, 0);
  EXPECT_EQ(heard.size(), 1u) << "a bare set tells nobody";
  AudioUnitSetParameter(unit_, 2, kAudioUnitScope_Global, 0, 0.2f, 0);

  // A notice without a value brings the unit's present one, and one of any parameter all of them.
  heard.clear();
  const AudioUnitParameter first = parameter(1);
  const AudioUnitParameter any = parameter(kAUParameterListener_AnyParameter);
  for (const AudioUnitParameter* changed : {&first, &any})
    EXPECT_EQ(AUParameterListenerNotify(nullptr, nullptr, changed), noErr);
  EXPECT_EQ(heard, (HeardList{{&object, value_change, 1, 0.7f},
                              {&object, value_change, 1, 0.7f},
                              {&object, value_change, 2, 0.2f}}));

  heard.clear();
  AUListenerRemoveParameter(listener, &object, &first);
  set(1, 0.8f);
  const AudioUnitParameter refused = parameter(99);
  EXPECT_EQ(AUParameterSet(nullptr, nullptr, &refused, 1, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_TRUE(heard.empty());
  EXPECT_EQ(AUListenerDispose(listener), noErr);
  EXPECT_EQ(AUListenerDispose(listener), kAudio_ParamError) << "a stale handle";
}

TEST_F(ParameterListener, IsNotToldOfWhatItSent) {
  HeardList heard, others;
  int one, two;
  const auto listener = listen(heard, 0, {1}, &one);
  const AudioUnitParameter wanted = parameter(1);
  AUListenerAddParameter(listener, &two, &wanted);
  listen(others, 0, {1}, &one);
  set(1, 1, listener, &one);
  EXPECT_EQ(heard, (HeardList{{&two, value_change, 1, 1}})) << "its other object hears";
  set(1, 2, listener, nullptr);
  EXPECT_EQ(heard.size(), 1u) << "no object: all of the listener's are silenced";
  EXPECT_EQ(others.size(), 2u);
}

TEST_F(ParameterListener, HearsTheLastValueOncePerInterval) {
  HeardList heard;
  const auto start = std::chrono::steady_clock::now();
  const auto listener = listen(heard, 0.25f, {1, 2});
  for (int i = 0; i <= 100; ++i) set(1, static_cast<float>(i));
  set(2, 7);
  EXPECT_TRUE(heard.empty()) << "not on the changing thread";
  EXPECT_TRUE(hear(heard, 2));
  EXPECT_EQ(heard, (HeardList{{nullptr, value_change, 1, 100}, {nullptr, value_change, 2, 7}}));

  set(1, 101);
  std::thread([&] { set(1, 102); }).join();
  EXPECT_TRUE(hear(heard, 3));
  EXPECT_EQ(heard.back().value, 102);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
  AUListenerDispose(listener);

  const auto ended = listen(heard, 0.01f, {1});
  set(1, 103);
  AUListenerDispose(ended);
  run_loop(0.05);
  EXPECT_EQ(heard.size(), 3u) << "nothing after the end";
}

TEST_F(ParameterListener, HearsGesturesAroundTheirValues) {
  HeardList heard, finely;
  const AudioUnitEvent begin = event(gesture_begin, 1), end = event(gesture_end, 1);
  const AudioUnitEvent change = event(value_change, 1);
  listen(heard, 0.01f, 60, {begin, change, end});
  listen(finely, 0.01f, 0, {change});
  AUEventListenerNotify(nullptr, nullptr, &begin);
  for (float value : {1.0f, 2.0f, 3.0f}) set(1, value);
  AUEventListenerNotify(nullptr, nullptr, &end);
  set(1, 4);
  EXPECT_TRUE(hear(heard, 4));
  // Within the granularity the values collapse, but not across the gesture's end.
  EXPECT_EQ(heard, (HeardList{{nullptr, gesture_begin, 1, 0},
                              {nullptr, value_change, 1, 3},
                              {nullptr, gesture_end, 1, 3},
                              {nullptr, value_change, 1, 4}}));
  EXPECT_TRUE(hear(finely, 4)) << "each is further from the last than no time at all";
}

TEST_F(ParameterListener, HearsOfPropertiesFromTheUnitAlone) {
  HeardList heard;
  const auto listener = listen(heard, 0, 0, {});
  AudioUnitEvent latency{};
  latency.mEventType = kAudioUnitEvent_PropertyChange;
  latency.mArgument.mProperty = {unit_, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0};
  int one, two;
  for (int* object : {&one, &two})
    EXPECT_EQ(AUEventListenerAddEventType(listener, object, &latency), noErr);
  EXPECT_EQ(property_listener.count, 1) << "one listener of the unit for both";
  EXPECT_EQ(AUEventListenerNotify(nullptr, nullptr, &latency), kAudio_ParamError);
  EXPECT_TRUE(heard.empty());
  const auto change = [&] {
    property_listener.proc(property_listener.user_data, unit_, kAudioUnitProperty_Latency,
                           kAudioUnitScope_Global, 0);
  };
  change();
  EXPECT_EQ(heard.size(), 2u);
  AUEventListenerRemoveEventType(listener, &one, &latency);
  EXPECT_EQ(property_listener.count, 1);
  AUEventListenerRemoveEventType(listener, &two, &latency);
  EXPECT_EQ(property_listener.count, 0);

  // What comes late, when the listener is gone, reaches nobody.
  AUEventListenerAddEventType(listener, &one, &latency);
  AUListenerDispose(listener);
  change();
  EXPECT_EQ(heard.size(), 2u);
}

TEST_F(ParameterListener, MayEndItselfInItsCallAndOutliveItsUnit) {
  static AUParameterListenerRef mortal;
  static int calls;
  AUListenerCreate(
      [](void*, void*, const AudioUnitParameter*, Float32) {
        ++calls;
        AUListenerDispose(mortal);
      },
      nullptr, nullptr, nullptr, 0, &mortal);
  const AudioUnitParameter wanted = parameter(1);
  int other_object;
  for (int* object : {static_cast<int*>(nullptr), &other_object})
    AUListenerAddParameter(mortal, object, &wanted);
  for (float value : {1.0f, 2.0f}) set(1, value);
  EXPECT_EQ(calls, 1) << "not for its second object either";

  HeardList heard;
  listen(heard, 0.01f, {1});
  set(1, 3);
  AudioComponentInstanceDispose(unit_);
  unit_ = nullptr;
  run_loop(0.05);
  EXPECT_TRUE(heard.empty()) << "a value of a unit that is gone";
}

TEST_F(ParameterListener, MayBeABlockOnTheMainQueue) {
  HeardList heard;
  HeardList* const list = &heard;
  AUEventListenerRef listener = nullptr;
  ASSERT_EQ(AUEventListenerCreateWithDispatchQueue(
                &listener, 0.01f, 60, dispatch_get_main_queue(),
                ^(void* object, const AudioUnitEvent* heard_event, UInt64 time, Float32 value) {
                  hear_event(list, object, heard_event, time, value);
                }),
            noErr);
  const AudioUnitEvent wanted = event(value_change, 1);
  AUEventListenerAddEventType(listener, nullptr, &wanted);
  set(1, 5);
  EXPECT_TRUE(heard.empty());
  EXPECT_TRUE(hear(heard, 1));
  EXPECT_EQ(heard, (HeardList{{nullptr, value_change, 1, 5}}));
  AUListenerDispose(listener);
}

TEST_F(ParameterListener, CurvesRunFromEndToEndAndBack) {
  const AudioUnitParameter any = parameter(1);
  const struct {
    const char* name;
    AudioUnitParameterOptions curve;
    float low, high, middle;
  } cases[] = {
      {"linear", 0, -1, 3, 1},
      {"logarithmic", kAudioUnitParameterFlag_DisplayLogarithmic, 20, 20000, 632.4555f},
      {"logarithmic from 0, so linear", kAudioUnitParameterFlag_DisplayLogarithmic, 0, 10, 5},
      {"square root", kAudioUnitParameterFlag_DisplaySquareRoot, 0, 4, 1},
      {"squared", kAudioUnitParameterFlag_DisplaySquared, 0, 1, 0.70710678f},
      {"cubed", kAudioUnitParameterFlag_DisplayCubed, 0, 1, 0.79370052f},
      {"cube root", kAudioUnitParameterFlag_DisplayCubeRoot, 0, 8, 1},
      {"exponential", kAudioUnitParameterFlag_DisplayExponential, 0, 1, 0.62011451f},
  };
  for (const auto& each : cases) {
    described = {};
    described.flags = each.curve;
    described.minValue = each.low;
    described.maxValue = each.high;
    EXPECT_FLOAT_EQ(AUParameterValueFromLinear(0, &any), each.low) << each.name;
    EXPECT_FLOAT_EQ(AUParameterValueFromLinear(1, &any), each.high) << each.name;
    EXPECT_FLOAT_EQ(AUParameterValueFromLinear(2, &any), each.high) << each.name;
    EXPECT_FLOAT_EQ(AUParameterValueFromLinear(0.5f, &any), each.middle) << each.name;
    EXPECT_NEAR(AUParameterValueToLinear(each.middle, &any), 0.5, 1e-5) << each.name;
    EXPECT_NEAR(AUParameterValueToLinear(each.high + 5, &any), 1, 1e-6) << each.name;
  }
  described.unit = kAudioUnitParameterUnit_Indexed;
  described.flags = 0;
  described.maxValue = 3;
  EXPECT_EQ(AUParameterValueFromLinear(0.4f, &any), 1) << "an index is whole";
}

TEST_F(ParameterListener, TextsHaveDigitsByTheRangeOrTheFrequency) {
  const AudioUnitParameter any = parameter(1);
  const struct {
    AudioUnitParameterUnit unit;
    float low, high;
    double value;
    UInt32 digits;
    const char* text;
  } cases[] = {
      {kAudioUnitParameterUnit_LinearGain, 0, 1, 0.12345, 4, "0.123"},
      {kAudioUnitParameterUnit_Percent, 0, 100, 12.345, 4, "12.3"},
      {kAudioUnitParameterUnit_Hertz, 20, 20000, 440.123, 4, "440.1"},
      {kAudioUnitParameterUnit_Hertz, 20, 20000, 15000.6, 4, "15001"},
      {kAudioUnitParameterUnit_Decibels, -96, 24, -6, 3, "-6"},
      {kAudioUnitParameterUnit_Generic, 0, 1, 1e30, 4, "1e+30"},
  };
  for (const auto& each : cases) {
    described = {};
    described.unit = each.unit;
    described.minValue = each.low;
    described.maxValue = each.high;
    char text[32];
    EXPECT_STREQ(AUParameterFormatValue(each.value, &any, text, each.digits), each.text);
  }
}

}  // namespace
