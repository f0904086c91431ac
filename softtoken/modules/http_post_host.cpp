#include <httplib.h>

#include "softtoken/modules/http_post.h"
#include "softtoken/modules/saf_call.h"

namespace velm::token {

Bytes http_post(const HttpPost& post) {
  httplib::Client client(post.endpoint.host, post.endpoint.port);
  client.set_connection_timeout(post.connect_timeout);
  client.set_read_timeout(post.answer_timeout);
  client.set_write_timeout(post.answer_timeout);
  const auto result = client.Post(
      post.path, reinterpret_cast<const char*>(post.body.data()), post.body.size(), post.content_type);
  if (result.error() == httplib::Error::ConnectionTimeout) throw SafError(kSafHttpTimeout);
  require_saf(result && result->status == 200, kSafHttpFailed);
  return copy_of(as_bytes(result->body));
}

}  // namespace velm::token
