#include "support/import_patch.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace velm::test {
namespace {

// Returns the module's import address table entry for the function, or null if it does not import it by name.
void** find_entry(HMODULE module, const char* dll, const char* function) {
  auto* base = reinterpret_cast<unsigned char*>(module);
  const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
  const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (imports.VirtualAddress == 0) return nullptr;
  const auto* descriptor = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
  for (; descriptor->Name != 0; ++descriptor) {
    if (_stricmp(reinterpret_cast<const char*>(base + descriptor->Name), dll) != 0) continue;
    const auto* name = reinterpret_cast<const IMAGE_THUNK_DATA64*>(base + descriptor->OriginalFirstThunk);
    auto* entry = reinterpret_cast<void**>(base + descriptor->FirstThunk);
    for (; name->u1.AddressOfData != 0; ++name, ++entry) {
      if (IMAGE_SNAP_BY_ORDINAL64(name->u1.Ordinal)) continue;
      const auto* by_name = reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + name->u1.AddressOfData);
      if (std::strcmp(by_name->Name, function) == 0) return entry;
    }
  }
  return nullptr;
}

void write(void** entry, void* value) {
  DWORD before;
  VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &before);
  *entry = value;
  VirtualProtect(entry, sizeof *entry, before, &before);
}

}  // namespace

ImportPatch::ImportPatch(HMODULE module, const char* dll, const char* function, void* replacement)
    : entry_(find_entry(module, dll, function)) {
  if (!entry_) throw std::runtime_error(std::string("the module does not import ") + dll + " " + function);
  original_ = *entry_;
  write(entry_, replacement);
}

ImportPatch::~ImportPatch() {
  if (entry_) write(entry_, original_);
}

bool ImportPatch::is_imported(HMODULE module, const char* dll, const char* function) {
  return find_entry(module, dll, function) != nullptr;
}

}  // namespace velm::test
