#include "softtoken/service/function_families.h"

namespace velm::token {

SecretText login(Token& token, JsonRequest& request) {
  token.login(request.container_name("UserName"), request.base64_pin("PassWd"));
  return json_success();
}

SecretText logout(Token& token, JsonRequest& request) {
  token.logout(request.container_name("containerName"));
  return json_success();
}

SecretText is_login(Token& token, JsonRequest& request) {
  token.require_login(request.container_name("containerName"));
  return json_success();
}

SecretText get_pin_retry_count(Token& token, JsonRequest& request) {
  return json_success({{"RetryCount", token.pin_retries(request.container_name("ContainerName"))}});
}

SecretText change_pin(Token& token, JsonRequest& request) {
  token.change_pin(request.container_name("ContainerName"), request.base64_pin("OldPassWd"),
                   request.base64_pin("NewPassWd"));
  return json_success();
}

}  // namespace velm::token
