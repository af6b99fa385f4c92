# vesk_component(NAME SOURCES ... PLIST file [LIBRARIES ...] [DESTINATION folder])
#
# An Audio Unit component bundle: DESTINATION/NAME.component (build/<preset>/components unless told)
# with the shared object NAME of SOURCES and PLIST as Resources/Info-gnustep.plist. The Audio Unit
# and CoreFoundation calls are left undefined: the program that opens the bundle has them. The
# target is NAME_component; symbols are hidden but for the factory functions that say otherwise.

# An installed vesk has a target of its own for this.
if(NOT VESK_COMPONENT_LIBRARIES)
  set(VESK_COMPONENT_LIBRARIES vesk_headers vesk_compiler)
endif()

function(vesk_component name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "PLIST;DESTINATION" "SOURCES;LIBRARIES")
  if(NOT arg_SOURCES OR NOT arg_PLIST)
    message(FATAL_ERROR "vesk_component(${name}) needs SOURCES and PLIST")
  endif()
  if(NOT arg_DESTINATION)
    set(arg_DESTINATION "${CMAKE_BINARY_DIR}/components")
  endif()
  set(bundle "${arg_DESTINATION}/${name}.component")
  get_filename_component(plist "${arg_PLIST}" ABSOLUTE)

  add_library(${name}_component MODULE ${arg_SOURCES})
  target_link_libraries(${name}_component PRIVATE ${VESK_COMPONENT_LIBRARIES} ${arg_LIBRARIES})
  set_target_properties(${name}_component PROPERTIES
    OUTPUT_NAME ${name}
    PREFIX ""
    SUFFIX ""
    C_VISIBILITY_PRESET hidden
    LIBRARY_OUTPUT_DIRECTORY "${bundle}"
    LINK_DEPENDS "${plist}")
  add_custom_command(TARGET ${name}_component POST_BUILD
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${bundle}/Resources"
    COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${plist}"
            "${bundle}/Resources/Info-gnustep.plist"
    VERBATIM)
endfunction()
