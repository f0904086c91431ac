#include <httplib.h>

#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

SecretBytes http_post(const HttpPost& post) {
  httplib::Client client(post.endpoint.host, post.endpoint.port);
  client.set_connection_timeout(post.connect_timeout);
  client.set_read_timeout(post.answer_timeout);
  client.set_write_timeout(post.answer_timeout);
  SecretBytes answer;
  httplib::Request request;
  request.method = "POST";
  request.path = post.path;
  request.body.assign(post.body.begin(), post.body.end());
  request.set_header("Content-Type", post.content_type);
  request.content_receiver = [&](const char* data, size_t size, uint64_t, uint64_t) {
    if (size > kMaxHttpBody - answer.size()) return false;
    answer.insert(answer.end(), data, data + size);
    return true;
  };
  const auto start = std::chrono::steady_clock::now();
  const auto result = client.send(request);
  // The HTTP client has no error code of its own for an answer timeout.
  const bool answer_late = result.error() == httplib::Error::Read &&
                           std::chrono::steady_clock::now() - start >= post.answer_timeout;
  if (answer_late || result.error() == httplib::Error::ConnectionTimeout) throw SafError(kSafHttpTimeout);
  require_saf(result && result->status == 200, kSafHttpFailed);
  return answer;
}

}  // namespace velm::token
