#include "support/handle_count.h"

#include <windows.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace velm::test {
namespace {

using QuerySystemInformation = LONG WINAPI(ULONG information, void* area, ULONG size, ULONG* needed);

constexpr ULONG kExtendedHandleInformation = 64;
constexpr LONG kTooSmall = static_cast<LONG>(0xC0000004);

struct HandleEntry {
  void* object;
  ULONG_PTR process_id;
  ULONG_PTR handle;
  ULONG granted_access;
  USHORT creator;
  USHORT type;
  ULONG attributes;
  ULONG reserved;
};

struct HandleTable {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry entries[1];
};

}  // namespace

size_t open_handles() {
  static const auto query = reinterpret_cast<QuerySystemInformation*>(reinterpret_cast<void (*)()>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  std::vector<ULONG_PTR> area(8192);
  const auto bytes = [&] { return static_cast<ULONG>(area.size() * sizeof area[0]); };
  LONG status;
  while ((status = query(kExtendedHandleInformation, area.data(), bytes(), nullptr)) == kTooSmall) {
    area.resize(area.size() * 2);
  }
  if (status != 0) throw std::runtime_error("NtQuerySystemInformation failed");
  const auto* table = reinterpret_cast<const HandleTable*>(area.data());
  const auto is_ours = [](const HandleEntry& entry) { return entry.process_id == GetCurrentProcessId(); };
  return static_cast<size_t>(std::count_if(table->entries, table->entries + table->count, is_ours));
}

}  // namespace velm::test
