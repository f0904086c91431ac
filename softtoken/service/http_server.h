#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>

#include "protocol/endpoint.h"

namespace velm::token {

struct Service;

struct HttpOptions {
  uint16_t port = protocol::kServicePort;
  /** Largest request body, in bytes; at most half of the memory budget. */
  size_t body_limit = size_t{512} * 1024 * 1024;
  /** Bytes for all request bodies and answers together. */
  size_t memory_budget = size_t{1024} * 1024 * 1024;
  /** Threads for connections and short calls, and as many again for long calls. */
  unsigned threads = std::max(1U, std::thread::hardware_concurrency());
  /** Time limit for receiving a complete request. */
  std::chrono::milliseconds request_time{10000};
};

/** The local service on the loopback address. */
class HttpServer {
 public:
  HttpServer(Service& service, const HttpOptions& options);
  ~HttpServer();

  /** Binds the port (0: any free port) and returns it; throws std::runtime_error if it is in use. */
  uint16_t bind();
  /** Answers requests until another thread calls stop(). */
  void run();
  void stop();

 private:
  class Server;
  std::unique_ptr<Server> server_;
};

}  // namespace velm::token
