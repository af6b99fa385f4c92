#include "components/unit_support/stereo_output.hpp"

namespace vesk {

AudioStreamBasicDescription stereo_format(double sample_rate) {
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

bool is_stereo_format(const AudioStreamBasicDescription& format) {
  const AudioStreamBasicDescription ours = stereo_format(format.mSampleRate);
  return format.mSampleRate >= 1 && format.mSampleRate <= 1e6 &&
         format.mFormatID == ours.mFormatID && format.mFormatFlags == ours.mFormatFlags &&
         format.mBytesPerPacket == ours.mBytesPerPacket &&
         format.mFramesPerPacket == ours.mFramesPerPacket &&
         format.mBytesPerFrame == ours.mBytesPerFrame &&
         format.mChannelsPerFrame == ours.mChannelsPerFrame &&
         format.mBitsPerChannel == ours.mBitsPerChannel;
}

OSStatus check_stereo_output(UInt32 frames, UInt32 max_frames,
                             const AudioBufferList& data) noexcept VESK_REALTIME {
  if (frames > max_frames) return kAudioUnitErr_TooManyFramesToProcess;
  if (data.mNumberBuffers != 2) return kAudio_ParamError;
  for (UInt32 i = 0; i < 2; ++i) {
    const AudioBuffer& buffer = data.mBuffers[i];
    if (buffer.mData != nullptr && buffer.mDataByteSize < frames * sizeof(float))
      return kAudio_ParamError;
  }
  return noErr;
}

void prepare_stereo_output(UInt32 frames, float* const own[2], AudioBufferList& data,
                           float* outputs[2]) noexcept VESK_REALTIME {
  for (UInt32 i = 0; i < 2; ++i) {
    AudioBuffer& buffer = data.mBuffers[i];
    if (buffer.mData == nullptr) buffer.mData = own[i];
    buffer.mNumberChannels = 1;
    buffer.mDataByteSize = frames * static_cast<UInt32>(sizeof(float));
    outputs[i] = static_cast<float*>(buffer.mData);
  }
}

}  // namespace vesk
