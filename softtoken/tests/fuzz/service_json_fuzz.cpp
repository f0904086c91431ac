// Fuzzes JSON request bodies of applications and of provider modules.
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  const std::string_view body(reinterpret_cast<const char*>(data), size);
  for (const auto answer : {answer_json, answer_module}) {
    token.begin_input();
    fuzz::check_json(answer(token.service(), body));
  }
  return 0;
}
