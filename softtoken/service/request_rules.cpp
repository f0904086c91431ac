#include "softtoken/service/request_rules.h"

#include "protocol/endpoint.h"
#include "softtoken/crypto/token_error.h"

namespace velm::token {
namespace {

constexpr size_t kPathLimit = 1024;

std::string_view path_of(const RequestHead& head) { return head.target.substr(0, head.target.find('?')); }

uint32_t code_of_status(int status) {
  switch (status) {
    case 413:
    case 414:
      return kBadLength;
    case 415:
      return kNotSupported;
    default:
      return kUnknownError;
  }
}

}  // namespace

Answering answering_of(const RequestHead& head) {
  const std::string_view path = path_of(head);
  const std::string_view type = head.content_type;
  if (path == protocol::kTimeStampPath)
    return type.starts_with(protocol::kTimeStampQueryType) ? answer_time_stamp : nullptr;
  if (path == protocol::kModulePath) return type.starts_with(protocol::kJsonType) ? answer_module : nullptr;
  if (type.starts_with(protocol::kJsonType)) return answer_json;
  return type.starts_with(protocol::kFrameType) ? answer_frame : nullptr;
}

bool asks_for_trace(const RequestHead& head) {
  return head.method == "GET" && !head.has_body && path_of(head) == protocol::kTracePath;
}

RequestRules::RequestRules(uint16_t port)
    : host_(std::string(protocol::kServiceHost) + ":" + std::to_string(port)),
      local_host_("localhost:" + std::to_string(port)) {}

// Detects requests of web pages. Browsers send Origin with cross-site POST requests. With a GET request for a
// frame, an image or a script they only send Sec-Fetch-Site, which is "none" if the user typed the address.
// After DNS rebinding, Host is the host name of the page.
bool RequestRules::is_foreign(const RequestHead& head) const {
  const bool is_from_page = head.has_origin || (!head.fetch_site.empty() && head.fetch_site != "none");
  return is_from_page || (head.host != host_ && head.host != local_host_);
}

int RequestRules::refusal(const RequestHead& head) const {
  if (is_foreign(head)) return 403;
  if (path_of(head).size() > kPathLimit) return 414;
  if (asks_for_trace(head)) return 0;
  if (head.method != "POST") return 404;
  return answering_of(head) == nullptr ? 415 : 0;
}

Answer refusal_answer(int status, const RequestHead& head) {
  const bool has_code = status == 413 || status == 414 || status == 415 || status == 503;
  if (!has_code || path_of(head) == protocol::kTimeStampPath) return {status, "text/plain", {}};
  const bool is_frame = head.content_type.starts_with(protocol::kFrameType);
  return code_answer(status, is_frame ? protocol::kFrameType : protocol::kJsonType, code_of_status(status));
}

}  // namespace velm::token
