#include "temporary_file.h"

#include <windows.h>
#include <tlhelp32.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "new_file.h"

namespace {

std::mutex g_mutex;
std::vector<std::filesystem::path> g_paths;

std::vector<std::filesystem::path> files_beginning_with(const std::filesystem::path& path) {
  std::vector<std::filesystem::path> files;
  WIN32_FIND_DATAW found{};
  HANDLE search = FindFirstFileW((path.wstring() + L"*").c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return files;
  do {
    files.push_back(path.parent_path() / found.cFileName);
  } while (FindNextFileW(search, &found));
  FindClose(search);
  return files;
}

void stop_other_threads() {
  HANDLE threads = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 thread{};
  thread.dwSize = sizeof thread;
  for (BOOL more = Thread32First(threads, &thread); more; more = Thread32Next(threads, &thread)) {
    if (thread.th32OwnerProcessID != GetCurrentProcessId() || thread.th32ThreadID == GetCurrentThreadId())
      continue;
    SuspendThread(OpenThread(THREAD_SUSPEND_RESUME, FALSE, thread.th32ThreadID));
  }
}

// Suspended threads may hold any lock, including the heap's. From here on, only system calls are safe.
void empty_and_end(const std::vector<HANDLE>& files) {
  stop_other_threads();
  for (HANDLE file : files) SetEndOfFile(file);
  TerminateProcess(GetCurrentProcess(), STATUS_CONTROL_C_EXIT);
}

}  // namespace

// The lock is held so that Ctrl+C finds every file that exists.
TemporaryFile::TemporaryFile(const std::filesystem::path& folder, const wchar_t* ending) {
  const std::lock_guard lock(g_mutex);
  g_paths.reserve(g_paths.size() + 1);
  path_ = create_new_file(folder, ending);
  g_paths.push_back(path_);
}

TemporaryFile::~TemporaryFile() {
  const std::lock_guard lock(g_mutex);
  DeleteFileW(path_.c_str());
  std::erase(g_paths, path_);
}

void give_up_temporary_files() {
  const std::lock_guard lock(g_mutex);
  std::vector<HANDLE> open_files;
  for (const std::filesystem::path& path : g_paths) {
    for (const std::filesystem::path& file : files_beginning_with(path)) {
      if (DeleteFileW(file.c_str())) continue;
      open_files.push_back(CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
  }
  if (!open_files.empty()) empty_and_end(open_files);
}
