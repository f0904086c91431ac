// Fuzzes certificates and the public keys accepted in their place.
#include "softtoken/crypto/certificate.h"

#include "softtoken/crypto/authority.h"
#include "softtoken/tests/fuzz/credentials.h"
#include "softtoken/tests/store/temporary_store.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;
using velm::fuzz::expect;

namespace {

constexpr uint32_t kLastItem = 0x40;
constexpr const char* kOids[] = {"2.5.4.3", "2.5.29.14", "2.5.29.15", "1.2.840.113549.1.9.1", "1.2.3.4", "x"};

template <typename Read>
void expect_known(Read&& read) {
  expect(code_of(read) != kUnknownError, "a known result code");
}

void read_items(const X509* certificate) {
  for (uint32_t item = 0; item <= kLastItem; ++item) {
    expect_known([&] { certificate_item(certificate, item); });
  }
  for (const char* oid : kOids) {
    expect_known([&] { certificate_item_by_oid(certificate, oid); });
  }
}

void read_key(const Key& key) {
  const Bytes bytes = public_key_bytes(key.get());
  expect(public_key_bytes(public_key_from(bytes).get()) == bytes,
         "a public key reads back as it was written");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<Certificate> roots = [] {
    std::vector<Certificate> list;
    list.push_back(fuzz::sm2_credential().certificate);
    list.push_back(fuzz::rsa_credential().certificate);
    return list;
  }();
  const ByteView input(data, size);
  expect_known([&] {
    const Certificate certificate = parse_certificate(input);
    const Bytes der = certificate_der(certificate.get());
    expect(certificate_der(parse_certificate(der).get()) == der,
           "a certificate reads back as it was written");
    read_items(certificate.get());
    expect_known([&] { validate_chain(certificate.get(), roots); });
    expect_known([&] { read_key(key_of(certificate.get())); });
  });
  expect_known([&] { read_key(public_key_from(input)); });
  return 0;
}
