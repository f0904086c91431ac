// Fuzzes JSON request bodies of applications and of provider modules.
#include <nlohmann/json.hpp>

#include "softtoken/service/received_text.h"
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // accept() ignores everything from the first NUL on.
  if (text.find('\0') == std::string_view::npos && nlohmann::json::accept(text))
    velm::fuzz::expect(std::string_view(utf8_json(text)) == text, "JSON in UTF-8 is unchanged");
  for (const auto answer : {answer_json, answer_module}) {
    token.begin_input();
    RequestBody body(text);
    fuzz::check_json(answer(token.service(), body));
  }
  return 0;
}
