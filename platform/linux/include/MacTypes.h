#pragma once

/* The plain types that the Audio Unit headers are written in. */

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
typedef SInt8 SignedByte;

typedef SInt32 OSStatus;
typedef SInt16 OSErr;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

typedef UInt32 UTF32Char;
typedef UInt16 UniChar;
typedef UInt16 UTF16Char;
typedef UInt8 UTF8Char;
typedef unsigned long UniCharCount;

typedef unsigned char Str255[256];
typedef const unsigned char* ConstStr255Param;
typedef char* Ptr;
typedef long Size;

enum { noErr = 0 };

/* Older names of the general status codes. */
enum { unimpErr = -4, fnfErr = -43, paramErr = -50, memFullErr = -108 };

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
