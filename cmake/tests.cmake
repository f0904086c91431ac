# Test programs. They are built into ${VELM_TEST_BIN} and registered with ctest. On Windows that folder also
# contains the library under test and the stand-in modules.
set(VELM_TEST_BIN ${CMAKE_BINARY_DIR}/tests/bin)

# On Windows undefined behaviour traps with an illegal instruction, because there are no sanitizer runtimes to
# report it.
set(VELM_TRAP_UNDEFINED -fsanitize=undefined,float-cast-overflow -fsanitize-undefined-trap-on-error)

set(INSTALL_GTEST OFF)
set(gtest_force_shared_crt ON)
add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)

# Windows test programs have their own main(), which also runs the child processes of tests.
if(WIN32)
  set(VELM_TEST_MAIN velm_test_support)
else()
  set(VELM_TEST_MAIN GTest::gmock_main)
endif()

# Where the system allows network namespaces, tests under Wine run concurrently, each with its own port 55661,
# log folder and marker path. Elsewhere tests that use one of these run one at a time.
if(WIN32)
  execute_process(COMMAND ${CMAKE_SOURCE_DIR}/cmake/run-isolated --probe
    OUTPUT_VARIABLE VELM_ISOLATION OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(VELM_ISOLATED ${CMAKE_SOURCE_DIR}/cmake/run-isolated ${VELM_ISOLATION})
  set(VELM_UNDER_WINE ${VELM_ISOLATED} ${CMAKE_CROSSCOMPILING_EMULATOR})
  if(VELM_ISOLATION STREQUAL "none")
    message(STATUS "No network namespaces: tests that use the service port or the log run one at a time")
  endif()
endif()

# velm_share_nothing(TEST...): for tests that run with ${VELM_ISOLATED}. Without isolation they run one at a
# time.
function(velm_share_nothing)
  if(VELM_ISOLATION STREQUAL "none")
    set_tests_properties(${ARGN} PROPERTIES RESOURCE_LOCK "service_port;log")
  endif()
endfunction()

# velm_label(LABEL TEST...): the purpose of the tests.
#   unit    a single file or class, in seconds
#   call    an exported function, against doubles of the local service and of the provider modules
#   system  programs, local service, packages and documents as delivered; call tests with the trapped library
#   soak    many calls, threads, loads or hostile answers
function(velm_label label)
  set_tests_properties(${ARGN} PROPERTIES LABELS ${label})
  if(label STREQUAL soak)
    set_tests_properties(${ARGN} PROPERTIES COST 100) # start the longest tests first
  endif()
endfunction()

# velm_test_needs(TEST TARGET...): what a test runs in addition to the programs in its command.
function(velm_test_needs test)
  add_custom_target(${test}_needs)
  add_dependencies(${test}_needs ${ARGN})
endfunction()

# velm_add_test(NAME SOURCES file... [LINK library...] [LABEL label] [SERVICE_PORT] [LOG] [TIMEOUT seconds])
#   LABEL: default unit.
#   SERVICE_PORT: the test listens on or connects to port 55661.
#   LOG: the test loads the library, which writes the log and checks for the marker path.
function(velm_add_test name)
  cmake_parse_arguments(arg "SERVICE_PORT;LOG" "LABEL;TIMEOUT" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${VELM_TEST_BIN})
  target_link_libraries(${name} PRIVATE velm_options ${VELM_TEST_MAIN} ${arg_LINK})
  target_compile_options(${name} PRIVATE -O1) # tests are compiled often and run once
  if(WIN32)
    target_compile_options(${name} PRIVATE ${VELM_TRAP_UNDEFINED})
  endif()
  add_test(NAME ${name} COMMAND ${VELM_UNDER_WINE} $<TARGET_FILE:${name}>)
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} WORKING_DIRECTORY ${VELM_TEST_BIN})
  if(arg_SERVICE_PORT OR arg_LOG)
    velm_share_nothing(${name})
  endif()
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  velm_label(${arg_LABEL} ${name})
endfunction()

# velm_add_windows_test(NAME SOURCES file... [LINK library...] [LABEL label] [SERVICE_PORT] [TIMEOUT
# seconds]): a test that loads the library and may use the doubles of tests/support.
function(velm_add_windows_test name)
  velm_add_test(${name} LOG ${ARGN})
  add_dependencies(${name} velm_test_library)
endfunction()
