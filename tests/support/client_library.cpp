#include "support/client_library.h"

#include <stdexcept>

#include "support/guarded_heap.h"
#include "support/log_reader.h"
#include "support/program_folder.h"
#include "support/standins.h"

namespace velm::test {
namespace {

// An environment variable selects another build in a subfolder of the test program's folder.
std::wstring library_path() {
  const wchar_t* build = _wgetenv(L"VELM_TEST_LIBRARY");
  return program_folder() + (build ? build + std::wstring(L"\\") : L"") + L"velm_sof_client.dll";
}

HMODULE load() {
  LogReader::clear();
  standin_detail::load_modules();
  const HMODULE module = LoadLibraryW(library_path().c_str());
  if (!module) {
    throw std::runtime_error("velm_sof_client.dll cannot be loaded: " + std::to_string(GetLastError()));
  }
  guard_heap_of(module);
  return module;
}

}  // namespace

ClientLibrary::ClientLibrary(Marker marker) : marker_(marker), module_(load()) {}

ClientLibrary::~ClientLibrary() { unload(); }

void ClientLibrary::unload() {
  if (!module_) return;
  FreeLibrary(module_);
  module_ = nullptr;
  if (!GetModuleHandleW(library_path().c_str())) expect_no_guarded_blocks();
}

}  // namespace velm::test
