# velm_import_library(NAME): builds an import library for NAME.dll from NAME.def, as target NAME.
function(velm_import_library name)
  set(def ${CMAKE_CURRENT_SOURCE_DIR}/${name}.def)
  set(lib ${CMAKE_CURRENT_BINARY_DIR}/lib${name}.dll.a)
  add_custom_command(
    OUTPUT ${lib}
    # Symbol names contain the output's name. Without a folder they do not depend on the build folder.
    COMMAND ${CMAKE_DLLTOOL} --deterministic-libraries --input-def ${def} --output-lib lib${name}.dll.a
    WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}
    DEPENDS ${def} VERBATIM)
  add_custom_target(${name}_import DEPENDS ${lib})
  add_library(${name} INTERFACE)
  add_dependencies(${name} ${name}_import)
  target_link_libraries(${name} INTERFACE ${lib})
  target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR})
endfunction()
