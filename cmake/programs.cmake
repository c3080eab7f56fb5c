# The project's programs: linked to the shared library as a host links it, reading their command lines
# through one helper, and installed so that from any prefix they find the library installed beside them.
file(RELATIVE_PATH TESSEL_BIN_TO_LIB /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})

add_library(tessel_command_line STATIC ${PROJECT_SOURCE_DIR}/tools/common/command_line.cpp)
target_include_directories(tessel_command_line PUBLIC ${PROJECT_SOURCE_DIR}/tools/common)
target_link_libraries(tessel_command_line PRIVATE tessel_warnings)

function(tessel_add_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE tessel_fft tessel_warnings tessel_command_line)
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/${TESSEL_BIN_TO_LIB}")
  if(TESSEL_INSTALL)
    install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endfunction()
