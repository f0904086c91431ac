#include "softtoken/service/http_server.h"

#include <cstdio>
#include <stdexcept>

#include "softtoken/service/dispatch.h"
#include "softtoken/service/growing_thread_pool.h"
#include "softtoken/service/received_text.h"
#include "softtoken/service/request_stream.h"

namespace velm::token {
namespace {

using protocol::kServiceHost;

constexpr size_t kThreadLimit = 2048;
// cpp-httplib matches paths with std::regex, which recurses once per character, with 448 bytes of stack.
constexpr size_t kPathLimit = 1024;
// WinHTTP sends headers and body separately. On a reused connection the body waits for the ACK of the
// headers, 40 ms with delayed ACKs. Only Linux can disable these; elsewhere a connection serves one request.
constexpr size_t kRequestsPerConnection = RequestStream::kAcknowledgesAtOnce ? 10000 : 1;
// Longest silence between two requests.
constexpr std::chrono::seconds kSilentTime{5};
// Interval at which the accept loop checks for stop().
constexpr std::chrono::microseconds kListenSlice = std::chrono::milliseconds(100);
// Delay after a failed accept().
constexpr std::chrono::milliseconds kAcceptPause{10};
// Largest buffer reserved for a body before it arrives, whatever Content-Length says.
constexpr size_t kFirstBodySpace = 65536;
// Limits of drain().
constexpr std::chrono::milliseconds kDrainTime{300};
constexpr size_t kDrainBytes = 1024 * 1024;

// The defaults of cpp-httplib, SO_REUSEPORT and on Windows SO_REUSEADDR, let other processes listen on the
// same port.
void own_port(socket_t socket) {
  const int on = 1;
#ifdef _WIN32
  constexpr int kOption = SO_EXCLUSIVEADDRUSE;
#else
  constexpr int kOption = SO_REUSEADDR;
#endif
  setsockopt(socket, SOL_SOCKET, kOption, reinterpret_cast<const char*>(&on), sizeof on);
}

// Returns a non-blocking socket, or INVALID_SOCKET.
socket_t accept_connection(socket_t listener) {
#ifdef _WIN32
  const socket_t connection = accept(listener, nullptr, nullptr);
  if (connection != INVALID_SOCKET) httplib::detail::set_nonblocking(connection, true);
  return connection;
#else
  return accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
#endif
}

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
    // Match newlines too, otherwise unmatched bodies are buffered unwiped.
    Post("[^]*", [this](const httplib::Request& request, httplib::Response& response,
                        const httplib::ContentReader& body) { answer(request, response, body); });
    Get(protocol::kTracePath, [this](const httplib::Request&, httplib::Response& response) {
      response.set_content(service_.trace.text(), "text/plain");
    });
  }

  uint16_t bind() {
    int port = options_.port;
    if (port == 0) {
      port = bind_to_any_port(kServiceHost);
    } else if (!bind_to_port(kServiceHost, port)) {
      port = -1;
    }
    if (port < 0) throw std::runtime_error("the port is in use");
    options_.port = static_cast<uint16_t>(port);
    host_ = std::string(kServiceHost) + ":" + std::to_string(options_.port);
    local_host_ = "localhost:" + std::to_string(options_.port);
    return options_.port;
  }

  // Replaces the accept loop of cpp-httplib, which ends on most errors of accept() and ignores a stop() that
  // precedes it.
  void run() {
    GrowingThreadPool threads(kThreadLimit);
    httplib::detail::set_nonblocking(svr_sock_, true);
    while (!ending_) {
      if (httplib::detail::select_read(svr_sock_, 0, kListenSlice.count()) == 0) continue;
      const socket_t connection = accept_connection(svr_sock_);
      if (connection == INVALID_SOCKET) {
        // The client disconnected, or file descriptors or memory are temporarily exhausted.
        std::this_thread::sleep_for(kAcceptPause);
      } else if (!threads.enqueue([this, connection] { serve(connection); })) {
        httplib::detail::close_socket(connection);
      }
    }
    httplib::detail::close_socket(svr_sock_.exchange(INVALID_SOCKET));
  }

  void end() { ending_ = true; }

 private:
  // Detects requests of web pages. Browsers send Origin with cross-site POST requests; after DNS rebinding,
  // Host is the host name of the page.
  bool is_foreign(const httplib::Request& request) const {
    const std::string host = request.get_header_value("Host");
    return request.has_header("Origin") || request.get_header_value_count("Host") != 1 ||
           (host != host_ && host != local_host_);
  }

  // Rejects requests before their body is read.
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

  // Returns null for a content type that the path does not accept.
  static Answering answering_of(const std::string& path, const std::string& type) {
    if (path == protocol::kTimeStampPath)
      return type.starts_with(protocol::kTimeStampQueryType) ? answer_time_stamp : nullptr;
    if (path == protocol::kModulePath) return type.starts_with(protocol::kJsonType) ? answer_module : nullptr;
    if (type.starts_with(protocol::kJsonType)) return answer_json;
    return type.starts_with(protocol::kFrameType) ? answer_frame : nullptr;
  }

  static void deliver(Answer&& answer, httplib::Response& response) {
    response.status = answer.status;
    response.set_header("Content-Type", answer.content_type);
    response.body = std::move(answer.body);
  }

  // The rest of a rejected request is not read, so the connection cannot be reused.
  static void announce_close(httplib::Response& response) {
    response.headers.erase("Keep-Alive");
    response.headers.erase("Connection");
    response.set_header("Connection", "close");
  }

  // Serves a connection until it ends. If memory runs out, only this connection is closed.
  void serve(socket_t connection) {
    try {
      answer_requests(connection);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "velm_softtoken: connection closed: %s\n", error.what());
    }
    httplib::detail::close_socket(connection);
  }

  void answer_requests(socket_t socket) {
    RequestStream stream(socket, options_.request_time, ending_);
    bool open = true;
    for (size_t left = kRequestsPerConnection; open && left > 0; --left) {
      if (left < kRequestsPerConnection && !stream.await_request(kSilentTime)) break;
      bool last = left == 1;
      const bool answered =
          process_request(stream, kServiceHost, 0, kServiceHost, options_.port, /*close*/ last,
                          /*closed by the client*/ last, nullptr);
      const bool served = stream.served();
      open = stream.flush() && answered && served && !last;
      if (!served) drain(socket);
    }
  }

  // Closing a socket with unread data resets the connection, and the client may lose the response.
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
