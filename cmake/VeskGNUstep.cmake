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
  # The runtime's headers come in the folder of gcc's own, which must not hide clang's.
  file(GLOB objc_headers LIST_DIRECTORIES false "/usr/lib/gcc/*/*/include/objc/objc.h")
  list(SORT objc_headers COMPARE NATURAL ORDER DESCENDING)
  if(NOT objc_headers)
    message(FATAL_ERROR "objc/objc.h is missing (libobjc-12-dev); see scripts/install-packages.sh.")
  endif()
  list(GET objc_headers 0 objc_header)
  cmake_path(GET objc_header PARENT_PATH gcc_include)
  cmake_path(GET gcc_include PARENT_PATH gcc_include)

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
