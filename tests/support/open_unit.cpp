#include "tests/support/open_unit.hpp"

#include "tests/support/cf_text.hpp"

namespace vesk::tests {

OpenUnit::OpenUnit() {
  for (auto& channel : output) channel.resize(period_frames);
}

OpenUnit::OpenUnit(const AudioComponentDescription& codes, double sample_rate) : OpenUnit() {
  open(codes, sample_rate);
}

void OpenUnit::open(const AudioComponentDescription& codes, double sample_rate) {
  status_ = AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &codes), &unit_);
  if (status_ != noErr) return;
  auto format = property<AudioStreamBasicDescription>(kAudioUnitProperty_StreamFormat,
                                                      kAudioUnitScope_Output);
  format.mSampleRate = sample_rate;
  EXPECT_EQ(set_property(kAudioUnitProperty_StreamFormat, format, kAudioUnitScope_Output), noErr);
  EXPECT_EQ(set_property(kAudioUnitProperty_MaximumFramesPerSlice, period_frames), noErr);
}

OpenUnit::~OpenUnit() {
  if (unit_ != nullptr) AudioComponentInstanceDispose(unit_);
}

OSStatus OpenUnit::render(UInt32 frames) {
  struct {
    AudioBufferList list;
    AudioBuffer second;
  } buffers{};
  buffers.list.mNumberBuffers = 2;
  for (UInt32 channel = 0; channel < 2; ++channel)
    buffers.list.mBuffers[channel] = {1, frames * 4, output[channel].data()};
  AudioTimeStamp stamp{};
  stamp.mSampleTime = sample_time;
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;
  const OSStatus status = AudioUnitRender(unit_, &flags, &stamp, 0, frames, &buffers.list);
  sample_time += frames;
  return status;
}

std::vector<UInt8> OpenUnit::saved() const {
  const auto list = own(property<CFPropertyListRef>(kAudioUnitProperty_ClassInfo));
  const auto data = own(CFPropertyListCreateData(kCFAllocatorDefault, list.get(),
                                                 kCFPropertyListXMLFormat_v1_0, 0, nullptr));
  if (data == nullptr) return {};
  const UInt8* bytes = CFDataGetBytePtr(data.get());
  return {bytes, bytes + CFDataGetLength(data.get())};
}

}  // namespace vesk::tests
