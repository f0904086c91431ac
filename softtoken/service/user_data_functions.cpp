#include "softtoken/crypto/base64.h"
#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"
#include "softtoken/store/user_data.h"

namespace velm::token {

Bytes read_user_data(Token& token, FrameReader& request) {
  const ContainerName name = request.name();
  const uint32_t type = request.number();
  const uint32_t index = request.number();
  const uint32_t offset = request.number();
  const uint32_t length = request.number();
  request.expect_end();
  return read_user_file(token.store(), token.container_id(name), type, index, offset, length);
}

Json write_user_data(Token& token, const Json& request) {
  const ContainerName name = name_field(request, "ContainerName");
  const Bytes data = base64_field(request, "WriteData");
  const uint32_t type = number_field(request, "FileType");
  const uint32_t index = number_field(request, "FileIndex");
  const uint32_t offset = number_field(request, "Offset");
  const int64_t container = token.check_pin(name, pin_field(request, "Pin"));
  write_user_file(token.store(), container, type, index, offset, data);
  return nullptr;
}

Json count_seals(Token& token, const Json& request) {
  return {{"sealCount", seal_count(token.store(), token.container_id(name_field(request, "container")))}};
}

Json get_seal_item(Token& token, const Json& request) {
  const int64_t container = token.container_id(name_field(request, "container"));
  return base64_encode(seal_item(token.store(), container, number_field(request, "sealIdx"),
                                 number_field(request, "infoType")));
}

}  // namespace velm::token
