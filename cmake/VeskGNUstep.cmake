# Objective-C++ against GNUstep: `include(VeskGNUstep)` in the folder that has such sources, and
# link vesk_gnustep. Only what opens windows is built so.
if(NOT CMAKE_OBJCXX_COMPILER)
  set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
endif()
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)
set(CMAKE_OBJCXX_VISIBILITY_PRESET hidden)

if(NOT TARGET vesk_gnustep)
  # The runtime's headers (objc/objc.h) come with gcc, beside headers that must not hide clang's.
  find_program(GCC gcc REQUIRED)
  execute_process(COMMAND "${GCC}" -print-file-name=include
    OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

  add_library(vesk_gnustep INTERFACE)
  target_compile_definitions(vesk_gnustep INTERFACE
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_GUI_LIBRARY=1 _NATIVE_OBJC_EXCEPTIONS)
  target_compile_options(vesk_gnustep INTERFACE
    -fobjc-runtime=gcc -fexceptions -fconstant-string-class=NSConstantString
    -isystem /usr/include/GNUstep -idirafter "${gcc_include}"
    # What GNUstep's own macros expand to.
    -Wno-gnu -Wno-pedantic -Wno-objc-protocol-method-implementation)
  target_link_libraries(vesk_gnustep INTERFACE gnustep-gui gnustep-base objc BlocksRuntime)
endif()
