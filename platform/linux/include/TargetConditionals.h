#pragma once

/* Which system a source is built for. Everything that names another vendor's system is 0 here,
 * so that portable sources take their plain branch; the processor and the byte order are real. */

#define TARGET_OS_MAC 0
#define TARGET_OS_OSX 0
#define TARGET_OS_IPHONE 0
#define TARGET_OS_IOS 0
#define TARGET_OS_TV 0
#define TARGET_OS_WATCH 0
#define TARGET_OS_VISION 0
#define TARGET_OS_BRIDGE 0
#define TARGET_OS_MACCATALYST 0
#define TARGET_OS_DRIVERKIT 0
#define TARGET_OS_SIMULATOR 0
#define TARGET_OS_EMBEDDED 0
#define TARGET_IPHONE_SIMULATOR 0
#define TARGET_OS_WIN32 0
#define TARGET_OS_WINDOWS 0
#define TARGET_OS_UNIX 0
#define TARGET_OS_LINUX 1

#define TARGET_CPU_PPC 0
#define TARGET_CPU_PPC64 0
#define TARGET_CPU_68K 0
#define TARGET_CPU_ARM 0
#if defined(__i386__)
#define TARGET_CPU_X86 1
#else
#define TARGET_CPU_X86 0
#endif
#if defined(__x86_64__)
#define TARGET_CPU_X86_64 1
#else
#define TARGET_CPU_X86_64 0
#endif
#if defined(__aarch64__)
#define TARGET_CPU_ARM64 1
#else
#define TARGET_CPU_ARM64 0
#endif

#define TARGET_RT_MAC_CFM 0
#define TARGET_RT_MAC_MACHO 0
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
#define TARGET_RT_LITTLE_ENDIAN 0
#define TARGET_RT_BIG_ENDIAN 1
#else
#define TARGET_RT_LITTLE_ENDIAN 1
#define TARGET_RT_BIG_ENDIAN 0
#endif
#if defined(__LP64__)
#define TARGET_RT_64_BIT 1
#else
#define TARGET_RT_64_BIT 0
#endif
