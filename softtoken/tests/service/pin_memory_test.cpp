// Sends PINs to the local service in every form, and looks for them in each block of memory that it frees.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "softtoken/service/dispatch.h"
#include "softtoken/service/http_server.h"
#include "softtoken/tests/store/temporary_store.h"
#include "softtoken/tests/support/freed_blocks.h"

namespace velm::token {
namespace {

// The PINs are so long that a std::string of them would be on the heap.
// The client uses no heap, because its blocks would be searched too. So the requests are literals, and their
// parts are macros: PINs in plain text and in base64.
#define PIN             "Kq7-zX9vT2-of-old-days"
#define PIN_BASE64      "S3E3LXpYOXZUMi1vZi1vbGQtZGF5cw=="
#define NEW_PIN         "Wd4/mB6yHs/of-new-days"
#define NEW_PIN_BASE64  "V2Q0L21CNnlIcy9vZi1uZXctZGF5cw=="
#define FILLER_OF(text) text text text text text text text text
#define FILLER          FILLER_OF(FILLER_OF(FILLER_OF("0123456789abcdef")))
#define CONTAINER       "NameOfTheContainer"
constexpr const char* kSecrets[] = {PIN, PIN_BASE64, NEW_PIN, NEW_PIN_BASE64};
constexpr const char* kNoSecret[] = {CONTAINER};

struct Exchange {
  const char* body;
  const char* answer;
  const char* content_type = "application/json";
};

constexpr Exchange kExchanges[] = {
    {R"({"funcid":7,"UserName":")" CONTAINER R"(","PassWd":")" PIN_BASE64 R"("})", R"("0")"},
    {R"({"funcid":7,"UserName":")" CONTAINER R"(","PassWd":")" NEW_PIN_BASE64 R"("})", "B000426"},
    {R"({"funcid":7,"UserName":"unknown","PassWd":")" PIN_BASE64 R"("})", "B000425"},
    // An escaped text is not used in place.
    {R"({"funcid":7,"UserName":")" CONTAINER R"(","PassWd":"\u0053)"
     "3E3LXpYOXZUMi1vZi1vbGQtZGF5cw=="
     R"("})",
     R"("0")"},
    // A text in GBK is converted.
    {R"({"funcid":7,"UserName":")"
     "\xD6\xD0"
     R"(","PassWd":")" PIN_BASE64 R"("})",
     "B000425"},
    {R"({"funcid":9,"ContainerName":")" CONTAINER R"(","OldPassWd":")" PIN_BASE64
     R"(","NewPassWd":")" NEW_PIN_BASE64 R"("})",
     R"("0")"},
    {R"({"funcid":9,"ContainerName":")" CONTAINER R"(","OldPassWd":")" NEW_PIN_BASE64
     R"(","NewPassWd":")" PIN_BASE64 R"("})",
     R"("0")"},
    {R"({"funcid":29,"ContainerName":")" CONTAINER R"(","Pin":")" PIN
     R"(","FileType":1,"FileIndex":1,"Offset":0,"Data":"YQ=="})",
     "ErrorCode"},
    // Malformed requests.
    {R"({"funcid":7,"UserName":")" CONTAINER R"(","PassWd":")" PIN_BASE64, "ErrorCode"},
    {R"({"funcid":7,"PassWd":{"nested":")" PIN_BASE64 R"("}})", "ErrorCode"},
    {R"({"funcid":7,"PassWd":")" PIN R"("})", "ErrorCode"},
    {R"({"funcid":201,"PassWd":")" PIN R"("})", "ErrorCode"},
    // In chunks its memory grows, after the PIN has arrived.
    {R"({"funcid":7,"PassWd":")" PIN_BASE64 R"(","UserName":")" CONTAINER R"(","filler":")" FILLER R"("})",
     R"("0")"},
    {"w\x07" PIN_BASE64, "HTTP/1.1 ", "application/octet-stream"},
    {PIN_BASE64, "HTTP/1.1 415", "text/plain"},
};

class Client {
 public:
  explicit Client(uint16_t port) : socket_(socket(AF_INET, SOCK_STREAM, 0)), port_(port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  Client(const Client&) = delete;
  ~Client() { close(socket_); }

  /** Sends the request, whole or in pieces, as one body or in chunks, and reads until the connection ends. */
  const char* answer(const Exchange& exchange, bool in_pieces, bool in_chunks) {
    static char request[16384];
    const size_t size = std::strlen(exchange.body);
    const char* format = in_chunks
                             ? "POST / HTTP/1.1\r\nHost: 127.0.0.1:%u\r\nContent-Type: %s\r\n"
                               "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n%zx\r\n%s\r\n0\r\n\r\n"
                             : "POST / HTTP/1.1\r\nHost: 127.0.0.1:%u\r\nContent-Type: %s\r\n"
                               "Connection: close\r\nContent-Length: %zu\r\n\r\n%s";
    std::snprintf(request, sizeof request, format, port_, exchange.content_type, size, exchange.body);
    const size_t length = std::strlen(request);
    const size_t piece = in_pieces ? length - size / 2 : length;
    send(socket_, request, piece, MSG_NOSIGNAL);
    if (in_pieces) usleep(20000);
    send(socket_, request + piece, length - piece, MSG_NOSIGNAL);

    static char answer[65536];
    size_t received = 0;
    while (const ssize_t count = recv(socket_, answer + received, sizeof answer - 1 - received, 0)) {
      if (count < 0) break;
      received += static_cast<size_t>(count);
    }
    answer[received] = '\0';
    return answer;
  }

 private:
  int socket_;
  uint16_t port_;
};

class PinMemory : public testing::Test {
 protected:
  void SetUp() override {
    service.token.add_container({.name = CONTAINER}, Bytes{std::begin(kPin), std::end(kPin) - 1});
  }

  void make_all_calls() {
    HttpServer server(service, {.port = 0});
    const uint16_t port = server.bind();
    std::thread serving([&] { server.run(); });
    for (const bool in_pieces : {false, true}) {
      for (const bool in_chunks : {false, true}) {
        for (const Exchange& exchange : kExchanges) {
          const char* answer = Client(port).answer(exchange, in_pieces, in_chunks);
          EXPECT_NE(std::strstr(answer, exchange.answer), nullptr) << exchange.body << answer;
        }
      }
    }
    server.stop();
    serving.join();
  }

  static constexpr char kPin[] = PIN;
  TemporaryStore store;
  Service service{store.file()};
};

TEST_F(PinMemory, IsWipedBeforeItIsFreed) {
  const FreedBlocks freed(kSecrets);
  make_all_calls();
  for (size_t i = 0; i < std::size(kSecrets); ++i) EXPECT_EQ(freed.containing(i), 0u) << kSecrets[i];
}

TEST_F(PinMemory, FreedBlocksAreSearched) {
  const FreedBlocks freed(kNoSecret);
  make_all_calls();
  EXPECT_GT(freed.containing(0), 0u);
}

}  // namespace
}  // namespace velm::token
