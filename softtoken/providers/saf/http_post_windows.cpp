#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"
#include "winhttp/exchange.h"

namespace velm::token {

using namespace protocol;

namespace {

void require_http(bool done) {
  if (done) return;
  const DWORD error = GetLastError();
  // Some systems report the socket error itself.
  const bool late = error == ERROR_WINHTTP_TIMEOUT || error == WSAETIMEDOUT;
  throw SafError(late ? kSafHttpTimeout : kSafHttpFailed);
}

// Only for hosts, paths and content types, which are ASCII.
std::wstring widened(const std::string& text) { return {text.begin(), text.end()}; }

class GrowingBody {
 public:
  uint8_t* room(DWORD count) {
    bytes_.resize(length_ + count);
    return bytes_.data() + length_;
  }
  void received(DWORD count) {
    length_ += count;
    require_saf(length_ <= kMaxHttpBody, kSafHttpFailed);
  }
  SecretBytes take() {
    bytes_.resize(length_);
    return std::move(bytes_);
  }

 private:
  SecretBytes bytes_;
  size_t length_ = 0;
};

}  // namespace

SecretBytes http_post(const HttpPost& post) {
  const auto connect_timeout = static_cast<int>(post.connect_timeout.count());
  const auto answer_timeout = static_cast<int>(post.answer_timeout.count());
  winhttp::Exchange exchange;
  require_http(exchange.open_session(L"velm_client_saf", WINHTTP_ACCESS_TYPE_NO_PROXY));
  require_http(exchange.set_timeouts({connect_timeout, connect_timeout, answer_timeout, answer_timeout}));
  require_http(exchange.connect(widened(post.endpoint.host), post.endpoint.port));
  require_http(exchange.open_post(widened(post.path)));
  require_http(exchange.send(L"Content-Type: " + widened(post.content_type), post.body.data(),
                             static_cast<DWORD>(post.body.size())));
  require_http(exchange.receive_head());
  DWORD status = 0;
  require_http(exchange.read_status(status));
  require_saf(status == HTTP_STATUS_OK, kSafHttpFailed);
  GrowingBody body;
  require_http(exchange.read_body(body));
  return body.take();
}

}  // namespace velm::token
