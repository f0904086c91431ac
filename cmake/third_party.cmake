# Sets VELM_SOURCE_<name> and VELM_VERSION_<name> to the folder and the version of each third-party source.
# The versions are read from third_party.sh, which fetches and builds the sources.
set(script ${CMAKE_CURRENT_LIST_DIR}/third_party.sh)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${script})
file(STRINGS ${script} lines REGEX "^[a-z0-9_]+_version=[0-9.]+$")
foreach(line ${lines})
  string(REGEX REPLACE "_version=.*" "" name ${line})
  string(REGEX REPLACE ".*=" "" version ${line})
  string(REPLACE "_" "-" folder ${name})
  set(VELM_VERSION_${name} ${version})
  set(VELM_SOURCE_${name} ${VELM_DEPS}/src/${folder}-${version})
endforeach()
