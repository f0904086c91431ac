#include <atomic>
#include <csignal>
#include <cstdio>
#include <thread>

#ifndef _WIN32
#include <sys/resource.h>
#endif

#include "softtoken/service/commands.h"
#include "softtoken/service/dispatch.h"

namespace velm::token {
namespace {

std::atomic<bool> g_stop_requested{false};

void request_stop(int) { g_stop_requested = true; }

// Each connection needs a file descriptor; the default limit is often 1,024.
void allow_many_connections() {
#ifndef _WIN32
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
#endif
}

// Closes idle sessions until the service is to stop. Of failures in succession, the first is reported.
void watch_sessions(Token& token) {
  bool failed = false;
  while (!g_stop_requested) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    try {
      token.close_idle_sessions();
      failed = false;
    } catch (const std::exception& error) {
      if (!failed) std::fprintf(stderr, "velm_softtoken: idle sessions remain open: %s\n", error.what());
      failed = true;
    }
  }
}

}  // namespace

void serve(const std::filesystem::path& file, const ServeOptions& options) {
  if (!Store::exists(file)) {
    std::printf("velm_softtoken: creating the store %s with the demo containers\n", file.string().c_str());
    std::fflush(stdout);
    init_store(file, true);
  }
  Service service(file);
  service.token.set_longest_idle_limit(std::chrono::minutes(options.idle_logout_minutes));
  allow_many_connections();
  HttpServer server(service, options.http);
  const uint16_t port = server.bind();
  std::signal(SIGINT, request_stop);
  std::signal(SIGTERM, request_stop);
  std::thread watcher([&] {
    watch_sessions(service.token);
    server.stop();
  });
  std::printf("velm_softtoken: a development and test token, listening on %s:%u\n", protocol::kServiceHost,
              unsigned{port});
  std::fflush(stdout);
  server.run();
  g_stop_requested = true;
  watcher.join();
}

}  // namespace velm::token
