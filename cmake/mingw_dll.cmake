# Size of the thread-local storage per thread in each DLL of the project, in bytes.
set(VELM_THREAD_VARIABLE_BYTES 128)

# velm_mingw_dll(TARGET): makes a DLL use the project's own thread-local storage. The build fails if its
# variables do not fit. The check requires symbols, so the DLL is stripped afterwards.
function(velm_mingw_dll target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:velm_mingw_tls>)
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  target_link_options(${target} PRIVATE -Wl,-Map=${map})
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND python3 ${CMAKE_SOURCE_DIR}/cmake/check_mingw_dll.py
            --nm ${CMAKE_NM} --room ${VELM_THREAD_VARIABLE_BYTES} --map ${map} $<TARGET_FILE:${target}>
    # -p keeps the time stamp of zero in the header.
    COMMAND ${CMAKE_STRIP} -p $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()
