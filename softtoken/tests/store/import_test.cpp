// Imports of keys and certificates.
#include <gtest/gtest.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

const Bytes kPin(8, 'p');

class Import : public testing::Test {
 protected:
  TemporaryStore store;
  Token token{store.file()};
};

Certificate certificate_for(Store& store, EVP_PKEY* key) {
  const time_t now = std::time(nullptr);
  return issue_certificate(store.authority(KeyKind::rsa), key,
                           {"Somebody", Usage::signing, now - kDay, now + kDay});
}

TEST_F(Import, AKeyThatIsNotThatOfItsCertificateIsRefused) {
  const auto kinds = {KeyKind::sm2, KeyKind::rsa};
  for (const KeyKind kind : kinds) {
    for (const KeyKind certified_kind : kinds) {
      Credential credential{generate_key(kind, 1024), nullptr};
      const Key certified = generate_key(certified_kind, 1024);
      credential.certificate = certificate_for(token.store(), certified.get());
      EXPECT_EQ(code_of([&] { token.import_container("OTHER", credential, kPin); }), kKeyMismatch);
      EXPECT_TRUE(token.container_names().empty());
    }
  }
}

TEST_F(Import, TheKeyOfACertificateSignsAndDecrypts) {
  for (const KeyKind kind : {KeyKind::sm2, KeyKind::rsa}) {
    const std::string name = kind == KeyKind::sm2 ? "SM2" : "RSA";
    Credential credential{generate_key(kind, 1024), nullptr};
    credential.certificate = certificate_for(token.store(), credential.key.get());
    token.import_container(name, credential, kPin);
    token.login(name, kPin);
    const auto session = token.session(name);
    EXPECT_EQ(EVP_PKEY_eq(session->signing_key.get(), credential.key.get()), 1);
    EXPECT_EQ(EVP_PKEY_eq(session->encryption_key.get(), credential.key.get()), 1);
    EXPECT_EQ(X509_cmp(session->encryption_certificate.get(), credential.certificate.get()), 0);
    EXPECT_EQ(X509_cmp(session->signing_certificate.get(), credential.certificate.get()), 0);
  }
}

// A certificate made longer than usual by a comment of `length` characters.
Certificate certificate_with_comment(Store& store, EVP_PKEY* key, size_t length) {
  const Authority authority = store.authority(KeyKind::rsa);
  const time_t now = std::time(nullptr);
  Certificate certificate =
      issue_certificate(authority, key, {"Somebody", Usage::signing, now - kDay, now + kDay});
  const std::string comment(length, 'c');
  const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
      X509V3_EXT_conf_nid(nullptr, nullptr, NID_netscape_comment, comment.c_str()));
  EXPECT_EQ(X509_add_ext(certificate.get(), extension.get(), -1), 1);
  EXPECT_GT(X509_sign(certificate.get(), authority.key.get(), EVP_sha256()), 0);
  return certificate;
}

TEST_F(Import, ACertificateTooLongForClientsIsNotImported) {
  Key key = generate_rsa_key(1024);
  const size_t usual = certificate_der(certificate_with_comment(token.store(), key.get(), 1000).get()).size();
  Credential longest{std::move(key), nullptr};
  longest.certificate = certificate_with_comment(token.store(), longest.key.get(), 1000 + 2048 - usual);
  token.import_container("LONGEST", longest, kPin);
  EXPECT_EQ(token.container("LONGEST").signing_certificate.size(), 2048u);
  longest.certificate = certificate_with_comment(token.store(), longest.key.get(), 1000 + 2049 - usual);
  EXPECT_EQ(code_of([&] { token.import_container("TOO_LONG", longest, kPin); }), kBadLength);
}

TEST_F(Import, AnRsaKeyTooLongForClientsIsNotImported) {
  // RSAPublicKey: a modulus of 4,104 bits and 65537. The key is rejected before use, so the modulus needs no
  // prime factors.
  Bytes public_key = from_hex("3082020B0282020200");
  public_key.resize(public_key.size() + 513, 0x81);
  for (const uint8_t byte : from_hex("0203010001")) public_key.push_back(byte);
  Credential credential{public_key_from(public_key), nullptr};
  ASSERT_EQ(bits_of(credential.key.get()), 4104u);
  credential.certificate = certificate_with_comment(token.store(), credential.key.get(), 1);
  EXPECT_EQ(code_of([&] { token.import_container("TOO_LONG", credential, kPin); }), kBadLength);
}

}  // namespace
}  // namespace velm::token
