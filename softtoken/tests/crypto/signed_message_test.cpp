// Signed messages as other programs make them: with attributes, several certificates, several signers.
#include "softtoken/crypto/signed_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "softtoken/crypto/authority.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

class SignedMessages : public testing::TestWithParam<KeyKind> {
 protected:
  Certificate certify(EVP_PKEY* subject_key) const {
    const time_t now = std::time(nullptr);
    return issue_certificate(authority, subject_key, {"Somebody", Usage::signing, now - kDay, now + kDay});
  }
  Bytes message(bool attributes, bool detached) const {
    return encode_signed_message(
        {.signer = certificate.get(),
         .digest = digest,
         .content = data,
         .detached = detached,
         .attributes = attributes},
        [&](ByteView signed_data) { return sign_data(key.get(), digest, signed_data); });
  }
  /** A message whose parts `change` has changed. */
  template <typename Change>
  Bytes changed_message(Change change) const {
    const Bytes inner = unwrap_content(message(false, false), types.signed_data, types.signed_data);
    const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
    change(parsed.get());
    return wrap_content<const PKCS7_SIGNED>(types.signed_data, i2d_PKCS7_SIGNED, parsed.get());
  }

  const MessageTypes& types = types_for(GetParam());
  Authority authority = make_authority(GetParam());
  Key key = generate_key(GetParam(), 2048);
  Certificate certificate = certify(key.get());
  const DigestId digest = digest_for(key.get());
  const Bytes data = copy_of(as_bytes("some data"));
};

INSTANTIATE_TEST_SUITE_P(All, SignedMessages, testing::Values(KeyKind::sm2, KeyKind::rsa),
                         [](const auto& test) { return test.param == KeyKind::sm2 ? "sm2" : "rsa"; });

TEST_P(SignedMessages, AttributesAreBoundToTheContent) {
  for (const bool detached : {false, true}) {
    const Bytes signed_message = message(true, detached);
    const SignedMessage parsed = parse_signed_message(signed_message);
    EXPECT_FALSE(parsed.signed_attributes.empty());
    EXPECT_EQ(parsed.attribute_digest, hash(digest, data));
    verify_signed_message(signed_message, data);
    EXPECT_EQ(code_of([&] { verify_signed_message(signed_message, as_bytes("some datA")); }), kVerifyFailed);
    if (detached) {
      EXPECT_EQ(code_of([&] { verify_signed_message(signed_message, {}); }), kVerifyFailed);
    }
  }
}

TEST_P(SignedMessages, TheContentCannotBeExchanged) {
  for (const bool attributes : {false, true}) {
    Bytes exchanged = message(attributes, false);
    const auto found = std::ranges::search(exchanged, data);
    ASSERT_FALSE(found.empty());
    found.front() ^= 1;
    EXPECT_EQ(code_of([&] { verify_signed_message(exchanged, {}); }), kVerifyFailed) << attributes;
  }
}

TEST_P(SignedMessages, TheSignerIsFoundAmongSeveralCertificates) {
  const Certificate other = certify(generate_key(GetParam(), 2048).get());
  for (const int place : {0, 1}) {
    const Bytes several = changed_message([&](PKCS7_SIGNED* parsed) {
      X509_up_ref(other.get());
      EXPECT_EQ(sk_X509_insert(parsed->cert, other.get(), place), 2);
    });
    EXPECT_EQ(certificate_der(parse_signed_message(several).signer.get()),
              certificate_der(certificate.get()));
    verify_signed_message(several, data);
  }
  const Bytes without = changed_message([&](PKCS7_SIGNED* parsed) {
    X509_free(sk_X509_pop(parsed->cert));
    X509_up_ref(other.get());
    EXPECT_EQ(sk_X509_push(parsed->cert, other.get()), 1);
  });
  EXPECT_EQ(code_of([&] { verify_signed_message(without, data); }), kCertificateNotFound);
}

TEST_P(SignedMessages, OneSignerIsExpected) {
  const Bytes two = changed_message([&](PKCS7_SIGNED* parsed) {
    PKCS7_SIGNER_INFO* first = sk_PKCS7_SIGNER_INFO_value(parsed->signer_info, 0);
    const Bytes der = der_of<const PKCS7_SIGNER_INFO>(i2d_PKCS7_SIGNER_INFO, first);
    const uint8_t* at = der.data();
    auto* second = d2i_PKCS7_SIGNER_INFO(nullptr, &at, static_cast<long>(der.size()));
    EXPECT_EQ(sk_PKCS7_SIGNER_INFO_push(parsed->signer_info, second), 2);
  });
  const Bytes none = changed_message(
      [](PKCS7_SIGNED* parsed) { PKCS7_SIGNER_INFO_free(sk_PKCS7_SIGNER_INFO_pop(parsed->signer_info)); });
  for (const Bytes& message : {two, none})
    EXPECT_EQ(code_of([&] { verify_signed_message(message, data); }), kPkcs7Format);
}

TEST_P(SignedMessages, NothingFollowsAMessage) {
  for (const bool detached : {false, true}) {
    Bytes longer = message(false, detached);
    longer.push_back(0);
    EXPECT_EQ(code_of([&] { verify_signed_message(longer, data); }), kPkcs7Format);
  }
}

}  // namespace
}  // namespace velm::token
