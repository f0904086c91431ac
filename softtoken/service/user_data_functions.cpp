#include "softtoken/crypto/base64.h"
#include "softtoken/service/function_families.h"
#include "softtoken/store/user_data.h"

namespace velm::token {

SecretText read_user_data(Token& token, FrameReader& request) {
  const ContainerName name = request.name();
  const uint32_t type = request.number();
  const uint32_t index = request.number();
  const uint32_t offset = request.number();
  const uint32_t length = request.number();
  request.expect_end();
  return frame_success(read_user_file(token.store(), token.container_id(name), type, index, offset, length));
}

SecretText write_user_data(Token& token, JsonRequest& request) {
  const ContainerName name = request.container_name("ContainerName");
  const ByteView data = request.bytes("WriteData");
  const uint32_t type = request.number("FileType");
  const uint32_t index = request.number("FileIndex");
  const uint32_t offset = request.number("Offset");
  const int64_t container = token.check_pin(name, request.pin("Pin"));
  write_user_file(token.store(), container, type, index, offset, data);
  return json_success();
}

SecretText count_seals(Token& token, JsonRequest& request) {
  const int64_t container = token.container_id(request.container_name("container"));
  return json_success({{"sealCount", seal_count(token.store(), container)}});
}

SecretText get_seal_item(Token& token, JsonRequest& request) {
  const int64_t container = token.container_id(request.container_name("container"));
  return json_success_base64(
      seal_item(token.store(), container, request.number("sealIdx"), request.number("infoType")));
}

}  // namespace velm::token
