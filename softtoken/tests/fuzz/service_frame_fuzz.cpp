// Fuzzes request bodies in byte frames.
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  token.begin_input();
  RequestBody body({reinterpret_cast<const char*>(data), size});
  fuzz::check_frame(answer_frame(token.service(), body));
  return 0;
}
