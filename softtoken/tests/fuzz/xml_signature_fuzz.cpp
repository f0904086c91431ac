// Fuzzes signed XML. The keys that signed the seeds are not available, so any document that verifies must
// have the content of one of the seeds.
#include "softtoken/providers/saf/xml_signature.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/samples.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

std::vector<Bytes> signed_contents() {
  std::vector<Bytes> contents;
  for (const auto& seed : std::filesystem::directory_iterator(VELM_FUZZ_SIGNED_XML)) {
    const Bytes document = file_bytes(seed.path().string());
    if (saf_call([&] { verify_xml_signature(document); }) == kSafSuccess)
      contents.push_back(read_xml_signature(document).original);
  }
  expect(!contents.empty(), "there are signed seeds");
  return contents;
}

// Calls the exported parser with outputs of exactly the sizes that a size query returns.
void check_parser(ByteView document) {
  uint32_t sizes[6] = {};
  const auto parse = [&](const std::array<uint8_t*, 6>& outputs) {
    return SAF_Ext_XMLParse(nullptr, 0, document.data(), static_cast<uint32_t>(document.size()), outputs[0],
                            &sizes[0], outputs[1], &sizes[1], outputs[2], &sizes[2], outputs[3], &sizes[3],
                            outputs[4], &sizes[4], outputs[5], &sizes[5]);
  };
  const uint32_t code = parse({});
  expect(code != kSafUnknownError, "a known result code");
  if (code != kSafSuccess) return;
  Bytes items[6];
  std::array<uint8_t*, 6> outputs;
  for (size_t i = 0; i < outputs.size(); ++i) {
    items[i].resize(sizes[i]);
    outputs[i] = items[i].data();
  }
  expect(parse(outputs) == kSafSuccess, "outputs of the queried sizes suffice");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<Bytes> contents = signed_contents();
  const ByteView document(data, size);
  check_parser(document);
  const uint32_t code = saf_call([&] { verify_xml_signature(document); });
  expect(code != kSafUnknownError, "a known result code");
  if (code != kSafSuccess) return 0;
  const XmlSignatureItems items = read_xml_signature(document);
  expect(std::ranges::find(contents, items.original) != contents.end(), "only signed content verifies");
  return 0;
}
