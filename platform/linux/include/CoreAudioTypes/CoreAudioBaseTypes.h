#pragma once

/* Audio formats, buffers, time stamps and channel layouts: what every Audio Unit call is made of.
 *
 * Plain data, LP64 layouts, no calls but one inline function. Sizes are checked in
 * tests/platform/layouts_test.cpp. */

#include <MacTypes.h>
#include <stddef.h>
#include <stdint.h>

/* Marks a function, or a pointer to one, that the render thread calls: it must not allocate, take
 * a lock or block. Behind the declarator, in C and C++ alike. Checked by compilers that know it
 * (-Wfunction-effects, off unless asked for), nothing for the others. */
#if defined(__has_attribute)
#if __has_attribute(nonblocking)
#define CA_REALTIME_API __attribute__((nonblocking))
#endif
#endif
#ifndef CA_REALTIME_API
#define CA_REALTIME_API
#endif

/* CA_ENUM: a real enumeration over UInt32, to which an integer does not convert in C++.
 * CA_OPTIONS: a UInt32 with named bits, so that `|=` and `= 0` work in C++ as well.
 * CA_VALUES: constants of one type without a name. */
#define CA_VALUES(type) __extension__ enum : type
#define CA_OPTIONS(name) \
  typedef UInt32 name;   \
  __extension__ enum : UInt32
#define CA_ENUM(name)               \
  __extension__ enum name : UInt32; \
  typedef enum name name;           \
  __extension__ enum name : UInt32

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes that belong to no facility in particular. 0 (`noErr`) is success. */
CA_VALUES(OSStatus){kAudio_UnimplementedError = -4,
                    kAudio_FileNotFoundError = -43,
                    kAudio_FilePermissionError = -54,
                    kAudio_TooManyFilesOpenError = -42,
                    kAudio_BadFilePathError = 0x21707468, /* '!pth' */
                    kAudio_ParamError = -50,
                    kAudio_MemFullError = -108};

/* One buffer: `mNumberChannels` is 1 in non-interleaved formats; `mDataByteSize` counts bytes. */
typedef struct AudioBuffer {
  UInt32 mNumberChannels;
  UInt32 mDataByteSize;
  void* mData;
} AudioBuffer;

/* A list of `mNumberBuffers` buffers in a row: allocate offsetof(AudioBufferList, mBuffers[n]). */
typedef struct AudioBufferList {
  UInt32 mNumberBuffers;
  AudioBuffer mBuffers[1];
} AudioBufferList;

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

/* In a non-interleaved format `mBytesPerFrame` and `mBytesPerPacket` count one channel. */
typedef struct AudioStreamBasicDescription {
  Float64 mSampleRate; /* frames a second */
  AudioFormatID mFormatID;
  AudioFormatFlags mFormatFlags;
  UInt32 mBytesPerPacket;
  UInt32 mFramesPerPacket;
  UInt32 mBytesPerFrame;
  UInt32 mChannelsPerFrame;
  UInt32 mBitsPerChannel;
  UInt32 mReserved; /* 0 */
} AudioStreamBasicDescription;

CA_VALUES(AudioFormatID){kAudioFormatLinearPCM = 0x6c70636d /* 'lpcm' */};

CA_VALUES(AudioFormatFlags){
    kAudioFormatFlagIsFloat = 1u << 0, kAudioFormatFlagIsBigEndian = 1u << 1,
    kAudioFormatFlagIsSignedInteger = 1u << 2, kAudioFormatFlagIsPacked = 1u << 3,
    kAudioFormatFlagIsAlignedHigh = 1u << 4, kAudioFormatFlagIsNonInterleaved = 1u << 5,
    kAudioFormatFlagIsNonMixable = 1u << 6, kAudioFormatFlagsAreAllClear = 0x80000000u,

    kLinearPCMFormatFlagIsFloat = kAudioFormatFlagIsFloat,
    kLinearPCMFormatFlagIsBigEndian = kAudioFormatFlagIsBigEndian,
    kLinearPCMFormatFlagIsSignedInteger = kAudioFormatFlagIsSignedInteger,
    kLinearPCMFormatFlagIsPacked = kAudioFormatFlagIsPacked,
    kLinearPCMFormatFlagIsAlignedHigh = kAudioFormatFlagIsAlignedHigh,
    kLinearPCMFormatFlagIsNonInterleaved = kAudioFormatFlagIsNonInterleaved,
    kLinearPCMFormatFlagIsNonMixable = kAudioFormatFlagIsNonMixable,

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    kAudioFormatFlagsNativeEndian = kAudioFormatFlagIsBigEndian,
#else
    kAudioFormatFlagsNativeEndian = 0,
#endif
    kAudioFormatFlagsNativeFloatPacked = kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian |
                                         kAudioFormatFlagIsPacked,
    /* The older name of the same, for samples of AudioSampleType. */
    kAudioFormatFlagsCanonical = kAudioFormatFlagsNativeFloatPacked};

typedef Float32 AudioSampleType;

typedef struct AudioStreamPacketDescription {
  SInt64 mStartOffset;
  UInt32 mVariableFramesInPacket;
  UInt32 mDataByteSize;
} AudioStreamPacketDescription;

CA_ENUM(SMPTETimeType){
    kSMPTETimeType24 = 0,       kSMPTETimeType25 = 1,   kSMPTETimeType30Drop = 2,
    kSMPTETimeType30 = 3,       kSMPTETimeType2997 = 4, kSMPTETimeType2997Drop = 5,
    kSMPTETimeType60 = 6,       kSMPTETimeType5994 = 7, kSMPTETimeType60Drop = 8,
    kSMPTETimeType5994Drop = 9, kSMPTETimeType50 = 10,  kSMPTETimeType2398 = 11};

CA_OPTIONS(SMPTETimeFlags){kSMPTETimeUnknown = 0, kSMPTETimeValid = 1u << 0,
                           kSMPTETimeRunning = 1u << 1};

typedef struct SMPTETime {
  SInt16 mSubframes;
  SInt16 mSubframeDivisor;
  UInt32 mCounter;
  SMPTETimeType mType;
  SMPTETimeFlags mFlags;
  SInt16 mHours;
  SInt16 mMinutes;
  SInt16 mSeconds;
  SInt16 mFrames;
} SMPTETime;

CA_OPTIONS(AudioTimeStampFlags){
    kAudioTimeStampNothingValid = 0,
    kAudioTimeStampSampleTimeValid = 1u << 0,
    kAudioTimeStampHostTimeValid = 1u << 1,
    kAudioTimeStampRateScalarValid = 1u << 2,
    kAudioTimeStampWordClockTimeValid = 1u << 3,
    kAudioTimeStampSMPTETimeValid = 1u << 4,
    kAudioTimeStampSampleHostTimeValid = kAudioTimeStampSampleTimeValid |
                                         kAudioTimeStampHostTimeValid};

/* A moment, as far as `mFlags` says: `mSampleTime` in frames, `mHostTime` in mach_absolute_time
 * ticks. Units render once for each value of `mSampleTime`. */
typedef struct AudioTimeStamp {
  Float64 mSampleTime;
  UInt64 mHostTime;
  Float64 mRateScalar;
  UInt64 mWordClockTime;
  SMPTETime mSMPTETime;
  AudioTimeStampFlags mFlags;
  UInt32 mReserved;
} AudioTimeStamp;

typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelLayoutTag;

CA_VALUES(AudioChannelLabel){kAudioChannelLabel_Unused = 0,
                             kAudioChannelLabel_Left = 1,
                             kAudioChannelLabel_Right = 2,
                             kAudioChannelLabel_Center = 3,
                             kAudioChannelLabel_LFEScreen = 4,
                             kAudioChannelLabel_LeftSurround = 5,
                             kAudioChannelLabel_RightSurround = 6,
                             kAudioChannelLabel_Mono = 42,
                             kAudioChannelLabel_UseCoordinates = 100,
                             kAudioChannelLabel_Unknown = 0xFFFFFFFFu};

typedef UInt32 AudioChannelBitmap;
typedef UInt32 AudioChannelFlags;

/* (code << 16) | number of channels. */
CA_VALUES(AudioChannelLayoutTag){
    kAudioChannelLayoutTag_UseChannelDescriptions = 0x0,
    kAudioChannelLayoutTag_UseChannelBitmap = 0x10000,
    kAudioChannelLayoutTag_Mono = 0x640001,
    kAudioChannelLayoutTag_Stereo = 0x650002,
    kAudioChannelLayoutTag_StereoHeadphones = 0x660002,
    kAudioChannelLayoutTag_Binaural = 0x6A0002,
    kAudioChannelLayoutTag_Ambisonic_B_Format = 0x6B0004,
    kAudioChannelLayoutTag_Quadraphonic = 0x6C0004,
    kAudioChannelLayoutTag_Pentagonal = 0x6D0005,
    kAudioChannelLayoutTag_Hexagonal = 0x6E0006,
    kAudioChannelLayoutTag_Octagonal = 0x6F0008,
    kAudioChannelLayoutTag_ITU_3_0 = 0x710003,
    kAudioChannelLayoutTag_AudioUnit_4 = kAudioChannelLayoutTag_Quadraphonic,
    kAudioChannelLayoutTag_AudioUnit_5 = kAudioChannelLayoutTag_Pentagonal,
    kAudioChannelLayoutTag_AudioUnit_6 = kAudioChannelLayoutTag_Hexagonal,
    kAudioChannelLayoutTag_AudioUnit_8 = kAudioChannelLayoutTag_Octagonal,
    kAudioChannelLayoutTag_AudioUnit_5_0 = 0x760005,
    kAudioChannelLayoutTag_AudioUnit_5_1 = 0x790006,
    kAudioChannelLayoutTag_AudioUnit_6_0 = 0x8B0006,
    kAudioChannelLayoutTag_AudioUnit_6_1 = 0x7D0007,
    kAudioChannelLayoutTag_AudioUnit_7_0 = 0x8C0007,
    kAudioChannelLayoutTag_AudioUnit_7_1 = 0x800008,
    kAudioChannelLayoutTag_AudioUnit_7_1_Front = 0x7E0008,
    kAudioChannelLayoutTag_DiscreteInOrder = 0x930000,
    kAudioChannelLayoutTag_HOA_ACN_SN3D = 0xBE0000,
    kAudioChannelLayoutTag_Atmos_7_1_4 = 0xC0000C,
    kAudioChannelLayoutTag_Atmos_7_1_2 = 0xC4000A,
    kAudioChannelLayoutTag_Unknown = 0xFFFF0000u};

typedef struct AudioChannelDescription {
  AudioChannelLabel mChannelLabel;
  AudioChannelFlags mChannelFlags;
  Float32 mCoordinates[3];
} AudioChannelDescription;

/* `mNumberChannelDescriptions` descriptions in a row, possibly none:
 * offsetof(AudioChannelLayout, mChannelDescriptions[n]) bytes. */
typedef struct AudioChannelLayout {
  AudioChannelLayoutTag mChannelLayoutTag;
  AudioChannelBitmap mChannelBitmap;
  UInt32 mNumberChannelDescriptions;
  AudioChannelDescription mChannelDescriptions[1];
} AudioChannelLayout;

static inline UInt32 AudioChannelLayoutTag_GetNumberOfChannels(AudioChannelLayoutTag inLayoutTag) {
  return inLayoutTag & 0x0000FFFFu;
}

#ifdef __cplusplus
}
#endif
