#include "softtoken/service/environment_functions.h"

#include "softtoken/core/base64.h"
#include "softtoken/core/system_random.h"
#include "softtoken/core/token_error.h"
#include "softtoken/service/json_fields.h"

namespace velm::token {
namespace {

constexpr uint32_t kMaxRandom = 16 * 1024 * 1024;

}  // namespace

nlohmann::json get_version(const nlohmann::json&) { return {{"Version", VELM_TOKEN_VERSION}}; }

nlohmann::json gen_random(const nlohmann::json& request) {
  const uint32_t count = number_field(request, "Len");
  if (count > kMaxRandom) throw TokenError(kBadLength);
  return {{"RandomData", base64_encode(system_random(count))}};
}

nlohmann::json greet(const nlohmann::json&) { return nullptr; }

}  // namespace velm::token
