// sign_bench PORT CONTAINER CLIENTS SECONDS [sleepless]: measures signatures per second through the local
// service. Each client makes its calls in sequence on its own connection and reconnects when the service
// closes it. Sleepless clients poll for the response, which excludes the time to wake up a sleeping client.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

std::string sign_request(uint16_t port, const std::string& container) {
  const std::string body =
      R"({"funcid":15,"ContainerName":")" + container + R"(","InData":"ZGF0YSB0byBzaWdu","base64":1})";
  return "POST / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
         "\r\nContent-Type: application/json;charset=UTF-8;\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

class Client {
 public:
  Client(uint16_t port, bool sleeps) : port_(port), receive_flags_(sleeps ? 0 : MSG_DONTWAIT) {}
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { close(connection_); }

  bool ask(const std::string& request) {
    if (connection_ < 0 && !connect_to_service()) return false;
    const ssize_t sent = send(connection_, request.data(), request.size(), 0);
    if (sent != static_cast<ssize_t>(request.size())) return false;
    std::string answer;
    char part[4096];
    while (!is_whole(answer)) {
      const ssize_t count = recv(connection_, part, sizeof part, receive_flags_);
      if (count < 0 && errno == EAGAIN) {
        std::this_thread::yield();
        continue;
      }
      if (count <= 0) return false;
      answer.append(part, static_cast<size_t>(count));
    }
    if (answer.find("Connection: close\r\n") != std::string::npos) {
      close(connection_);
      connection_ = -1;
    }
    return answer.find(R"("ErrorCode":"0")") != std::string::npos;
  }

 private:
  bool connect_to_service() {
    connection_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port_);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return connect(connection_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  static bool is_whole(const std::string& answer) {
    constexpr std::string_view kLength = "Content-Length: ";
    const size_t head = answer.find("\r\n\r\n");
    const size_t length = answer.find(kLength);
    return head != std::string::npos && length < head &&
           answer.size() >= head + 4 + std::strtoul(answer.c_str() + length + kLength.size(), nullptr, 10);
  }

  uint16_t port_;
  int receive_flags_;
  int connection_ = -1;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5 || argc > 6) {
    std::fprintf(stderr, "usage: sign_bench PORT CONTAINER CLIENTS SECONDS [sleepless]\n");
    return 2;
  }
  const auto port = static_cast<uint16_t>(std::atoi(argv[1]));
  const std::string request = sign_request(port, argv[2]);
  const auto span = std::chrono::duration<double>(std::atof(argv[4]));
  const bool sleeps = argc == 5;
  std::atomic<long> calls{0};
  std::atomic<bool> failed{false};
  const auto started = std::chrono::steady_clock::now();
  std::vector<std::thread> clients(static_cast<size_t>(std::atoi(argv[3])));
  for (std::thread& client : clients) {
    client = std::thread([&] {
      Client service(port, sleeps);
      while (!failed && std::chrono::steady_clock::now() - started < span) {
        if (service.ask(request))
          ++calls;
        else
          failed = true;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - started;
  std::printf("%.1f\n", static_cast<double>(calls) / spent.count());
  return failed ? 1 : 0;
}
