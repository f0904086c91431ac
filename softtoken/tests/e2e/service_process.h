#pragma once

#include <windows.h>

#include <string>

/** Runs the local service on its standard port with a demo store of its own. Stopped by the destructor. */
class ServiceProcess {
 public:
  /** Throws std::runtime_error if the port is in use or the service does not answer. */
  ServiceProcess();
  ~ServiceProcess();
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  /** Private memory of the service in bytes. */
  size_t private_bytes() const;

 private:
  std::wstring folder_;
  HANDLE process_ = nullptr;
};
