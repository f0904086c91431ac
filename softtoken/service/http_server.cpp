#include "softtoken/service/http_server.h"

#include <cstdio>
#include <stdexcept>

#include "softtoken/crypto/secret.h"
#include "softtoken/service/dispatch.h"
#include "softtoken/service/growing_thread_pool.h"
#include "softtoken/service/request_stream.h"

namespace velm::token {
namespace {

constexpr const char* kLoopback = "127.0.0.1";
// Provider modules and time-stamp queries have paths of their own; every other path is for applications'
// functions.
constexpr const char* kModulePath = "/token";
constexpr const char* kStampPath = "/tsa";
constexpr size_t kThreadLimit = 2048;
// The library matches paths by a function that calls itself for each character, on 448 bytes of stack.
constexpr size_t kPathLimit = 1024;
// Requests that one connection may carry, and how long it may stay silent between them. WinHTTP sends headers
// and body apart, and on a connection in use the body waits for the acknowledgement of the headers: 40 ms,
// unless the receiver acknowledges at once. Only Linux can be told to; elsewhere each request has a
// connection of its own.
constexpr size_t kRequestsPerConnection = RequestStream::kAcknowledgesAtOnce ? 10000 : 1;
constexpr std::chrono::seconds kSilentTime{5};
// How long the listener waits before it looks for its own end, and when it cannot take a connection.
constexpr std::chrono::microseconds kListenSlice = std::chrono::milliseconds(100);
constexpr std::chrono::milliseconds kAcceptPause{10};
// What is set aside for a body before any of it has arrived.
constexpr size_t kFirstBodySpace = 65536;
// What is still read, unseen, from a refused sender, so that the refusal reaches it before the connection
// ends.
constexpr std::chrono::milliseconds kDrainTime{300};
constexpr size_t kDrainBytes = 1024 * 1024;

// Nobody else may listen on the port beside or instead of the service.
void own_port(socket_t socket) {
  const int on = 1;
#ifdef _WIN32
  constexpr int kOption = SO_EXCLUSIVEADDRUSE;
#else
  constexpr int kOption = SO_REUSEADDR;
#endif
  setsockopt(socket, SOL_SOCKET, kOption, reinterpret_cast<const char*>(&on), sizeof on);
}

// The next connection, whose calls return at once; INVALID_SOCKET when there is none to take.
socket_t accept_connection(socket_t listener) {
#ifdef _WIN32
  const socket_t connection = accept(listener, nullptr, nullptr);
  if (connection != INVALID_SOCKET) httplib::detail::set_nonblocking(connection, true);
  return connection;
#else
  return accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
#endif
}

// A request's body, which may hold a PIN: what it leaves behind as it grows is wiped.
using SecretText = std::basic_string<char, std::char_traits<char>, WipingAllocator<char>>;

}  // namespace

class HttpServer::Server : public httplib::Server {
 public:
  Server(Service& service, HttpOptions options) : service_(service), options_(options) {
    set_socket_options(own_port);
    set_keep_alive_max_count(kRequestsPerConnection);
    set_keep_alive_timeout(kSilentTime.count());
    set_payload_max_length(options_.body_limit);
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return refuse(request, response);
    });
    set_expect_100_continue_handler([this](const httplib::Request& request, httplib::Response& response) {
      return refuse(request, response) == HandlerResponse::Handled ? response.status : 100;
    });
    set_post_routing_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.status != 200) announce_close(response);
    });
    // Every path, even one with a line end, for which a dot does not stand: the library would read what no
    // handler takes into memory that it does not wipe.
    Post("[^]*", [this](const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& body) { answer(request, response, body); });
    Get("/trace", [this](const httplib::Request&, httplib::Response& response) {
      response.set_content(service_.trace.text(), "text/plain");
    });
  }

  uint16_t bind() {
    int port = options_.port;
    if (port == 0) {
      port = bind_to_any_port(kLoopback);
    } else if (!bind_to_port(kLoopback, port)) {
      port = -1;
    }
    if (port < 0) throw std::runtime_error("the port is not free");
    options_.port = static_cast<uint16_t>(port);
    host_ = std::string(kLoopback) + ":" + std::to_string(options_.port);
    local_host_ = "localhost:" + std::to_string(options_.port);
    return options_.port;
  }

  // In place of the library's own loop, which ends at most errors of accept() and which stop() does not reach
  // before it has begun.
  void run() {
    GrowingThreadPool threads(kThreadLimit);
    httplib::detail::set_nonblocking(svr_sock_, true);
    while (!ending_) {
      if (httplib::detail::select_read(svr_sock_, 0, kListenSlice.count()) == 0) continue;
      const socket_t connection = accept_connection(svr_sock_);
      if (connection == INVALID_SOCKET) {
        // The client has gone again, or files or memory are short for a while.
        std::this_thread::sleep_for(kAcceptPause);
      } else if (!threads.enqueue([this, connection] { serve(connection); })) {
        httplib::detail::close_socket(connection);
      }
    }
    httplib::detail::close_socket(svr_sock_.exchange(INVALID_SOCKET));
  }

  void end() { ending_ = true; }

 private:
  // A web page of any site can make its browser send requests here. The browser then names the page's origin,
  // or, where the page's own host name was pointed at this address, that name as the host.
  bool is_foreign(const httplib::Request& request) const {
    const std::string host = request.get_header_value("Host");
    return request.has_header("Origin") || request.get_header_value_count("Host") != 1 ||
           (host != host_ && host != local_host_);
  }

  // What is refused before its body is read.
  HandlerResponse refuse(const httplib::Request& request, httplib::Response& response) const {
    if (is_foreign(request)) {
      response.status = 403;
    } else if (request.path.size() > kPathLimit) {
      response.status = 414;
    } else if (request.method != "POST" && httplib::detail::expect_content(request)) {
      response.status = 404;
    } else {
      return HandlerResponse::Unhandled;
    }
    return HandlerResponse::Handled;
  }

  void answer(const httplib::Request& request, httplib::Response& response,
              const httplib::ContentReader& reader) {
    const std::string type = request.get_header_value("Content-Type");
    const Answering answering = answering_of(request.path, type);
    if (answering == nullptr) {
      response.status = 415;
      return;
    }
    SecretText body;
    body.reserve(std::min<size_t>(kFirstBodySpace, request.get_header_value_u64("Content-Length")));
    const bool whole = reader([&](const char* data, size_t size) {
      body.append(data, size);
      return true;
    });
    if (whole) deliver(answering(service_, body), response);
  }

  using Answering = Answer (*)(Service&, std::string_view);

  // Who answers a request; nobody for a content type that is not taken there.
  static Answering answering_of(const std::string& path, const std::string& type) {
    if (path == kStampPath)
      return type.starts_with("application/timestamp-query") ? answer_time_stamp : nullptr;
    if (type.starts_with("application/json")) return path == kModulePath ? answer_module : answer_json;
    return type.starts_with("application/octet-stream") ? answer_frame : nullptr;
  }

  static void deliver(Answer&& answer, httplib::Response& response) {
    response.status = answer.status;
    response.set_header("Content-Type", answer.content_type);
    response.body = std::move(answer.body);
  }

  // What a refused request still has to send is not read, so no other request can follow it.
  static void announce_close(httplib::Response& response) {
    response.headers.erase("Keep-Alive");
    response.headers.erase("Connection");
    response.set_header("Connection", "close");
  }

  // One connection to its end. What is thrown there, for want of memory, ends nothing else.
  void serve(socket_t connection) {
    try {
      answer_requests(connection);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "velm_softtoken: a connection was given up: %s\n", error.what());
    }
    httplib::detail::close_socket(connection);
  }

  void answer_requests(socket_t socket) {
    RequestStream stream(socket, options_.request_time, ending_);
    bool open = true;
    for (size_t left = kRequestsPerConnection; open && left > 0; --left) {
      if (left < kRequestsPerConnection && !stream.await_request(kSilentTime)) break;
      bool last = left == 1;
      const bool answered = process_request(stream, kLoopback, 0, kLoopback, options_.port, /*close*/ last,
                                            /*closed by the client*/ last, nullptr);
      const bool served = stream.served();
      open = stream.flush() && answered && served && !last;
      if (!served) drain(socket);
    }
  }

  // A socket closed with bytes unread resets the connection and takes the answer with it.
  void drain(socket_t socket) const {
#ifdef _WIN32
    ::shutdown(socket, SD_SEND);
#else
    ::shutdown(socket, SHUT_WR);
#endif
    RequestStream rest(socket, kDrainTime, ending_);
    char unseen[4096];
    size_t drained = 0;
    for (ssize_t count = 0; drained < kDrainBytes && (count = rest.read(unseen, sizeof unseen)) > 0;) {
      drained += static_cast<size_t>(count);
    }
  }

  Service& service_;
  HttpOptions options_;
  std::string host_;
  std::string local_host_;
  std::atomic<bool> ending_{false};
};

HttpServer::HttpServer(Service& service, HttpOptions options)
    : server_(std::make_unique<Server>(service, options)) {}

HttpServer::~HttpServer() = default;

uint16_t HttpServer::bind() { return server_->bind(); }

void HttpServer::run() { server_->run(); }

void HttpServer::stop() { server_->end(); }

}  // namespace velm::token
