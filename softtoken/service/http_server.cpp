#include "softtoken/service/http_server.h"

#include <stdexcept>

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
// Requests that one connection may carry, and how long it may stay silent between them. WinHTTP sends headers
// and body apart, and on a connection in use the body waits for the acknowledgement of the headers: 40 ms,
// unless the receiver acknowledges at once. Only Linux can be told to; elsewhere each request has a connection
// of its own.
constexpr size_t kRequestsPerConnection = RequestStream::kAcknowledgesAtOnce ? 10000 : 1;
constexpr std::chrono::seconds kSilentTime{5};
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

bool starts_with(const std::string& text, const char* start) { return text.rfind(start, 0) == 0; }

}  // namespace

class HttpServer::Server : public httplib::Server {
 public:
  Server(Service& service, HttpOptions options) : service_(service), options_(options) {
    new_task_queue = [] { return new GrowingThreadPool(kThreadLimit); };
    set_socket_options(own_port);
    set_keep_alive_max_count(kRequestsPerConnection);
    set_keep_alive_timeout(kSilentTime.count());
    set_payload_max_length(options_.body_limit);
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return refuse_foreign(request, response);
    });
    set_expect_100_continue_handler([this](const httplib::Request& request, httplib::Response& response) {
      if (!is_foreign(request)) return 100;
      return response.status = 403;
    });
    set_post_routing_handler([](const httplib::Request&, httplib::Response& response) {
      if (response.status != 200) announce_close(response);
    });
    Post(".*", [this](const httplib::Request& request, httplib::Response& response,
                      const httplib::ContentReader& body) { answer(request, response, body); });
    Get("/trace", [this](const httplib::Request&, httplib::Response& response) {
      response.set_content(service_.trace.text(), "text/plain");
    });
  }

  uint16_t bind() {
    const bool bound = options_.port != 0
                           ? bind_to_port(kLoopback, options_.port)
                           : (options_.port = static_cast<uint16_t>(bind_to_any_port(kLoopback))) != 0;
    if (!bound || options_.port == UINT16_MAX) throw std::runtime_error("the port is not free");
    host_ = std::string(kLoopback) + ":" + std::to_string(options_.port);
    local_host_ = "localhost:" + std::to_string(options_.port);
    return options_.port;
  }

  void end() {
    ending_ = true;
    stop();
  }

 private:
  // A web page of any site can make its browser send requests here. The browser then names the page's origin,
  // or, where the page's own host name was pointed at this address, that name as the host.
  bool is_foreign(const httplib::Request& request) const {
    const std::string host = request.get_header_value("Host");
    return request.has_header("Origin") || request.get_header_value_count("Host") != 1 ||
           (host != host_ && host != local_host_);
  }

  HandlerResponse refuse_foreign(const httplib::Request& request, httplib::Response& response) const {
    if (!is_foreign(request)) return HandlerResponse::Unhandled;
    response.status = 403;
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
    std::string body;
    const WipeAtEnd wiped(body);
    // In one piece from the start, so that no copy of a PIN stays behind.
    body.reserve(std::min<size_t>(options_.body_limit, request.get_header_value_u64("Content-Length")));
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
      return starts_with(type, "application/timestamp-query") ? answer_time_stamp : nullptr;
    if (starts_with(type, "application/json")) return path == kModulePath ? answer_module : answer_json;
    return starts_with(type, "application/octet-stream") ? answer_frame : nullptr;
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

  bool process_and_close_socket(socket_t socket) override {
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
    httplib::detail::close_socket(socket);
    return open;
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

void HttpServer::run() { server_->listen_after_bind(); }

void HttpServer::stop() { server_->end(); }

}  // namespace velm::token
