#include "softtoken/http/http_client.h"

#include <exception>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/span_body.hpp>
#include <boost/beast/http/vector_body.hpp>
#include <boost/beast/http/write.hpp>

namespace velm::token {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using asio::ip::tcp;

asio::awaitable<void> exchange(const HttpRequest& asked, HttpAnswer& answer) {
  const auto executor = co_await asio::this_coro::executor;
  tcp::resolver resolver(executor);
  const auto addresses =
      co_await resolver.async_resolve(asked.host, std::to_string(asked.port), asio::use_awaitable);
  beast::tcp_stream stream(executor);
  stream.expires_after(asked.connect_timeout);
  co_await stream.async_connect(addresses, asio::use_awaitable);

  http::request<http::span_body<const uint8_t>> request(
      asked.content_type.empty() ? http::verb::get : http::verb::post, asked.path, 11);
  request.set(http::field::host, asked.host + ":" + std::to_string(asked.port));
  if (!asked.content_type.empty()) request.set(http::field::content_type, asked.content_type);
  request.keep_alive(false);
  request.body() = {asked.body.data(), asked.body.size()};
  request.prepare_payload();
  stream.expires_after(asked.answer_timeout);
  co_await http::async_write(stream, request, asio::use_awaitable);

  http::response_parser<http::vector_body<uint8_t, WipingAllocator<uint8_t>>> parser;
  parser.body_limit(asked.answer_limit);
  beast::basic_flat_buffer<WipingAllocator<char>> arrived;
  while (!parser.is_done()) {
    stream.expires_after(asked.answer_timeout);
    co_await http::async_read_some(stream, arrived, parser, asio::use_awaitable);
  }
  answer.status = parser.get().result_int();
  answer.body = std::move(parser.get().body());
}

}  // namespace

HttpAnswer send_request(const HttpRequest& request) {
  HttpAnswer answer{};
  std::exception_ptr failure;
  asio::io_context io(1);
  asio::co_spawn(io, exchange(request, answer), [&](std::exception_ptr thrown) { failure = thrown; });
  io.run();
  try {
    if (failure) std::rethrow_exception(failure);
  } catch (const boost::system::system_error& error) {
    if (error.code() == beast::error::timeout) throw HttpTimeout(error.what());
    throw std::runtime_error(error.what());
  }
  return answer;
}

}  // namespace velm::token
