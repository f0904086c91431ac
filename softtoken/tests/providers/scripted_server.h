#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace velm::token {

/** An answer of the scripted server. */
struct ScriptedAnswer {
  std::string body{};
  std::string content_type{};
  unsigned status = 200;
};

/** An HTTP server on the loopback address that answers one request after the other. */
class ScriptedServer {
 public:
  using Script = std::function<ScriptedAnswer(const std::string& path, const std::string& body)>;

  explicit ScriptedServer(Script script);
  ScriptedServer(const ScriptedServer&) = delete;
  ~ScriptedServer();

  uint16_t port() const;

 private:
  class Listener;
  std::unique_ptr<Listener> listener_;
};

}  // namespace velm::token
