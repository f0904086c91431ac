# Options for all code of this project. Targets link velm_options to get them; third-party code is compiled
# without them.
add_library(velm_options INTERFACE)
target_compile_options(velm_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  # gcc 12 reports impossible overlaps in std::string's operator+.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  -fstack-protector-strong
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(MINGW)
  # <windows.h> includes all vector intrinsics of the compiler, which takes at least half of the compile time.
  # Defining the include guard of their header skips them. Files that use some include their headers.
  add_compile_definitions(_X86INTRIN_H_INCLUDED)
endif()
if(WIN32)
  target_compile_definitions(velm_options INTERFACE
    WIN32_LEAN_AND_MEAN NOMINMAX UNICODE _UNICODE _WIN32_WINNT=0x0A00)
  # -static: no DLLs of the compiler runtime. No time stamp: builds are reproducible.
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
