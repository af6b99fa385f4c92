#pragma once

/* The plain types that the Audio Unit headers are written in. */

#include <TargetConditionals.h>
#include <stddef.h>
#include <stdint.h>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef unsigned int UInt32;
typedef int SInt32;
typedef unsigned long long UInt64;
typedef long long SInt64;
typedef float Float32;
typedef double Float64;

typedef unsigned char Boolean;
typedef UInt8 Byte;

typedef SInt32 OSStatus;
typedef SInt16 OSErr;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

typedef UInt16 UniChar;
typedef unsigned long UniCharCount;

typedef unsigned char Str255[256];
typedef char* Ptr;
typedef long Size;
typedef unsigned long ByteCount;

enum { noErr = 0 };

/* Older names of the general status codes. */
enum { unimpErr = -4, fnfErr = -43, paramErr = -50, memFullErr = -108 };

/* Objective-C's headers have one of their own. */
#ifndef nil
#ifdef __cplusplus
#define nil nullptr
#else
#define nil NULL
#endif
#endif

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
