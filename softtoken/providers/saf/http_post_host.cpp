#include "softtoken/http/http_client.h"
#include "softtoken/providers/saf/http_post.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

HttpAnswer send(const HttpPost& post) {
  try {
    return send_request({.host = post.endpoint.host,
                         .port = post.endpoint.port,
                         .path = post.path,
                         .content_type = post.content_type,
                         .body = post.body,
                         .connect_timeout = post.connect_timeout,
                         .answer_timeout = post.answer_timeout,
                         .answer_limit = kMaxHttpBody});
  } catch (const HttpTimeout&) {
    throw SafError(kSafHttpTimeout);
  } catch (const std::runtime_error&) {
    throw SafError(kSafHttpFailed);
  }
}

}  // namespace

SecretBytes http_post(const HttpPost& post) {
  HttpAnswer answer = send(post);
  require_saf(answer.status == 200, kSafHttpFailed);
  return std::move(answer.body);
}

}  // namespace velm::token
