#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <mutex>
#endif

namespace velm::token {

/**
 * A lock that needs nothing from the system, so that an unloaded module leaves nothing behind; the standard
 * library's keeps memory on Windows. To be held by std::lock_guard.
 */
class ModuleLock {
 public:
#ifdef _WIN32
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
#else
  void lock() { lock_.lock(); }
  void unlock() { lock_.unlock(); }

 private:
  std::mutex lock_;
#endif
};

/**
 * Whether the process has ended its other threads and unloads its modules. A lock that one of them held is
 * never released.
 */
bool process_is_ending();

}  // namespace velm::token
