// Fuzzes base64 and text encodings.
#include <algorithm>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/text_encoding.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ByteView input(data, size);
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto encoded = base64_decode(base64_encode(input));
  expect(encoded && std::ranges::equal(*encoded, input), "base64 round-trips");
  if (const auto bytes = base64_decode(text))
    expect(bytes->size() <= size / 4 * 3, "decoded base64 is shorter than its text");

  const std::string utf8 = utf8_of(text);
  expect(!is_utf8(text) || utf8 == text, "UTF-8 is unchanged");
  expect(is_utf8(utf8) || utf8 == text, "a text becomes UTF-8 or is unchanged");
  return 0;
}
