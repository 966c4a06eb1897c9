# Gives a program the project's manifest and version resource.
function(moorlak_add_resource target description)
  set(MOORLAK_FILE_NAME ${target})
  set(MOORLAK_FILE_DESCRIPTION ${description})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/program.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
endfunction()
