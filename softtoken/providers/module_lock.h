#pragma once

#ifdef _WIN32
#include <windows.h>
#else
#include <mutex>
#endif

namespace velm::token {

/**
 * Mutex for std::lock_guard that owns no system resources, so that an unloaded module leaks nothing.
 * std::mutex keeps memory on Windows.
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
 * Returns whether the process is shutting down: its other threads have been terminated and modules are being
 * unloaded. A lock that such a thread held is never released.
 */
bool process_is_ending();

}  // namespace velm::token
