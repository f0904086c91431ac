#include <cstdio>
#include <stdexcept>

#include "softtoken/http/http_client.h"
#include "softtoken/service/commands.h"

namespace velm::token {
namespace {

HttpAnswer read_trace(uint16_t port) {
  try {
    return send_request({.host = protocol::kServiceHost, .port = port, .path = protocol::kTracePath});
  } catch (const std::runtime_error&) {
    return {};
  }
}

}  // namespace

void print_trace(uint16_t port) {
  const HttpAnswer answer = read_trace(port);
  if (answer.status != 200)
    throw std::runtime_error("no local service answers on port " + std::to_string(port));
  std::fwrite(answer.body.data(), 1, answer.body.size(), stdout);
}

}  // namespace velm::token
