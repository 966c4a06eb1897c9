# Stand-ins at the operating system's boundary: DLLs that lie beside the program under test in place of Wine's own.
set(MOORLAK_WINE_DLLS
    /usr/lib/x86_64-linux-gnu/wine/x86_64-windows
    CACHE PATH "Folder of Wine's own 64-bit DLLs")
set(MOORLAK_LAB_FOLDER ${CMAKE_BINARY_DIR}/lab)

# moorlak_add_stand_in(NAME source... EXPORTS file [FORWARD dll] [LIBRARIES library...])
#
# Builds lab/stand_in/NAME.dll as the target lab_NAME. EXPORTS is a listing of the stand-in's own exports, one a line,
# "Name" or "Name = FunctionThatImplementsIt"; lines that begin with a semicolon are comments. With FORWARD, every other
# name that Wine's dll exports is forwarded to an unmodified copy of it, x_<dll>.dll, laid beside the stand-in.
function(moorlak_add_stand_in name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORTS;FORWARD" "LIBRARIES")
  if(NOT arg_EXPORTS)
    message(FATAL_ERROR "moorlak_add_stand_in(${name}): EXPORTS is missing")
  endif()
  get_filename_component(listing ${arg_EXPORTS} ABSOLUTE)
  set(definition ${CMAKE_CURRENT_BINARY_DIR}/${name}.def)
  set(wine_dll "")
  if(arg_FORWARD)
    set(wine_dll ${MOORLAK_WINE_DLLS}/${arg_FORWARD}.dll)
  endif()
  add_custom_command(
    OUTPUT ${definition}
    COMMAND ${CMAKE_COMMAND} -DLISTING=${listing} -DWINE_DLL=${wine_dll} -DOBJDUMP=${CMAKE_OBJDUMP}
            -DOUTPUT=${definition} -P ${PROJECT_SOURCE_DIR}/cmake/stand_in_exports.cmake
    DEPENDS ${listing} ${PROJECT_SOURCE_DIR}/cmake/stand_in_exports.cmake
    VERBATIM)
  add_library(
    lab_${name} SHARED ${arg_UNPARSED_ARGUMENTS} ${PROJECT_SOURCE_DIR}/lab/machine/own_memory.cpp
                       ${PROJECT_SOURCE_DIR}/lab/machine/stack_guard.cpp ${definition})
  set_target_properties(lab_${name} PROPERTIES OUTPUT_NAME ${name} PREFIX "" RUNTIME_OUTPUT_DIRECTORY
                                                                              ${MOORLAK_LAB_FOLDER}/stand_in)
  target_link_libraries(lab_${name} PRIVATE lab_machine ${arg_LIBRARIES})
  if(arg_FORWARD)
    add_custom_command(
      TARGET lab_${name}
      POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E copy_if_different ${wine_dll} $<TARGET_FILE_DIR:lab_${name}>/x_${arg_FORWARD}.dll
      VERBATIM)
  endif()
endfunction()

# moorlak_add_lab_program(NAME source... [LIBRARIES library...]): a stand-in program, lab/programs/NAME.exe, as the
# target lab_NAME. Its entry is wmain.
function(moorlak_add_lab_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
  add_executable(lab_${name} ${arg_UNPARSED_ARGUMENTS} ${PROJECT_SOURCE_DIR}/lab/machine/stack_guard.cpp)
  set_target_properties(lab_${name} PROPERTIES OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY
                                                                   ${MOORLAK_LAB_FOLDER}/programs)
  target_link_libraries(lab_${name} PRIVATE lab_machine ${arg_LIBRARIES})
  target_link_options(lab_${name} PRIVATE -municode)
endfunction()
