#include "port_owner.h"

#include <winsock2.h>
#include <iphlpapi.h>
#include <tlhelp32.h>

#include "permissions/owned.h"
#include "text.h"

using namespace velm::permissions;

namespace {

// The table of listening IPv4 sockets with their processes, as the system returns it; empty if it fails.
std::vector<unsigned char> listening_sockets() {
  std::vector<unsigned char> table;
  DWORD size = 0;
  DWORD result = ERROR_INSUFFICIENT_BUFFER;
  // Sockets may be opened between two calls.
  for (int i = 0; i < 10 && result == ERROR_INSUFFICIENT_BUFFER; ++i) {
    table.resize(size);
    result = GetExtendedTcpTable(table.data(), &size, FALSE, AF_INET, TCP_TABLE_OWNER_PID_LISTENER, 0);
  }
  if (result != NO_ERROR) table.clear();
  return table;
}

std::string path_of_program(HANDLE process) {
  std::wstring path(32768, L'\0');
  DWORD size = static_cast<DWORD>(path.size());
  path.resize(QueryFullProcessImageNameW(process, 0, path.data(), &size) ? size : 0);
  return utf8_of(path);
}

// The list of processes also contains those that the current user may not open.
std::string name_of_program(DWORD process_id) {
  const Handle processes(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32W process{};
  process.dwSize = sizeof process;
  for (BOOL more = Process32FirstW(processes.get(), &process); more;
       more = Process32NextW(processes.get(), &process)) {
    if (process.th32ProcessID == process_id) return utf8_of(process.szExeFile);
  }
  return {};
}

PortOwner owner_with(DWORD process_id) {
  PortOwner owner{.process_id = process_id, .program = {}, .user = {}};
  if (process_id == 0) return owner;  // unknown; the list of processes has the idle process under 0
  if (const Handle process{OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id)}) {
    owner.program = path_of_program(process.get());
    owner.user = user_of_process(process.get());
  }
  if (owner.program.empty()) owner.program = name_of_program(process_id);
  return owner;
}

constexpr char kSubject[] = "service port";

}  // namespace

std::vector<PortOwner> owners_of_port(uint16_t port) {
  const std::vector<unsigned char> bytes = listening_sockets();
  if (bytes.empty()) return {};
  const auto* table = reinterpret_cast<const MIB_TCPTABLE_OWNER_PID*>(bytes.data());
  std::vector<PortOwner> owners;
  for (DWORD i = 0; i < table->dwNumEntries; ++i) {
    const MIB_TCPROW_OWNER_PID& row = table->table[i];
    const bool is_local = row.dwLocalAddr == htonl(INADDR_LOOPBACK) || row.dwLocalAddr == htonl(INADDR_ANY);
    if (is_local && row.dwLocalPort == htons(port)) owners.push_back(owner_with(row.dwOwningPid));
  }
  return owners;
}

Finding finding_on(const PortOwner& owner, const Sid& current_user) {
  constexpr char kReceivesPins[] = "make sure that it is your local service: this process receives every PIN";
  if (owner.process_id == 0) {
    return {Grade::note, kSubject, "belongs to a process that the system does not name", kReceivesPins};
  }
  const std::string process = "process " + std::to_string(owner.process_id);
  const std::string found =
      "belongs to " + (owner.program.empty() ? process : owner.program + ", " + process);
  if (owner.user.empty()) {
    return {Grade::warning, kSubject, found + ", probably of another user",
            std::string(kReceivesPins) + "; as administrator, sof doctor also shows the user"};
  }
  const std::string user = ", user " + utf8_of(account_name(owner.user));
  if (owner.user == current_user || controls_the_machine(owner.user)) {
    return {Grade::ok, kSubject, found + user, ""};
  }
  return {Grade::warning, kSubject, found + user + ", not yours", kReceivesPins};
}
