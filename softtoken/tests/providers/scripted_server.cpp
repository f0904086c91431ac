#include "softtoken/tests/providers/scripted_server.h"

#include <atomic>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

namespace velm::token {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;

class ScriptedServer::Listener {
 public:
  explicit Listener(Script script)
      : script_(std::move(script)),
        acceptor_(io_, tcp::endpoint(asio::ip::address_v4::loopback(), 0)),
        thread_([this] { run(); }) {}
  Listener(const Listener&) = delete;
  // Ends accept() with a connection.
  ~Listener() {
    ending_ = true;
    tcp::socket last(io_);
    boost::system::error_code ignored;
    last.connect(acceptor_.local_endpoint(), ignored);
    thread_.join();
  }

  uint16_t port() const { return acceptor_.local_endpoint().port(); }

 private:
  void run() {
    while (true) {
      boost::system::error_code failed;
      tcp::socket connection = acceptor_.accept(failed);
      if (ending_) return;
      if (!failed) answer(connection);
    }
  }

  void answer(tcp::socket& connection) {
    boost::system::error_code failed;
    boost::beast::flat_buffer arrived;
    http::request_parser<http::string_body> parser;
    parser.body_limit(boost::none);
    http::read(connection, arrived, parser, failed);
    if (failed) return;
    const ScriptedAnswer scripted = script_(std::string(parser.get().target()), parser.get().body());
    http::response<http::string_body> response(http::int_to_status(scripted.status), 11, scripted.body);
    response.set(http::field::content_type, scripted.content_type);
    response.keep_alive(false);
    response.prepare_payload();
    // The client may have given up.
    http::write(connection, response, failed);
    connection.shutdown(tcp::socket::shutdown_send, failed);
  }

  Script script_;
  std::atomic<bool> ending_{false};
  asio::io_context io_;
  tcp::acceptor acceptor_;
  std::thread thread_;
};

ScriptedServer::ScriptedServer(Script script) : listener_(std::make_unique<Listener>(std::move(script))) {}

ScriptedServer::~ScriptedServer() = default;

uint16_t ScriptedServer::port() const { return listener_->port(); }

}  // namespace velm::token
