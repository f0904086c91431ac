# Bytes of thread-local variables that each thread has in a DLL of the project.
set(VELM_THREAD_VARIABLE_BYTES 128)

# velm_mingw_dll(TARGET): a DLL on the project's own thread-local storage. A variable that does not fit fails
# the build, while the symbols that name it are still there; then they are stripped.
function(velm_mingw_dll target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velm_mingw_tls>)
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  target_link_options(${target} PRIVATE -Wl,-Map=${map})
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND python3 ${CMAKE_SOURCE_DIR}/cmake/check_mingw_dll.py
            --nm ${CMAKE_NM} --room ${VELM_THREAD_VARIABLE_BYTES} --map ${map} $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_STRIP} $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()
