#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/random.h"
#include "softtoken/service/function_families.h"

namespace velm::token {
namespace {

constexpr uint32_t kMaxRandom = 16 * 1024 * 1024;
constexpr uint32_t kIdleLogoutSetting = 1;

}  // namespace

SecretText get_version(Token&, JsonRequest&) { return json_success({{"Version", VELM_TOKEN_VERSION}}); }

SecretText gen_random(Token&, JsonRequest& request) {
  const uint32_t count = request.number("Len");
  if (count > kMaxRandom) throw TokenError(kBadLength);
  return json_success_base64("RandomData", random_bytes(count));
}

SecretText acknowledge(Token&, JsonRequest&) { return json_success(); }

// The only setting: minutes after which an unused session is closed, 0 for as late as the operator allows.
SecretText configure(Token& token, FrameReader& request) {
  const uint32_t setting = request.number();
  FrameReader value(request.bytes());
  request.expect_end();
  if (setting != kIdleLogoutSetting) throw TokenError(kParameterUnsupported);
  const uint32_t minutes = value.number();
  value.expect_end();
  token.set_idle_limit(std::chrono::minutes(minutes));
  return frame_success({});
}

}  // namespace velm::token
