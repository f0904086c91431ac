// Fuzzes request bodies in byte frames.
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  token.begin_input();
  fuzz::check_frame(answer_frame(token.service(), {reinterpret_cast<const char*>(data), size}));
  return 0;
}
