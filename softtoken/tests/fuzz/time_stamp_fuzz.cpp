// Fuzzes time-stamp tokens and answers that an application may receive from any source.
#include "softtoken/providers/saf/time_stamp.h"

#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/fuzz/credentials.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Credential authority = fuzz::rsa_credential();
  const ByteView input(data, size);
  const auto expect_known = [](auto&& body) {
    expect(saf_call(body) != kSafUnknownError, "a known result code");
  };
  expect_known([&] {
    const TimeStamp stamp(input);
    expect_known([&] { stamp.time(); });
    expect_known(
        [&] { stamp.verify(authority.certificate.get(), [](DigestId id) { return hash(id, {}); }); });
  });
  expect_known([&] { TimeStampQuery(DigestId::sha256, Bytes(32)).check(input); });
  return 0;
}
