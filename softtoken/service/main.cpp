#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <thread>

#include <CLI/CLI.hpp>

#include "softtoken/service/http_server.h"

namespace {

using velm::token::HttpOptions;
using velm::token::HttpServer;

std::atomic<bool> g_asked_to_end{false};

void ask_to_end(int) { g_asked_to_end = true; }

int serve(const HttpOptions& options) {
  HttpServer server(options);
  const uint16_t port = server.bind();
  std::signal(SIGINT, ask_to_end);
  std::signal(SIGTERM, ask_to_end);
  std::thread watcher([&server] {
    while (!g_asked_to_end) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server.stop();
  });
  std::printf("velm_softtoken: a development and test token, listening on 127.0.0.1:%u\n", unsigned{port});
  std::fflush(stdout);
  server.run();
  g_asked_to_end = true;
  watcher.join();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Software token: a local certificate service for development and tests"};
  app.require_subcommand(1);

  HttpOptions http;
  double body_limit_mib = 64;
  double request_seconds = 10;
  CLI::App* serve_command = app.add_subcommand("serve", "answer applications on the loopback address");
  serve_command->add_option("--port", http.port, "TCP port")->capture_default_str();
  serve_command->add_option("--body-limit", body_limit_mib, "largest request body, in MiB")
      ->capture_default_str()->check(CLI::PositiveNumber);
  serve_command->add_option("--request-time", request_seconds, "seconds within which a request has to arrive")
      ->capture_default_str()->check(CLI::PositiveNumber);

  CLI11_PARSE(app, argc, argv);
  try {
    http.body_limit = static_cast<size_t>(body_limit_mib * 1024 * 1024);
    http.request_time = std::chrono::milliseconds(static_cast<int64_t>(request_seconds * 1000));
    return serve(http);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velm_softtoken: %s\n", error.what());
    return 1;
  }
}
