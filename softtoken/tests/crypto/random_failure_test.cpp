// A random generator that fails: nothing is made with bytes that are not random.
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <functional>

#include <openssl/rand.h>

#include "softtoken/crypto/authority.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/key_protection.h"
#include "softtoken/crypto/random.h"
#include "softtoken/tests/store/temporary_store.h"

namespace {

// What the generator returns instead of bytes; 1 is success.
int g_result = 1;

}  // namespace

extern "C" {

decltype(RAND_bytes_ex) __real_RAND_bytes_ex;

// The linker substitutes this for OpenSSL's function.
int __wrap_RAND_bytes_ex(OSSL_LIB_CTX* context, unsigned char* bytes, size_t size, unsigned strength) {
  return g_result == 1 ? __real_RAND_bytes_ex(context, bytes, size, strength) : g_result;
}

}  // extern "C"

namespace velm::token {
namespace {

TEST(RandomFailure, FailsEveryCallThatNeedsRandomBytes) {
  const Authority authority = make_authority(KeyKind::sm2);
  const time_t now = std::time(nullptr);
  const CertificateOrder order{"X", Usage::encryption, now - kDay, now + kDay};
  const Certificate recipient = issue_certificate(authority, authority.key.get(), order);
  const std::pair<const char*, std::function<void()>> calls[] = {
      {"random_bytes", [] { random_bytes(16); }},
      {"wrap", [] { wrap(Bytes(32, 1), "purpose", as_bytes("plain")); }},
      {"make_envelope", [&] { make_envelope(recipient.get(), as_bytes("plain")); }},
      {"issue_certificate", [&] { issue_certificate(authority, authority.key.get(), order); }},
  };
  for (const int result : {0, -1}) {
    for (const auto& [name, call] : calls) {
      g_result = result;
      const ErrorCode code = code_of(call);
      g_result = 1;
      EXPECT_EQ(code, kRandomFailed) << name << " " << result;
    }
  }
}

}  // namespace
}  // namespace velm::token
