#pragma once

#include <filesystem>
#include <thread>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/service/dispatch.h"
#include "softtoken/service/http_server.h"
#include "softtoken/store/demo.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {

/** A service on a free port with a store of its own, and a configuration file for it. */
class RunningService {
 public:
  explicit RunningService(const std::string& name)
      : store_(name + ".db"),
        configuration_(name + ".dat"),
        service_(made(store_)),
        server_(service_, {.port = 0}) {
    const std::string address = "127.0.0.1:" + std::to_string(server_.bind());
    write_file(configuration_,
               as_bytes("service_address = " + address + "\ntime_stamp_address = " + address + "\n"));
    thread_ = std::thread([this] { server_.run(); });
  }
  ~RunningService() {
    server_.stop();
    thread_.join();
    std::remove(configuration_.c_str());
  }

  const char* configuration() const { return configuration_.c_str(); }
  Token& token() { return service_.token; }

 private:
  static std::filesystem::path made(const std::string& store) {
    for (const char* part : {"", "-wal", "-shm"}) std::filesystem::remove(store + part);
    Store::create(store);
    return store;
  }

  std::string store_;
  std::string configuration_;
  Service service_;
  HttpServer server_;
  std::thread thread_;
};

/** An application with a running service and a logged-in container of each key type. */
class Application {
 public:
  explicit Application(const std::string& name) : service_(name) {
    add("SM2_TEST", KeyKind::sm2, 0);
    add("RSA_2048_TEST", KeyKind::rsa, 2048);
    add("RSA_1024_TEST", KeyKind::rsa, 1024);
    opened_ = SAF_Initialize(&handle_, service_.configuration());
  }
  ~Application() { SAF_Finalize(handle_); }

  uint32_t opened() const { return opened_; }
  void* handle() const { return handle_; }
  Token& token() { return service_.token(); }
  Bytes signing_certificate(const std::string& container) {
    return token().container(container).signing_certificate;
  }
  Bytes encryption_certificate(const std::string& container) {
    return token().container(container).encryption_certificate;
  }

 private:
  void add(const char* name, KeyKind kind, unsigned bits) {
    token().add_container({.name = name, .kind = kind, .rsa_bits = bits}, as_bytes(kDemoPin));
    token().login(name, as_bytes(kDemoPin));
  }

  RunningService service_;
  void* handle_ = nullptr;
  uint32_t opened_ = 0;
};

}  // namespace velm::token
