# Objective-C++ against GNUstep: `include(VeskGNUstep)` in the folder that has such sources, and
# link vesk_gnustep. Only what opens windows is built so.
if(NOT CMAKE_OBJCXX_COMPILER)
  set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
endif()
enable_language(OBJCXX)
set(CMAKE_OBJCXX_STANDARD 20)
set(CMAKE_OBJCXX_STANDARD_REQUIRED ON)
set(CMAKE_OBJCXX_EXTENSIONS OFF)

if(NOT TARGET vesk_gnustep)
  # Debian 12 and 13 have the headers in different folders.
  execute_process(COMMAND gnustep-config --variable=GNUSTEP_SYSTEM_HEADERS
    OUTPUT_VARIABLE gnustep_headers OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_DIRECTORY "${gnustep_headers}/AppKit")
    message(FATAL_ERROR "GNUstep's headers are missing (libgnustep-gui-dev); "
                        "see scripts/install-packages.sh.")
  endif()
  # The runtime's headers come in the folder of gcc's own, which must not hide clang's.
  file(GLOB objc_headers LIST_DIRECTORIES false "/usr/lib/gcc/*/*/include/objc/objc.h")
  list(SORT objc_headers COMPARE NATURAL ORDER DESCENDING)
  if(NOT objc_headers)
    message(FATAL_ERROR "objc/objc.h is missing (libobjc-*-dev); see scripts/install-packages.sh.")
  endif()
  list(GET objc_headers 0 objc_header)
  cmake_path(GET objc_header PARENT_PATH gcc_include)
  cmake_path(GET gcc_include PARENT_PATH gcc_include)

  add_library(vesk_gnustep INTERFACE)
  target_compile_definitions(vesk_gnustep INTERFACE
    GNUSTEP GNUSTEP_BASE_LIBRARY=1 GNU_GUI_LIBRARY=1 _NATIVE_OBJC_EXCEPTIONS)
  target_compile_options(vesk_gnustep INTERFACE
    -fobjc-runtime=gcc -fexceptions -fconstant-string-class=NSConstantString
    -isystem "${gnustep_headers}" -idirafter "${gcc_include}"
    # What GNUstep's own macros expand to.
    -Wno-gnu -Wno-pedantic -Wno-objc-protocol-method-implementation)
  target_link_libraries(vesk_gnustep INTERFACE gnustep-gui gnustep-base objc BlocksRuntime)
endif()

# vesk_view_bundle(NAME BUNDLE folder SOURCES ... PLIST file)
#
# A bundle of views, BUNDLE with the shared object NAME of SOURCES and PLIST as its
# Resources/Info-gnustep.plist: what a unit's Cocoa UI property names. The target is NAME.
function(vesk_view_bundle name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "BUNDLE;PLIST" "SOURCES")
  if(NOT arg_SOURCES OR NOT arg_PLIST OR NOT arg_BUNDLE)
    message(FATAL_ERROR "vesk_view_bundle(${name}) needs BUNDLE, SOURCES and PLIST")
  endif()
  get_filename_component(plist "${arg_PLIST}" ABSOLUTE)
  add_library(${name} MODULE ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE vesk_headers vesk_compiler vesk_gnustep)
  set_target_properties(${name} PROPERTIES
    PREFIX "" SUFFIX "" LIBRARY_OUTPUT_DIRECTORY "${arg_BUNDLE}" LINK_DEPENDS "${plist}")
  add_custom_command(TARGET ${name} POST_BUILD
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${arg_BUNDLE}/Resources"
    COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${plist}"
            "${arg_BUNDLE}/Resources/Info-gnustep.plist"
    VERBATIM)
endfunction()
