# Language, warnings and sanitizers, once for all targets.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(VESK_SANITIZER "" CACHE STRING "none, or address, thread, realtime, fuzzer")
set_property(CACHE VESK_SANITIZER PROPERTY STRINGS "" address thread realtime fuzzer)

add_library(vesk_compiler INTERFACE)
target_compile_options(vesk_compiler INTERFACE
  -fblocks -fno-omit-frame-pointer
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
  -Wno-gnu-anonymous-struct -Wno-nested-anon-types -Wno-four-char-constants
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  # A call that may block inside a nonblocking function does not compile. On macOS the SDK's own
  # declarations do not say which of them may.
  $<$<NOT:$<PLATFORM_ID:Darwin>>:-Werror=function-effects>)

if(VESK_SANITIZER MATCHES "^(address|fuzzer)$")
  set(flags -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-sanitize=function)
  if(VESK_SANITIZER STREQUAL "fuzzer")
    list(APPEND flags -fsanitize=fuzzer-no-link)
  endif()
elseif(VESK_SANITIZER STREQUAL "thread")
  set(flags -fsanitize=thread)
elseif(VESK_SANITIZER STREQUAL "realtime")
  set(flags -fsanitize=realtime)
elseif(NOT VESK_SANITIZER STREQUAL "")
  message(FATAL_ERROR "VESK_SANITIZER is '${VESK_SANITIZER}'; known are address, thread, realtime, fuzzer")
endif()
if(flags)
  # The whole tree, third-party headers included: a sanitizer that sees half of a program lies.
  add_compile_options(${flags})
  add_link_options(${flags})
  add_compile_definitions(VESK_SANITIZER=1)
endif()
if(NOT APPLE)
  add_link_options(-fuse-ld=lld)
endif()
