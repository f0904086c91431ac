// Certificates of the demo CA and what is read from certificates.
#include "softtoken/crypto/certificate.h"

#include <gtest/gtest.h>

#include <ctime>
#include <set>

#include <openssl/err.h>

#include "softtoken/crypto/authority.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/key_protection.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

class Certificates : public testing::Test {
 protected:
  Certificate certificate_with(const char* oid, const Bytes& value) const {
    Certificate certificate(X509_dup(usual.get()));
    OctetString data(ASN1_OCTET_STRING_new());
    set_bytes(data.get(), value);
    const Object type = object_of(oid);
    const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
        X509_EXTENSION_create_by_OBJ(nullptr, type.get(), 0, data.get()));
    EXPECT_EQ(X509_add_ext(certificate.get(), extension.get(), -1), 1);
    return certificate;
  }

  const time_t now = std::time(nullptr);
  Authority authority = make_authority(KeyKind::sm2);
  Key key = generate_sm2_key();
  CertificateOrder order{"Somebody", Usage::signing, now - kDay, now + kDay};
  Certificate usual = issue_certificate(authority, key.get(), order);
};

TEST_F(Certificates, ASerialNumberHasSixteenRandomBytes) {
  std::set<Bytes> found;
  for (int i = 0; i < 40; ++i) {
    const Bytes serial = serial_of(issue_certificate(authority, key.get(), order).get());
    EXPECT_EQ(serial.size(), 16u);
    EXPECT_TRUE(serial.front() >= 0x40 && serial.front() < 0x80) << unsigned{serial.front()};
    EXPECT_TRUE(found.insert(serial).second);
  }
}

TEST_F(Certificates, TheIssuerIsNotTheOwner) {
  const auto text = [&](uint32_t item) { return as_text(certificate_item(usual.get(), item)); };
  EXPECT_EQ(text(0x05), "C=CN, O=VELM Software Token, CN=Demo Root SM2");
  EXPECT_EQ(text(0x21), "Demo Root SM2");
  EXPECT_EQ(text(0x22), "VELM Software Token");
  EXPECT_EQ(code_of([&] { text(0x23); }), kOidNotFound);
  EXPECT_EQ(text(0x31), "Somebody");
  EXPECT_EQ(text(0x33), "Demo");
  EXPECT_EQ(text(0x06), text(0x35) + "-" + text(0x36));
  EXPECT_LT(text(0x35), text(0x36));
}

TEST_F(Certificates, AnExtensionIsATextOnlyIfItIsNothingElse) {
  const auto value_of = [&](const Bytes& value) {
    return certificate_item_by_oid(certificate_with("1.2.3.4", value).get(), "1.2.3.4");
  };
  EXPECT_EQ(value_of({0x0C, 2, 'a', 'b'}), (Bytes{'a', 'b'}));
  EXPECT_EQ(value_of({0x1E, 2, 0x4E, 0x2D}), copy_of(as_bytes("中")));
  for (const Bytes& other : {Bytes{0x0C, 2, 'a', 'b', 0}, Bytes{0x0C, 2, 'a', 'b', 0x0C, 0},
                             Bytes{0x0C, 3, 'a'}, Bytes{0x30, 3, 0x0C, 1, 'a'}, Bytes{0x04, 1, 'a'}, Bytes{}})
    EXPECT_EQ(value_of(other), other);
}

TEST_F(Certificates, NothingFollowsACertificate) {
  Bytes der = certificate_der(usual.get());
  EXPECT_EQ(certificate_der(parse_certificate(der).get()), der);
  der.push_back(0);
  EXPECT_EQ(code_of([&] { parse_certificate(der); }), kCertificateFormat);
  EXPECT_EQ(code_of([&] { parse_certificate(ByteView(der).first(der.size() - 2)); }), kCertificateFormat);
}

TEST_F(Certificates, TheDigestOfAKeyDependsOnItsLength) {
  EXPECT_EQ(digest_for(key.get()), DigestId::sm3);
  for (const auto& [bits, digest] : {std::pair(1016u, DigestId::sha1),
                                     {1024u, DigestId::sha1},
                                     {1032u, DigestId::sha256},
                                     {2048u, DigestId::sha256}})
    EXPECT_EQ(digest_for(generate_rsa_key(bits).get()), digest) << bits;
}

TEST_F(Certificates, AFailedCallLeavesNoErrorOfOpenSsl) {
  const std::function<void()> calls[] = {
      [&] { parse_certificate(as_bytes("no certificate")); },
      [&] { public_key_from(as_bytes("no key")); },
      [&] { private_key_from_der(as_bytes("no key")); },
      [&] { certificate_item_by_oid(usual.get(), "no oid"); },
      [&] { verify_data(key.get(), DigestId::sm3, as_bytes("data"), as_bytes("no signature")); },
      [&] { unwrap(Bytes(32, 1), "purpose", Bytes(40, 1)); },
  };
  for (const auto& call : calls) {
    EXPECT_NE(code_of(call), kSuccess);
    EXPECT_EQ(ERR_peek_error(), 0u) << &call - calls;
    ERR_clear_error();
  }
}

TEST(KeyWrapping, NoTwoBlocksShareANonce) {
  const Bytes key(32, 1);
  std::set<Bytes> nonces;
  for (int i = 0; i < 50; ++i) {
    const Bytes block = wrap(key, "purpose", as_bytes("plain"));
    ASSERT_EQ(block.size(), 12u + 5 + 16);
    EXPECT_TRUE(nonces.insert({block.begin(), block.begin() + 12}).second);
  }
}

}  // namespace
}  // namespace velm::token
