// JSON answers of the local service, read as the library does: each member of the result by name, each
// element, each text and number.
#include "velm_sof_client/service_answer.h"

#include <cstring>
#include <string>

#include "tests/fuzz/fuzz_target.h"

using namespace velm;
using fuzz::expect;

namespace {

constexpr uint32_t kNoCode = 0x0B000001;
constexpr const char* kMembers[] = {"Version", "UserCert", "RetryCount", "Info",      "DeviceInfo",
                                    "Sign",    "SignData", "RandomData", "sealCount", "missing"};
constexpr int kElements = 64;

void read(const AnswerValue& value, size_t limit) {
  expect(std::strlen(value.text()) <= limit, "a text is not longer than the answer");
  value.integer();
  expect(value.size() >= 0, "a size is not negative");
  for (int i = -1; i <= value.size() && i < kElements; ++i) {
    const AnswerValue element = value.element(i);
    if (i < 0 || i >= value.size()) expect(!element.exists(), "no element outside the array");
    expect(std::strlen(element.text()) <= limit, "an element is not longer than the answer");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const ServiceAnswer answer(text.c_str());
  const uint32_t code = answer.error_code(kNoCode);
  const AnswerValue result = answer.result();
  if (!answer.is_json()) expect(code == kNoCode && !result.exists(), "nothing is read from what is no JSON");
  read(result, size);
  for (const char* name : kMembers) read(result.member(name), size);
  return 0;
}
