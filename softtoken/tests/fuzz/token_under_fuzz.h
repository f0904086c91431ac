#pragma once

#include <optional>

#include "softtoken/service/dispatch.h"

namespace velm::token::fuzz {

/** The PIN of every container: long enough that no input contains it by chance. */
constexpr std::string_view kPin = "4f9c-pin-of-the-fuzzers-71e8";

/** Label type of certificates. */
constexpr uint32_t kCertificateLabel = 7;

/** Two containers with fixed credentials, and one certified by the store's own CA. All are logged in. */
constexpr const char* kSm2Container = "SM2";
constexpr const char* kRsaContainer = "RSA";
constexpr const char* kOwnContainer = "OWN";

/** A service with an in-memory store, which has the same state at the start of every input. */
class TokenUnderFuzz {
 public:
  TokenUnderFuzz();

  /** Logs in to all containers and restores the initial contents of the store. */
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

/** Result of a valid JSON answer. check_json() and check_frame() end the program for any other answer. */
struct JsonResult {
  uint32_t code;
  /** The result if it is a text, otherwise the first text in it. */
  std::string text;
};
JsonResult check_json(const Answer& answer);
struct FrameResult {
  uint32_t code;
  Bytes data;
};
FrameResult check_frame(const Answer& answer);
/** Checks that an answer does not contain a secret, neither verbatim nor in base64. */
void expect_without(std::string_view secret, const Answer& answer);

}  // namespace velm::token::fuzz
