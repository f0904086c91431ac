// Fuzzes the configuration file of the signature provider.
#include "softtoken/providers/saf/configuration.h"

#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const uint32_t code = saf_call([&] {
    const Configuration configuration = parse_configuration(text);
    expect(!configuration.service.host.empty() && !configuration.time_stamp.host.empty(),
           "an endpoint has a host");
    const auto is_local = [](const Endpoint& endpoint) {
      return endpoint.host == "127.0.0.1" || endpoint.host == "localhost";
    };
    expect(configuration.allow_remote_addresses ||
               (is_local(configuration.service) && is_local(configuration.time_stamp)),
           "another machine is named with consent only");
    expect(configuration.connect_timeout.count() >= 0 && configuration.answer_timeout.count() >= 0,
           "a time limit is not negative");
  });
  expect(code == kSafSuccess || code == kSafBadInput, "a configuration is accepted or rejected");
  return 0;
}
