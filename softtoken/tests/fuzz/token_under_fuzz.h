#pragma once

#include <optional>

#include "softtoken/service/dispatch.h"

namespace velm::token::fuzz {

/** The PIN of every container under fuzz: long enough that no input holds it by chance. */
constexpr std::string_view kPin = "4f9c-pin-of-the-fuzzers-71e8";

/** The type of labels that hold a certificate. */
constexpr uint32_t kCertificateLabel = 7;

/** Containers with fixed credentials, which are logged in, and one that the store's own authority certified.
 */
constexpr const char* kSm2Container = "SM2";
constexpr const char* kRsaContainer = "RSA";
constexpr const char* kOwnContainer = "OWN";

/** A service whose store lies in memory and begins every input in the same state. */
class TokenUnderFuzz {
 public:
  TokenUnderFuzz();

  /** Everybody logged in and nothing stored but what was in the beginning. */
  void begin_input();

  Service& service() { return *service_; }
  Bytes certificate(const std::string& container) {
    return service_->token.container(container).signing_certificate;
  }

 private:
  void restore();

  std::optional<Service> service_;
  Bytes image_;
  int64_t changes_ = 0;
};

/** What the service may answer; the program ends where an answer is anything else. */
struct JsonResult {
  uint32_t code;
  /** The result, or the first text in it, when it is one. */
  std::string text;
};
JsonResult check_json(const Answer& answer);
struct FrameResult {
  uint32_t code;
  Bytes data;
};
FrameResult check_frame(const Answer& answer);
/** Neither as it stands nor in base64 does an answer hold a secret. */
void expect_without(std::string_view secret, const Answer& answer);

}  // namespace velm::token::fuzz
