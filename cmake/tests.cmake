# Test programs. Each is built into ${VELM_TEST_BIN} and registered with ctest; on Windows that folder also holds the
# library under test and the stand-in modules.
set(VELM_TEST_BIN ${CMAKE_BINARY_DIR}/tests/bin)

set(INSTALL_GTEST OFF)

add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

# velm_add_test(NAME SOURCES file... [LINK library...] [SERVICE_PORT] [TIMEOUT seconds])
# SERVICE_PORT: the test listens on or connects to port 55661, so it never runs beside another that does.
function(velm_add_test name)
  cmake_parse_arguments(arg "SERVICE_PORT" "TIMEOUT" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${VELM_TEST_BIN})
  target_link_libraries(${name} PRIVATE velm_options GTest::gmock_main ${arg_LINK})
  target_compile_options(${name} PRIVATE -O1) # tests are compiled often and run once
  add_test(NAME ${name} COMMAND ${name})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} WORKING_DIRECTORY ${VELM_TEST_BIN})
  if(arg_SERVICE_PORT)
    set_tests_properties(${name} PROPERTIES RESOURCE_LOCK service_port)
  endif()
endfunction()
