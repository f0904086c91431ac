#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/random.h"
#include "softtoken/service/function_families.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {
namespace {

constexpr uint32_t kMaxRandom = 16 * 1024 * 1024;
constexpr uint32_t kIdleLogoutSetting = 1;

}  // namespace

Json get_version(Token&, const Json&) { return {{"Version", VELM_TOKEN_VERSION}}; }

Json gen_random(Token&, const Json& request) {
  const uint32_t count = number_field(request, "Len");
  if (count > kMaxRandom) throw TokenError(kBadLength);
  return {{"RandomData", base64_encode(random_bytes(count))}};
}

Json acknowledge(Token&, const Json&) { return nullptr; }

// The only setting: minutes after which an unused session is closed, 0 for never.
Bytes configure(Token& token, FrameReader& request) {
  const uint32_t setting = request.number();
  FrameReader value(request.bytes());
  request.expect_end();
  if (setting != kIdleLogoutSetting) throw TokenError(kParameterUnsupported);
  const uint32_t minutes = value.number();
  value.expect_end();
  token.set_idle_limit(std::chrono::minutes(minutes));
  return {};
}

}  // namespace velm::token
