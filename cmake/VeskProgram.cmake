# vesk_program(NAME [COMPONENT component] [PAGE file] [INTERNAL])
#
# Installs a program with its manual page, which is made of what it prints for --help, and with its
# completion in bash, zsh and fish, which asks the same text. COMPONENT is the package that it goes
# into, tools unless told. PAGE is a manual page for a program without --help; INTERNAL leaves out
# the completion, for what only other programs start.
set(vesk_packaging "${CMAKE_CURRENT_LIST_DIR}/../packaging")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  "${vesk_packaging}/completion/options.awk")
file(READ "${vesk_packaging}/completion/options.awk" vesk_options_awk)
string(STRIP "${vesk_options_awk}" vesk_options_awk)

function(vesk_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "INTERNAL" "COMPONENT;PAGE" "")
  if(NOT arg_COMPONENT)
    set(arg_COMPONENT tools)
  endif()
  install(TARGETS ${name} RUNTIME COMPONENT ${arg_COMPONENT})

  set(man "${CMAKE_INSTALL_MANDIR}/man1")
  if(arg_PAGE)
    install(FILES "${arg_PAGE}" DESTINATION "${man}" COMPONENT ${arg_COMPONENT})
  elseif(CMAKE_CROSSCOMPILING)
    message(STATUS "${name} gets no manual page: it cannot be run here")
  elseif(NOT VESK_SANITIZER)
    set(page "${CMAKE_BINARY_DIR}/share/man/man1/${name}.1")
    add_custom_command(OUTPUT "${page}"
      COMMAND "${vesk_packaging}/man/make_page.sh" $<TARGET_FILE:${name}> "${PROJECT_VERSION}" "${page}"
      DEPENDS ${name} "${vesk_packaging}/man/make_page.sh" "${vesk_packaging}/man/page.awk"
      VERBATIM)
    add_custom_target(${name}_page ALL DEPENDS "${page}")
    install(FILES "${page}" DESTINATION "${man}" COMPONENT ${arg_COMPONENT})
  endif()

  if(arg_INTERNAL OR arg_PAGE)
    return()
  endif()
  set(program ${name})
  set(options_awk "${vesk_options_awk}")
  foreach(shell IN ITEMS "bash|bash-completion/completions/${name}"
      "zsh|zsh/vendor-completions/_${name}" "fish|fish/vendor_completions.d/${name}.fish")
    string(REPLACE "|" ";" shell "${shell}")
    list(GET shell 0 language)
    list(GET shell 1 place)
    set(made "${CMAKE_BINARY_DIR}/share/${place}")
    configure_file("${vesk_packaging}/completion/vesk.${language}" "${made}" @ONLY)
    get_filename_component(folder "${CMAKE_INSTALL_DATADIR}/${place}" DIRECTORY)
    install(FILES "${made}" DESTINATION "${folder}" COMPONENT ${arg_COMPONENT})
  endforeach()
endfunction()
