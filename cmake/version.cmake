# The version of everything that is built: the numbers in the public header.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/../inc/velm_sof_client.h numbers
  REGEX "^#define VELM_SOF_VERSION_(MAJOR|MINOR|PATCH) ")
list(TRANSFORM numbers REPLACE "^#define [A-Z_]+ +([0-9]+).*" "\\1")
list(JOIN numbers . VELM_SOF_VERSION)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS inc/velm_sof_client.h)
