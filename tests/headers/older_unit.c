/* What sources of units take from the headers of their time, as they write it. */

#include <AudioToolbox/AudioFormat.h>
#include <AudioToolbox/AudioToolbox.h>
#include <AudioToolbox/AudioUnit.h>
#include <AvailabilityMacros.h>
#include <Carbon/Carbon.h>
#include <CoreAudio/CoreAudio.h>
#include <CoreServices/CoreServices.h>
#include <libkern/OSAtomic.h>
#include <libkern/OSByteOrder.h>

#if MAC_OS_X_VERSION_MAX_ALLOWED < MAC_OS_X_VERSION_10_6 || \
    MAC_OS_X_VERSION_MIN_REQUIRED < MAC_OS_VERSION_11_0
#error "taken for a release of long ago"
#endif
#if !defined(TARGET_OS_MAC)
#error "the plain types come without the target's conditionals"
#endif

_Static_assert(sizeof(ByteCount) == sizeof(void*), "counts of bytes in memory");
_Static_assert(sizeof(AudioSampleType) == 4, "samples are floats");
_Static_assert(sizeof(MIDIPacketList) == 272, "the umbrella makes it complete");

const char* older_unit_fault(void);

#define EXPECT(condition) \
  if (!(condition)) return #condition

static ComponentResult count_call(int* calls) {
  ++*calls;
  return *calls == 1 ? -1 : noErr;
}

static const char* byte_order_fault(void) {
  const union {
    UInt8 bytes[8];
    UInt16 two;
    UInt32 four;
    UInt64 eight;
  } word = {{1, 2, 3, 4, 5, 6, 7, 8}};
  EXPECT(OSSwapInt16(0x0102) == 0x0201);
  EXPECT(OSSwapInt32(0x01020304) == 0x04030201);
  EXPECT(OSSwapInt64(0x0102030405060708) == 0x0807060504030201);
  EXPECT(OSSwapBigToHostInt16(word.two) == 0x0102);
  EXPECT(OSSwapBigToHostInt32(word.four) == 0x01020304);
  EXPECT(OSSwapBigToHostInt64(word.eight) == 0x0102030405060708);
  EXPECT(OSSwapLittleToHostInt16(word.two) == 0x0201);
  EXPECT(OSSwapLittleToHostInt32(word.four) == 0x04030201);
  EXPECT(OSSwapLittleToHostInt64(word.eight) == 0x0807060504030201);
  EXPECT(OSSwapHostToBigInt16(0x0102) == word.two);
  EXPECT(OSSwapHostToBigInt32(0x01020304) == word.four);
  EXPECT(OSSwapHostToBigInt64(0x0102030405060708) == word.eight);
  EXPECT(OSSwapHostToLittleInt16(0x0201) == word.two);
  EXPECT(OSSwapHostToLittleInt32(0x04030201) == word.four);
  EXPECT(OSSwapHostToLittleInt64(0x0807060504030201) == word.eight);
  return NULL;
}

static const char* atomics_fault(void) {
  volatile int32_t count = 5;
  EXPECT(OSAtomicAdd32(-2, &count) == 3);
  EXPECT(OSAtomicIncrement32(&count) == 4);
  EXPECT(OSAtomicDecrement32Barrier(&count) == 3);
  EXPECT(!OSAtomicCompareAndSwap32(4, 9, &count) && count == 3);
  EXPECT(OSAtomicCompareAndSwap32Barrier(3, 9, &count) && count == 9);
  volatile uint32_t bits = 0xF0;
  EXPECT(OSAtomicOr32Barrier(0x03, &bits) == 0xF3);
  EXPECT(OSAtomicAnd32Barrier(0x3F, &bits) == 0x33);
  int one = 1, two = 2;
  void* volatile place = &one;
  EXPECT(!OSAtomicCompareAndSwapPtr(&two, nil, &place) && place == &one);
  EXPECT(OSAtomicCompareAndSwapPtrBarrier(&one, &two, &place) && place == &two);
  UInt8 bytes[2] = {0, 0};
  EXPECT(!OSAtomicTestAndSetBarrier(9, bytes) && bytes[1] == 0x40);
  EXPECT(OSAtomicTestAndSetBarrier(9, bytes));
  EXPECT(OSAtomicTestAndClearBarrier(9, bytes) && bytes[1] == 0);
  OSMemoryBarrier();
  return NULL;
}

const char* older_unit_fault(void) {
  int calls = 0;
  verify_noerr(count_call(&calls));
  EXPECT(calls == 1);
  AudioUnit none = nil;
  EXPECT(AudioUnitInitialize(none) == kAudio_ParamError);
  const char* fault = byte_order_fault();
  return fault ? fault : atomics_fault();
}
