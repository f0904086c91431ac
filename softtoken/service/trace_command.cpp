#include <cstdio>
#include <stdexcept>

#include <httplib.h>

#include "softtoken/service/commands.h"

namespace velm::token {

void print_trace(uint16_t port) {
  httplib::Client client(protocol::kServiceHost, port);
  const auto answer = client.Get(protocol::kTracePath);
  if (!answer || answer->status != 200)
    throw std::runtime_error("no local service answers on port " + std::to_string(port));
  std::fwrite(answer->body.data(), 1, answer->body.size(), stdout);
}

}  // namespace velm::token
