#include <algorithm>

#include "protocol/endpoint.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

// Longest list that fits into the 2,048-byte response buffer of clients.
constexpr size_t kMaxUserList = 2000;

// Device information by GM/T 0006 numbers.
struct DeviceItem {
  uint32_t number;
  const char* text;
};

constexpr DeviceItem kDeviceItems[] = {
    {0x201, "software token"},
    {0x202, "development and test"},
    {0x203, kDeviceName},
    {0x204, "VELM"},
    {0x205, "none"},
    {0x206, VELM_TOKEN_VERSION},
    {0x207, "GM/T 0020"},
    {0x208, "SOFTTOKEN-0001"},
    {0x209, "SM2,RSA-1024,RSA-2048"},
    {0x20A, "SM4-CBC"},
    {0x20B, "SM3,SHA-1,SHA-256"},
    {0x20C, "unlimited"},
    {0x20D, "unlimited"},
    {0x210, protocol::kServiceHost},
    {0x211, "keys in a file; for development and tests only"},
};

}  // namespace

SecretText get_user_list(Token& token, JsonRequest&) {
  const Json names = token.container_names();
  if (names.dump().size() > kMaxUserList) throw TokenError(kBufferTooSmall);
  return json_success(names);
}

SecretText get_device_info(Token& token, JsonRequest& request) {
  const uint32_t number = request.number("Type");
  token.container_id(request.container_name("ContainerName"));
  const auto* found = std::ranges::find(kDeviceItems, number, &DeviceItem::number);
  if (found == std::end(kDeviceItems)) throw TokenError(kParameterUnsupported);
  return json_success({{"DeviceInfo", found->text}});
}

}  // namespace velm::token
