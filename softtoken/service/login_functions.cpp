#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {

Json login(Token& token, const Json& request) {
  token.login(name_field(request, "UserName"), base64_pin_field(request, "PassWd"));
  return nullptr;
}

Json logout(Token& token, const Json& request) {
  token.logout(name_field(request, "containerName"));
  return nullptr;
}

Json is_login(Token& token, const Json& request) {
  token.require_login(name_field(request, "containerName"));
  return nullptr;
}

Json get_pin_retry_count(Token& token, const Json& request) {
  return {{"RetryCount", token.pin_retries(name_field(request, "ContainerName"))}};
}

Json change_pin(Token& token, const Json& request) {
  token.change_pin(name_field(request, "ContainerName"), base64_pin_field(request, "OldPassWd"),
                   base64_pin_field(request, "NewPassWd"));
  return nullptr;
}

}  // namespace velm::token
