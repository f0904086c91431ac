// Detection of UTF-8, checked by properties that must hold for every text.
#include "basekit/basic/utf8_walk.h"

#include <string>

#include "tests/fuzz/fuzz_target.h"

using velm::xencoding_is_utf8;
using velm::fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const bool utf8 = xencoding_is_utf8(text.data(), size);

  bool ascii = true;
  bool two_bytes = false;
  for (const char c : text) {
    const auto byte = static_cast<uint8_t>(c);
    ascii = ascii && byte < 0x80;
    two_bytes = two_bytes || (byte >= 0xC0 && byte < 0xE0);
  }
  if (ascii) expect(utf8, "ASCII is UTF-8");
  if (utf8) expect(xencoding_is_utf8(("a" + text).data(), size + 1), "a letter in front changes nothing");
  if (utf8 && two_bytes) {
    expect(!xencoding_is_utf8((text + "   ").data(), size + 3),
           "a lead of two bytes passes only where it is cut off");
  }
  const std::string character = "\xE6\x96\x87";
  expect(xencoding_is_utf8((character + text).data(), size + 3) == utf8,
         "a whole character in front changes nothing");
  return 0;
}
