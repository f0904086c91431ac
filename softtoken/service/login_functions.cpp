#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {

Json login(Token& token, const Json& request) {
  token.login(text_field(request, "UserName"), secret_base64_field(request, "PassWd"));
  return nullptr;
}

Json logout(Token& token, const Json& request) {
  token.logout(text_field(request, "containerName"));
  return nullptr;
}

Json is_login(Token& token, const Json& request) {
  token.require_login(text_field(request, "containerName"));
  return nullptr;
}

Json get_pin_retry_count(Token& token, const Json& request) {
  return {{"RetryCount", token.tries_left(text_field(request, "ContainerName"))}};
}

Json change_pin(Token& token, const Json& request) {
  token.change_pin(text_field(request, "ContainerName"), secret_base64_field(request, "OldPassWd"),
                   secret_base64_field(request, "NewPassWd"));
  return nullptr;
}

}  // namespace velm::token
