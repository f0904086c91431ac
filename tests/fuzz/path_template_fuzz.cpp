// Path templates. The input is a value for the placeholders, a zero byte, and the template. The value's first
// byte selects which placeholders have the value, are left unchanged, or are missing.
#include "basekit/basic/path_template.h"

#include "tests/fuzz/fuzz_target.h"

using namespace velm::path;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const size_t zero = input.find('\0');
  const std::string value(input.substr(0, zero));
  const std::string_view text = zero == std::string_view::npos ? std::string_view{} : input.substr(zero + 1);
  const unsigned choice = value.empty() ? 0 : static_cast<unsigned char>(value[0]);

  bool missing = false;
  unsigned randoms = 0;
  const ValueSource source{[&](Placeholder placeholder) {
                             switch ((static_cast<unsigned>(placeholder) + choice) % 8) {
                               case 6:
                                 return Value::leave_as_it_stands();
                               case 7:
                                 missing = true;
                                 return Value::missing();
                               default:
                                 return Value::of(value);
                             }
                           },
                           [&] { return randoms++; }};
  std::string result = "untouched";
  const int code = expand(text, result, source);
  expect(code == (missing ? kValueMissing : kOk), "only a missing value fails");
  if (missing) expect(result == "untouched", "a failure leaves the result");
  expect(result.size() < kResultArea, "the result fits its area");
  expect(randoms < kValueArea, "a random text fits its area");
  if (text.find('}') == std::string_view::npos && !missing) {
    expect(result == text.substr(0, kResultArea - 1), "a text without placeholders stays");
  }
  return 0;
}
