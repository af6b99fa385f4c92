#pragma once

#include <AudioToolbox/AudioToolbox.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

/// An Audio Unit of the test's own: it writes down what it is asked and answers as it is told.
///
/// One script is in force at a time; every unit opened while it lives follows it. The unit runs in
/// this process, so the script must outlive the plugins that a test loads.
struct UnitScript {
  UnitScript();
  ~UnitScript();
  UnitScript(const UnitScript&) = delete;
  UnitScript& operator=(const UnitScript&) = delete;

  // What the unit answers.
  OSStatus open_status = noErr;
  OSStatus output_format_status = noErr;
  OSStatus input_format_status = noErr;
  OSStatus callback_status = noErr;
  OSStatus max_frames_status = noErr;
  OSStatus parameter_status = noErr;
  OSStatus initialize_status = noErr;
  OSStatus class_info_get_status = noErr;
  OSStatus class_info_set_status = noErr;
  bool class_info_is_null = false;
  OSStatus sampler_status = noErr;
  std::chrono::milliseconds pause{0};  ///< how long open, initialize and both ways of a state last
  double latency = -1;                 ///< negative: refused, after scribbling on the answer
  std::string state_text = "fresh";    ///< the class info's only entry, under the key "text"
  /// Renders a period; the default leaves the buffers as they are and answers noErr.
  std::function<OSStatus(UInt32 frames, AudioBufferList* data)> render;
  std::function<void(AudioUnitParameterID id)> on_parameter;  ///< runs after a change was recorded

  // What it was asked, in order, for example "parameter 2=800". " elsewhere" follows where the
  // element is not 0 or a parameter's scope not the global one, " otherwise" a render of another
  // bus than 0 or with flags or buffers that are not those of two channels.
  std::vector<std::string> calls;
  AudioStreamBasicDescription output_format{};
  UInt32 max_frames = 0;
  AURenderCallbackStruct input{};  ///< of the unit that was given one, rendered or closed last
  AudioTimeStamp render_time{};
  AUSamplerInstrumentData sampler_request{};  ///< its URL is not kept, but its path:
  std::string sampler_path;
  OSStatus pull_input(AudioUnitRenderActionFlags* flags, UInt32 frames, AudioBufferList* data);

  /// Specification texts of the unit.
  static constexpr const char* instrument = "aumu:Reco:Test";
  static constexpr const char* effect = "aufx:Reco:Test";
  static constexpr const char* sampler = "exs:";  ///< a path follows
};
