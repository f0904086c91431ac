# Options of everything that this project compiles itself. A target takes them by linking velm_options;
# third-party code is compiled without them.
add_library(velm_options INTERFACE)
target_compile_options(velm_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  # gcc 12 sees overlaps in std::string's operator+ that cannot be.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  -fstack-protector-strong
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(MINGW)
  # <windows.h> includes every vector intrinsic of the compiler, which takes half of its time or more; with
  # their header's guard defined it does not. Nothing here uses them.
  add_compile_definitions(_X86INTRIN_H_INCLUDED)
endif()
if(WIN32)
  target_compile_definitions(velm_options INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0A00)
  # One file a module: the compilers' runtimes are linked in. No time stamp: the same source gives the same bytes.
  target_link_options(velm_options INTERFACE
    -static -fstack-protector-strong -Wl,--no-insert-timestamp
    -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va)
endif()

if(VELM_COVERAGE)
  target_compile_options(velm_options INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(velm_options INTERFACE --coverage)
endif()

if(VELM_SANITIZE)
  add_compile_options(-fsanitize=${VELM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VELM_SANITIZE})
endif()
