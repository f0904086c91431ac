// sign_bench PORT CONTAINER CLIENTS SECONDS: signatures a second through the service, by clients that each
// open a connection, ask, and read the answer to its end, one call after the other.
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string sign_request(uint16_t port, const std::string& container) {
  const std::string body = R"({"funcid":15,"ContainerName":")" + container +
                           R"(","InData":"ZGF0YSB0byBzaWdu","base64":1})";
  return "POST / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
         "\r\nContent-Type: application/json;charset=UTF-8;\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

bool ask(uint16_t port, const std::string& request) {
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  std::string answer;
  if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      send(connection, request.data(), request.size(), 0) == static_cast<ssize_t>(request.size())) {
    char part[4096];
    for (ssize_t count = 0; (count = recv(connection, part, sizeof part, 0)) > 0;) {
      answer.append(part, static_cast<size_t>(count));
    }
  }
  close(connection);
  return answer.find(R"("ErrorCode":"0")") != std::string::npos;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::fprintf(stderr, "usage: sign_bench PORT CONTAINER CLIENTS SECONDS\n");
    return 2;
  }
  const auto port = static_cast<uint16_t>(std::atoi(argv[1]));
  const std::string request = sign_request(port, argv[2]);
  const auto span = std::chrono::duration<double>(std::atof(argv[4]));
  std::atomic<long> calls{0};
  std::atomic<bool> failed{false};
  const auto started = std::chrono::steady_clock::now();
  std::vector<std::thread> clients;
  for (int client = 0; client < std::atoi(argv[3]); ++client) {
    clients.emplace_back([&] {
      while (!failed && std::chrono::steady_clock::now() - started < span) {
        if (ask(port, request)) ++calls;
        else failed = true;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - started;
  std::printf("%.1f\n", static_cast<double>(calls) / spent.count());
  return failed ? 1 : 0;
}
