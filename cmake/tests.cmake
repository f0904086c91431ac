# Test programs. Each is built into ${VELM_TEST_BIN} and registered with ctest; on Windows that folder also
# holds the library under test and the stand-in modules.
set(VELM_TEST_BIN ${CMAKE_BINARY_DIR}/tests/bin)

# On Windows undefined behaviour ends a program with an illegal instruction: the sanitizers' runtimes, which
# would report it, do not exist there.
set(VELM_TRAP_UNDEFINED -fsanitize=undefined,float-cast-overflow -fsanitize-undefined-trap-on-error)

set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt ON)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

# Windows test programs have a main of their own, which also runs the child processes of tests.
if(WIN32)
  set(VELM_TEST_MAIN velm_test_support)
else()
  set(VELM_TEST_MAIN GTest::gmock_main)
endif()

# velm_add_test(NAME SOURCES file... [LINK library...] [SERVICE_PORT] [LOG] [TIMEOUT seconds])
# SERVICE_PORT: the test listens on or connects to port 55661, so it never runs beside another that does.
# LOG: the test loads the library, so it never runs beside another that writes the log or makes the marker
# path.
function(velm_add_test name)
  cmake_parse_arguments(arg "SERVICE_PORT;LOG" "TIMEOUT" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${VELM_TEST_BIN})
  target_link_libraries(${name} PRIVATE velm_options ${VELM_TEST_MAIN} ${arg_LINK})
  target_compile_options(${name} PRIVATE -O1) # tests are compiled often and run once
  if(WIN32)
    target_compile_options(${name} PRIVATE ${VELM_TRAP_UNDEFINED})
  endif()
  add_test(NAME ${name} COMMAND ${name})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} WORKING_DIRECTORY ${VELM_TEST_BIN})
  set(shared)
  if(arg_SERVICE_PORT)
    list(APPEND shared service_port)
  endif()
  if(arg_LOG)
    list(APPEND shared log)
  endif()
  set_tests_properties(${name} PROPERTIES RESOURCE_LOCK "${shared}")
endfunction()

# velm_add_windows_test(NAME SOURCES file... [LINK library...] [SERVICE_PORT] [TIMEOUT seconds]): a test that
# loads the library, with the doubles of tests/support at hand.
function(velm_add_windows_test name)
  velm_add_test(${name} LOG ${ARGN})
endfunction()
