#pragma once

#include <windows.h>

#include <string>

/** The token's service on its usual port, with a demo store of its own, for as long as this lives. */
class ServiceProcess {
 public:
  /** Throws std::runtime_error when something listens already, or when the service does not answer. */
  ServiceProcess();
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  /** Memory that belongs to the service alone, in bytes. */
  size_t private_bytes() const;

 private:
  std::wstring folder_;
  HANDLE process_ = nullptr;
};
