# Targets for the third-party libraries of the software token.

# The cross build uses header-only packages of the host too. Links expose these headers without the rest of
# /usr/include.
set(host_headers ${CMAKE_BINARY_DIR}/host-headers)
file(MAKE_DIRECTORY ${host_headers})
foreach(folder nlohmann CLI boost)
  file(CREATE_LINK /usr/include/${folder} ${host_headers}/${folder} SYMBOLIC)
endforeach()
add_library(velm_host_headers INTERFACE)
target_include_directories(velm_host_headers SYSTEM INTERFACE ${host_headers})

# Asio and Beast. Only files that need them link this target, because they take long to compile.
add_library(velm_asio INTERFACE)
target_link_libraries(velm_asio INTERFACE velm_host_headers)
target_compile_definitions(velm_asio INTERFACE BOOST_ASIO_NO_DEPRECATED)
# gcc 12 reports the allocation of coroutine frames.
target_compile_options(velm_asio INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-mismatched-new-delete>)
if(VELM_SANITIZE)
  # With sanitizers, the compiler needs minutes for these coroutines at -O2.
  target_compile_options(velm_asio INTERFACE -O1 $<$<CXX_COMPILER_ID:GNU>:-fno-var-tracking>)
  # clang 14 cannot assemble coroutines whose function types are checked.
  target_compile_options(velm_asio INTERFACE $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>)
endif()
if(VELM_SANITIZE STREQUAL thread)
  # The thread sanitizer does not support memory fences.
  target_compile_definitions(velm_asio INTERFACE BOOST_ASIO_DISABLE_FENCED_BLOCK)
endif()
if(WIN32)
  target_link_libraries(velm_asio INTERFACE ws2_32 mswsock)
else()
  find_package(Threads REQUIRED)
  target_link_libraries(velm_asio INTERFACE Threads::Threads)
endif()

if(WIN32)
  set(velm_built_for windows)
else()
  set(velm_built_for native)
endif()

add_library(velm_openssl STATIC IMPORTED GLOBAL)
set_target_properties(velm_openssl PROPERTIES
  IMPORTED_LOCATION ${VELM_DEPS}/openssl-${velm_built_for}/lib/libcrypto.a
  INTERFACE_INCLUDE_DIRECTORIES ${VELM_DEPS}/openssl-${velm_built_for}/include)
if(WIN32)
  target_link_libraries(velm_openssl INTERFACE ws2_32 gdi32 crypt32 advapi32 user32)
else()
  target_link_libraries(velm_openssl INTERFACE ${CMAKE_DL_LIBS} Threads::Threads)
endif()

add_library(velm_sqlite STATIC IMPORTED GLOBAL)
set_target_properties(velm_sqlite PROPERTIES
  IMPORTED_LOCATION ${VELM_DEPS}/sqlite-${velm_built_for}/lib/libsqlite3.a
  INTERFACE_INCLUDE_DIRECTORIES ${VELM_DEPS}/sqlite-${velm_built_for}/include)

add_library(velm_libxml2 STATIC IMPORTED GLOBAL)
set_target_properties(velm_libxml2 PROPERTIES
  IMPORTED_LOCATION ${VELM_DEPS}/libxml2-${velm_built_for}/lib/libxml2.a
  INTERFACE_INCLUDE_DIRECTORIES ${VELM_DEPS}/libxml2-${velm_built_for}/include
  INTERFACE_COMPILE_DEFINITIONS LIBXML_STATIC)

# The single-file form. Its header needs the vector intrinsics that <windows.h> is kept from including.
add_library(velm_simdjson STATIC ${VELM_SOURCE_simdjson}/singleheader/simdjson.cpp)
target_include_directories(velm_simdjson SYSTEM PUBLIC ${VELM_SOURCE_simdjson}/singleheader)
target_compile_options(velm_simdjson
  PUBLIC -U_X86INTRIN_H_INCLUDED
  PRIVATE -w -fstack-protector-strong -ffile-prefix-map=${VELM_SOURCE_simdjson}/=)

add_library(velm_xmlsec STATIC IMPORTED GLOBAL)
set_target_properties(velm_xmlsec PROPERTIES
  IMPORTED_LOCATION ${VELM_DEPS}/xmlsec1-${velm_built_for}/lib/libxmlsec1.a
  INTERFACE_INCLUDE_DIRECTORIES ${VELM_DEPS}/xmlsec1-${velm_built_for}/include
  # The headers require the definitions that the library was built with.
  INTERFACE_COMPILE_DEFINITIONS
    "XMLSEC_STATIC;XMLSEC_NO_SIZE_T;XMLSEC_NO_XSLT;XMLSEC_NO_CRYPTO_DYNAMIC_LOADING"
  INTERFACE_LINK_LIBRARIES velm_libxml2)
