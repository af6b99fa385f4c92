// Turning a constructed plugin into a live one.

#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <mach/mach_time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>

#include "plugin/audio_unit_plugin.hpp"

namespace vesk {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds instantiation_limit{60};
constexpr CFTimeInterval run_loop_slice = 0.01;  // seconds
// A preset beyond this is no preset: without a bound, a path such as /dev/zero would eat memory.
constexpr std::size_t largest_preset = std::size_t{256} << 20;

double milliseconds_since(Clock::time_point start) {
  return static_cast<double>((Clock::now() - start) / std::chrono::nanoseconds(1)) / 1e6;
}

std::string with_status(const char* message, OSStatus status) {
  return message + std::to_string(status) + ")";
}

AudioStreamBasicDescription stereo_float_format(double sample_rate) {
  AudioStreamBasicDescription format{};
  format.mSampleRate = sample_rate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags =
      kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved;
  format.mBytesPerPacket = sizeof(float);
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = sizeof(float);
  format.mChannelsPerFrame = 2;
  format.mBitsPerChannel = 32;
  return format;
}

/// Where the completion of an instantiation arrives. The handler may run on any thread and long
/// after the loader has given up, so both sides share it, and `phase` decides who owns the
/// instance: the handler's release store of `completed` hands it to the loader, and a handler
/// that finds `abandoned` disposes of it.
struct Completion {
  enum Phase { waiting, completed, abandoned };

  AudioComponentInstance instance = nullptr;
  OSStatus status = noErr;
  std::atomic<Phase> phase{waiting};

  void deliver(AudioComponentInstance delivered, OSStatus delivered_status) {
    // Of a platform that calls its handler twice, the first call counts.
    if (is_complete()) return;
    instance = delivered;
    status = delivered_status;
    if (phase.exchange(completed, std::memory_order_acq_rel) == abandoned && delivered != nullptr)
      AudioComponentInstanceDispose(delivered);
  }

  bool is_complete() const { return phase.load(std::memory_order_acquire) == completed; }

  void abandon() {
    Phase expected = waiting;
    // Completed in the very last moment: the instance is ours to dispose of.
    if (!phase.compare_exchange_strong(expected, abandoned, std::memory_order_acq_rel) &&
        instance != nullptr)
      AudioComponentInstanceDispose(instance);
  }
};

/// Runs the thread's run loop until the instantiation has completed. False when time is up.
bool await(const Completion& completion) {
  const auto deadline = Clock::now() + instantiation_limit;
  while (!completion.is_complete()) {
    if (deadline < Clock::now()) return false;
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, run_loop_slice, false);
  }
  return true;
}

/// All bytes of a file; empty when it has none, cannot be read or is no preset by its size.
std::vector<UInt8> read_file(const std::string& path) {
  // Not to wait for the writer of a pipe, who may never come: without one it is empty.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return {};
  fcntl(descriptor, F_SETFL, 0);
  std::vector<UInt8> bytes;
  UInt8 chunk[16384];
  ssize_t count = 0;
  do {
    count = read(descriptor, chunk, sizeof chunk);
    if (count > 0) bytes.insert(bytes.end(), chunk, chunk + count);
  } while ((count > 0 && bytes.size() <= largest_preset) || (count < 0 && errno == EINTR));
  close(descriptor);
  return count == 0 ? bytes : std::vector<UInt8>();
}

}  // namespace

bool AudioUnitPlugin::load(double sample_rate, unsigned max_frames, std::string& error) {
  if (!instantiate(error)) return false;
  if (!set_formats(sample_rate, error)) return false;

  // Neither can fail a load: a unit may have a bound of its own, or know no such parameter.
  AudioUnitSetProperty(unit_, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, 0,
                       &max_frames, sizeof max_frames);
  for (const auto& [id, value] : spec_.params)
    AudioUnitSetParameter(unit_, id, kAudioUnitScope_Global, 0, value, 0);

  const auto initialize_start = Clock::now();
  if (const OSStatus status = AudioUnitInitialize(unit_); status != noErr) {
    error = with_status("initialize failed (OSStatus ", status);
    return false;
  }
  timings_.initialize_ms = milliseconds_since(initialize_start);

  const auto restore_start = Clock::now();
  if (!restore(sample_rate, max_frames, error)) return false;
  timings_.restore_ms = milliseconds_since(restore_start);

  double latency = 0;
  UInt32 size = sizeof latency;
  if (AudioUnitGetProperty(unit_, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &latency,
                           &size) == noErr)
    latency_ = latency;

  mach_timebase_info_data_t timebase{};
  mach_timebase_info(&timebase);
  ticks_per_frame_ = 1'000'000'000 / sample_rate * timebase.denom / timebase.numer;

  buffer_left_.assign(max_frames, 0.0f);
  buffer_right_.assign(max_frames, 0.0f);

  // Release: the render thread must find the unit and the buffers fully set up.
  live_unit_.store(unit_, std::memory_order_release);
  return true;
}

bool AudioUnitPlugin::instantiate(std::string& error) {
  const AudioComponent component = AudioComponentFindNext(nullptr, &spec_.desc);
  if (component == nullptr) {
    error = "component not found: " + spec_.name;
    return false;
  }

  const auto start = Clock::now();
  const auto completion = std::make_shared<Completion>();
  AudioComponentInstantiate(component,
                            out_of_process_ ? kAudioComponentInstantiation_LoadOutOfProcess
                                            : kAudioComponentInstantiation_LoadInProcess,
                            ^(AudioComponentInstance instance, OSStatus status) {
                              completion->deliver(instance, status);
                            });
  if (!await(*completion)) {
    completion->abandon();
    error = "instantiation timed out";
    return false;
  }
  if (completion->status != noErr || completion->instance == nullptr) {
    if (completion->instance != nullptr) AudioComponentInstanceDispose(completion->instance);
    error = with_status("instantiation failed (OSStatus ", completion->status);
    return false;
  }
  unit_ = completion->instance;
  timings_.instantiate_ms = milliseconds_since(start);
  return true;
}

bool AudioUnitPlugin::set_formats(double sample_rate, std::string& error) {
  const AudioStreamBasicDescription format = stereo_float_format(sample_rate);
  OSStatus status = AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat,
                                         kAudioUnitScope_Output, 0, &format, sizeof format);
  if (status != noErr) {
    error = with_status("stream format rejected (OSStatus ", status);
    return false;
  }
  if (!spec_.is_effect()) return true;

  status = AudioUnitSetProperty(unit_, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                &format, sizeof format);
  if (status == noErr) {
    const AURenderCallbackStruct input{supply_input, this};
    status = AudioUnitSetProperty(unit_, kAudioUnitProperty_SetRenderCallback,
                                  kAudioUnitScope_Input, 0, &input, sizeof input);
  }
  if (status != noErr) {
    error = with_status("effect input rejected (OSStatus ", status);
    return false;
  }
  return true;
}

bool AudioUnitPlugin::restore(double sample_rate, unsigned max_frames, std::string& error) {
  if (!spec_.exs_path.empty() && out_of_process_)
    return transfer_sampler_state(sample_rate, max_frames, error);
  if (!spec_.exs_path.empty()) return load_sampler_instrument(error);
  if (!spec_.preset_path.empty()) return restore_preset(error);
  return true;
}

/// A unit in another process cannot be handed a file of ours to open, so a temporary plugin in
/// this one loads the instrument, and its state is carried over.
bool AudioUnitPlugin::transfer_sampler_state(double sample_rate, unsigned max_frames,
                                             std::string& error) {
  AudioUnitPlugin temporary(spec_, false);
  if (!temporary.load(sample_rate, max_frames, error)) return false;

  CFPropertyListRef list = nullptr;
  UInt32 size = sizeof list;
  OSStatus status = AudioUnitGetProperty(temporary.unit_, kAudioUnitProperty_ClassInfo,
                                         kAudioUnitScope_Global, 0, &list, &size);
  // A unit may succeed without a list. No other takes null for one.
  if (status == noErr && list == nullptr) status = kAudioUnitErr_InvalidPropertyValue;
  if (status == noErr) {
    status = AudioUnitSetProperty(unit_, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0,
                                  &list, sizeof list);
    CFRelease(list);
  }
  if (status != noErr) {
    error = with_status("EXS state transfer failed (OSStatus ", status);
    return false;
  }
  return true;
}

bool AudioUnitPlugin::load_sampler_instrument(std::string& error) {
  CFURLRef url = CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(spec_.exs_path.data()),
      static_cast<CFIndex>(spec_.exs_path.size()), false);
  if (url == nullptr) {
    error = "EXS load failed: " + spec_.exs_path + " is not a file path";
    return false;
  }
  AUSamplerInstrumentData request{};
  request.fileURL = url;
  request.instrumentType = kInstrumentType_EXS24;
  request.bankMSB = kAUSampler_DefaultMelodicBankMSB;
  request.bankLSB = kAUSampler_DefaultBankLSB;
  const OSStatus status = AudioUnitSetProperty(unit_, kAUSamplerProperty_LoadInstrument,
                                               kAudioUnitScope_Global, 0, &request, sizeof request);
  CFRelease(url);
  if (status != noErr) {
    error = with_status("EXS load failed (OSStatus ", status);
    return false;
  }
  return true;
}

bool AudioUnitPlugin::restore_preset(std::string& error) {
  std::error_code reason;
  const auto file = std::filesystem::status(spec_.preset_path, reason);
  // Nothing there yet: the first save makes it. A path that cannot be looked at is an error
  // instead, since the save would fail as well and the user's changes would be lost.
  if (file.type() == std::filesystem::file_type::not_found) return true;

  const std::vector<UInt8> bytes = reason ? std::vector<UInt8>() : read_file(spec_.preset_path);
  if (bytes.empty()) {
    error = "could not read preset " + spec_.preset_path;
    return false;
  }
  CFDataRef data =
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()));
  CFPropertyListRef list = CFPropertyListCreateWithData(kCFAllocatorDefault, data,
                                                        kCFPropertyListImmutable, nullptr, nullptr);
  CFRelease(data);
  if (list == nullptr) {
    error = "preset is not a property list";
    return false;
  }
  const OSStatus status = AudioUnitSetProperty(unit_, kAudioUnitProperty_ClassInfo,
                                               kAudioUnitScope_Global, 0, &list, sizeof list);
  CFRelease(list);
  if (status != noErr) {
    error = with_status("preset restore failed (OSStatus ", status);
    return false;
  }
  return true;
}

}  // namespace vesk
