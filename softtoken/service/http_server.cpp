#include "softtoken/service/http_server.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "softtoken/service/http_connection.h"

namespace velm::token {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;
using Clock = HttpConnection::Clock;

// How long to poll for the next event before sleeping: a client that calls in sequence sends its next request
// sooner than a sleeping thread wakes up. Polling yields to other threads.
constexpr std::chrono::microseconds kAttentiveTime{60};
// Interval at which deadlines are checked.
constexpr std::chrono::milliseconds kDeadlineInterval{100};
// Delay after a failed accept().
constexpr std::chrono::milliseconds kAcceptPause{10};

void report(const std::exception& error) { std::fprintf(stderr, "velm_softtoken: %s\n", error.what()); }

// No other process may listen on the same port. Windows requires an option for this; on Linux SO_REUSEADDR
// only ignores connections of a former process.
void own_port(tcp::acceptor& acceptor) {
#ifdef _WIN32
  const int on = 1;
  setsockopt(acceptor.native_handle(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, reinterpret_cast<const char*>(&on),
             sizeof on);
#else
  acceptor.set_option(tcp::acceptor::reuse_address(true));
#endif
}

/**
 * A thread with connections of its own. It also runs their short calls, which therefore cost no change of
 * threads.
 */
class Worker {
 public:
  Worker() : thread_([this] { run(); }) {}
  Worker(const Worker&) = delete;
  ~Worker() { stop(); }

  asio::io_context& context() { return io_; }
  size_t connections() const { return connections_; }

  /** Serves a connection, whose socket must have this context. */
  void serve(tcp::socket socket, ConnectionContext& context) {
    asio::co_spawn(io_, serve_connection(std::move(socket), context, Counted(connections_)), asio::detached);
  }

  void stop() {
    stopping_ = true;
    io_.stop();
    if (thread_.joinable()) thread_.join();
  }

 private:
  // Counts a connection from its acceptance to its end.
  class Counted {
   public:
    explicit Counted(std::atomic<size_t>& count) : count_(&count) { ++count; }
    Counted(Counted&& other) noexcept : count_(std::exchange(other.count_, nullptr)) {}
    ~Counted() {
      if (count_ != nullptr) --*count_;
    }

   private:
    std::atomic<size_t>* count_;
  };

  asio::awaitable<void> serve_connection(tcp::socket socket, ConnectionContext& context, Counted) {
    HttpConnection connection(std::move(socket), context, open_);
    co_await connection.serve();
  }

  void run() {
    auto checked = Clock::now();
    while (!stopping_) {
      try {
        handle_events();
      } catch (const std::exception& error) {
        report(error);
      }
      const auto now = Clock::now();
      if (now - checked < kDeadlineInterval) continue;
      for (HttpConnection* connection : open_) connection->close_if_late(now);
      checked = now;
    }
  }

  void handle_events() {
    const auto sleep_at = Clock::now() + kAttentiveTime;
    do {
      if (io_.poll() > 0) return;
      std::this_thread::yield();
    } while (Clock::now() < sleep_at);
    io_.run_one_for(kDeadlineInterval);
  }

  std::atomic<bool> stopping_{false};
  std::atomic<size_t> connections_{0};
  std::list<HttpConnection*> open_;
  asio::io_context io_{1};  // after open_, which the connections use until the end
  asio::executor_work_guard<asio::io_context::executor_type> work_{io_.get_executor()};
  std::thread thread_;
};

}  // namespace

class HttpServer::Server {
  using Workers = std::vector<std::unique_ptr<Worker>>;

 public:
  Server(Service& service, const HttpOptions& options)
      : service_(service), options_(options), budget_(options.memory_budget) {
    // An answer can be as large as its request.
    options_.body_limit = std::min(options.body_limit, options.memory_budget / 2);
  }

  uint16_t bind() {
    error_code error;
    acceptor_.open(tcp::v4());
    own_port(acceptor_);
    acceptor_.bind({asio::ip::make_address(protocol::kServiceHost), options_.port}, error);
    if (!error) acceptor_.listen(tcp::acceptor::max_listen_connections, error);
    if (error) throw std::runtime_error("the port is in use");
    return acceptor_.local_endpoint().port();
  }

  // At the end, the threads are stopped before the connections and their sockets are destroyed.
  void run() {
    Workers workers;
    for (unsigned count = 0; count < options_.threads; ++count) workers.push_back(std::make_unique<Worker>());
    CallThreads long_calls(options_.threads);
    ConnectionContext context{service_, options_, RequestRules(acceptor_.local_endpoint().port()), budget_,
                              long_calls};
    while (!stopping_) {
      accept_until_failure(workers, context);
      std::this_thread::sleep_for(kAcceptPause);
    }
    end_accepting();
    for (const auto& worker : workers) worker->stop();
    long_calls.stop();
  }

  void stop() {
    stopping_ = true;
    io_.stop();
  }

 private:
  // Returns at the end, or when there is no memory to wait for a connection.
  void accept_until_failure(const Workers& workers, ConnectionContext& context) {
    try {
      asio::co_spawn(io_, accept_connections(workers, context), asio::detached);
      io_.run();
    } catch (const std::exception& error) {
      report(error);
    }
  }

  asio::awaitable<void> accept_connections(const Workers& workers, ConnectionContext& context) {
    const auto connections = [](const auto& worker) { return worker->connections(); };
    while (!stopping_) {
      try {
        Worker& worker = **std::ranges::min_element(workers, {}, connections);
        tcp::socket socket = co_await acceptor_.async_accept(worker.context(), asio::use_awaitable);
        worker.serve(std::move(socket), context);
        continue;
      } catch (const std::exception&) {
        // The client disconnected, or file descriptors or memory are temporarily exhausted.
      }
      std::this_thread::sleep_for(kAcceptPause);
    }
  }

  // The socket of the pending accept() belongs to a worker.
  void end_accepting() {
    error_code ignored;
    acceptor_.close(ignored);
    io_.restart();
    io_.run();
  }

  Service& service_;
  HttpOptions options_;
  ByteBudget budget_;
  std::atomic<bool> stopping_{false};
  asio::io_context io_{1};
  tcp::acceptor acceptor_{io_};
};

HttpServer::HttpServer(Service& service, const HttpOptions& options)
    : server_(std::make_unique<Server>(service, options)) {}

HttpServer::~HttpServer() = default;

uint16_t HttpServer::bind() { return server_->bind(); }

void HttpServer::run() { server_->run(); }

void HttpServer::stop() { server_->stop(); }

}  // namespace velm::token
