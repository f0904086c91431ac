// Fuzzes headers of DER elements.
#include "softtoken/crypto/der_element.h"

#include <algorithm>

#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

std::optional<DerHeader> read(ByteView bytes, size_t& used) {
  used = 0;
  return read_der_header([&]() -> std::optional<uint8_t> {
    if (used == bytes.size()) return std::nullopt;
    return bytes[used++];
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const ByteView input(data, size);
  size_t used = 0;
  const auto header = read(input, used);
  if (!header) return 0;
  const Bytes written = der_header(*header);
  expect(written.size() <= used, "a header is written in the shortest form");
  size_t used_again = 0;
  const auto again = read(written, used_again);
  expect(
      again && again->tag == header->tag && again->length == header->length && used_again == written.size(),
      "a header reads back as it was written");
  if (written.size() == used)
    expect(std::ranges::equal(written, input.first(used)), "one header has one shortest form");
  return 0;
}
