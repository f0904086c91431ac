#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include <openssl/bn.h>
#include <openssl/core_names.h>

#include "softtoken/crypto/asymmetric.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/content_info.h"
#include "softtoken/crypto/envelope.h"
#include "softtoken/crypto/key_protection.h"
#include "softtoken/crypto/signed_data.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/crypto/text_encoding.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

// The key pair of the examples in GB/T 32918.5.
constexpr std::string_view kExamplePoint =
    "0409F9DF311E5421A150DD7D161E4BC5C672179FAD1833FC076BB08FF356F35020"
    "CCEA490CE26775A52DC6EA718CC1AA600AED05FBF35E084A6632F6072DA9AD13";
constexpr std::string_view kExampleScalar =
    "3945208F7B2144B13F36E38AC6D39F95889393692860B51A42FB81EF4DF7C5B8";

// The private key in PKCS#8.
Key example_private_key() {
  return private_key_from_der(
      from_hex(std::string("308187020100301306072A8648CE3D020106082A811CCF5501822D046D306B0201010420") +
               std::string(kExampleScalar) + "A144034200" + std::string(kExamplePoint)));
}

TEST(KnownAnswers, Sm3) {
  EXPECT_EQ(hash(DigestId::sm3, as_bytes("abc")),
            from_hex("66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0"));
  std::string long_text;
  for (int i = 0; i < 16; ++i) long_text += "abcd";
  EXPECT_EQ(hash(DigestId::sm3, as_bytes(long_text)),
            from_hex("DEBE9FF92275B8A138604889C18E5A4D6FDB70E5387E5765293DCBA39C0C5732"));
}

TEST(KnownAnswers, Sm4) {
  const Bytes block = from_hex("0123456789ABCDEFFEDCBA9876543210");
  const CipherContext context(EVP_CIPHER_CTX_new());
  Bytes out(32);
  int length = 0;
  ASSERT_EQ(EVP_EncryptInit_ex(context.get(), EVP_sm4_ecb(), nullptr, block.data(), nullptr), 1);
  ASSERT_EQ(EVP_EncryptUpdate(context.get(), out.data(), &length, block.data(), 16), 1);
  out.resize(16);
  EXPECT_EQ(out, from_hex("681EDF34D206965E86B3E94F536E4246"));
}

TEST(KnownAnswers, Sm2Signature) {
  const Key key = public_key_from(from_hex(kExamplePoint));
  const Bytes signature = from_hex(
      "3046022100F5A03B0648D2C4630EEAC513E1BB81A15944DA3827D5B74143AC7EACEEE720B3"
      "022100B1B6AA29DF212FD8763182BC0D421CA1BB9038FD1F7F42D4840B69C485BBC1AA");
  verify_data(key.get(), DigestId::sm3, as_bytes("message digest"), signature);
  verify_hash(key.get(), DigestId::sm3,
              from_hex("F0B43E94BA45ACCAACE692ED534382EB17E6AB5A19CE7B31F4486FDFC0D28640"), signature);
  EXPECT_EQ(code_of([&] { verify_data(key.get(), DigestId::sm3, as_bytes("message digesT"), signature); }),
            kVerifyFailed);
}

TEST(KnownAnswers, Sm2Decryption) {
  const Bytes cipher = from_hex(
      "307C022004EBFC718E8D1798620432268E77FEB6415E2EDE0E073C0F4F640ECD2E149A73"
      "022100E858F9D81E5430A57B36DAAB8F950A3C64E6EE6A63094D99283AFF767E124DF0"
      "042059983C18F809E262923C53AEC295D30383B54E39D609D160AFCB1908D0BD8766"
      "041321886CA989CA9C7D58087307CA93092D651EFA");
  EXPECT_EQ(as_text(decrypt_with_key(example_private_key().get(), cipher)), "encryption standard");
}

struct Kind {
  const char* name;
  KeyKind kind;
  unsigned bits;
};

class EveryKey : public testing::TestWithParam<Kind> {
 protected:
  static Key make() { return generate_key(GetParam().kind, GetParam().bits); }
  Certificate certify(EVP_PKEY* subject_key, Usage usage = Usage::signing) const {
    const time_t now = std::time(nullptr);
    return issue_certificate(authority, subject_key, {"Somebody 某人", usage, now - kDay, now + kDay});
  }

  Authority authority = make_authority(GetParam().kind);
  Key key = make();
  Certificate certificate = certify(key.get());
  const Bytes data = copy_of(as_bytes("some data"));
};

INSTANTIATE_TEST_SUITE_P(All, EveryKey,
                         testing::Values(Kind{"sm2", KeyKind::sm2, 256}, Kind{"rsa2048", KeyKind::rsa, 2048},
                                         Kind{"rsa1024", KeyKind::rsa, 1024}),
                         [](const auto& test) { return test.param.name; });

TEST_P(EveryKey, SurvivesItsEncodings) {
  const Bytes bytes = public_key_bytes(key.get());
  EXPECT_EQ(bytes.size(), GetParam().kind == KeyKind::sm2 ? 65u : GetParam().bits == 2048 ? 270u : 140u);
  const Bytes info = der_of<const EVP_PKEY>(i2d_PUBKEY, key.get());
  for (const Bytes& form : {bytes, info, certificate_der(certificate.get())}) {
    EXPECT_EQ(EVP_PKEY_eq(public_key_from(form).get(), key.get()), 1);
    Bytes longer = form;
    longer.push_back(0);
    EXPECT_EQ(code_of([&] { public_key_from(longer); }), kBadInput);
  }
  EXPECT_EQ(EVP_PKEY_eq(private_key_from_der(private_key_der(key.get())).get(), key.get()), 1);
}

TEST_P(EveryKey, SignsDataAndHashes) {
  const DigestId digest = digest_for(key.get());
  const Bytes signature = sign_data(key.get(), digest, data);
  verify_data(key.get(), digest, data, signature);
  for (size_t i = 0; i < signature.size(); ++i) {
    Bytes changed = signature;
    changed[i] ^= 1;
    EXPECT_EQ(code_of([&] { verify_data(key.get(), digest, data, changed); }), kVerifyFailed) << i;
  }
  const Bytes value = hash(digest, data);
  const Bytes over_hash = sign_hash(key.get(), digest, value);
  verify_hash(key.get(), digest, value, over_hash);
  EXPECT_EQ(code_of([&] { sign_hash(key.get(), digest, ByteView(value).first(19)); }), kBadLength);
  const DigestId other = digest == DigestId::sm3 ? DigestId::sha256 : DigestId::sm3;
  EXPECT_EQ(code_of([&] { sign_data(key.get(), other, data); }), kAlgorithmUnsupported);
}

TEST_P(EveryKey, EncryptsAndDecrypts) {
  const Bytes cipher = encrypt_with_key(key.get(), data);
  EXPECT_EQ(as_text(decrypt_with_key(key.get(), cipher)), as_text(data));
}

TEST_P(EveryKey, MakesAttachedAndDetachedMessages) {
  const Bytes attached = make_signed_message(key.get(), certificate.get(), data, false);
  const Bytes detached = make_signed_message(key.get(), certificate.get(), data, true);
  verify_signed_message(attached, {});
  verify_signed_message(attached, data);
  verify_signed_message(detached, data);
  EXPECT_EQ(code_of([&] { verify_signed_message(attached, as_bytes("other")); }), kVerifyFailed);
  EXPECT_EQ(code_of([&] { verify_signed_message(detached, as_bytes("other")); }), kVerifyFailed);
  const SignedMessage parsed = parse_signed_message(attached);
  EXPECT_EQ(parsed.content, data);
  EXPECT_EQ(certificate_der(parsed.signer.get()), certificate_der(certificate.get()));
  verify_data(key.get(), digest_for(key.get()), data, parsed.signature);
  EXPECT_EQ(parse_signed_message(detached).content, std::nullopt);
}

TEST_P(EveryKey, MakesNoMessageWithTheCertificateOfAnotherKey) {
  const Key other = make();
  for (const bool detached : {false, true}) {
    EXPECT_EQ(code_of([&] { make_signed_message(other.get(), certificate.get(), data, detached); }),
              kKeyMismatch);
  }
}

TEST_P(EveryKey, NoChangedByteOfAMessageStillVerifiesOtherContent) {
  const Bytes message = make_signed_message(key.get(), certificate.get(), data, true);
  for (size_t i = 0; i < message.size(); i += 3) {
    Bytes changed = message;
    changed[i] ^= 0x55;
    EXPECT_NE(code_of([&] { verify_signed_message(changed, as_bytes("other")); }), kSuccess) << i;
    Bytes cut = message;
    cut.resize(i);
    EXPECT_EQ(code_of([&] { verify_signed_message(cut, data); }), kPkcs7Format) << i;
  }
}

TEST_P(EveryKey, OpensItsEnvelopesAlone) {
  const Key stranger = make();
  const Certificate recipient = certify(key.get(), Usage::encryption);
  const Certificate strangers = certify(stranger.get(), Usage::encryption);
  const Opener own[] = {{recipient.get(), key.get()}};
  const Opener other[] = {{strangers.get(), stranger.get()}};
  const Opener wrong_key[] = {{recipient.get(), stranger.get()}};
  for (const size_t size : {0u, 1u, 15u, 16u, 100000u}) {
    const Bytes plain(size, 'p');
    const Bytes envelope = make_envelope(recipient.get(), plain);
    EXPECT_EQ(as_text(open_envelope(own, envelope)), as_text(plain));
    EXPECT_EQ(code_of([&] { open_envelope(other, envelope); }), kKeyMismatch);
    // Implicit rejection: a wrong RSA key may still yield a session key, so that decryption occasionally
    // succeeds with other content.
    Bytes opened;
    EXPECT_THAT(code_of([&] { opened = copy_of(open_envelope(wrong_key, envelope)); }),
                testing::AnyOf(kEnvelopeOpenFailed, kSuccess));
    if (size > 0) {
      EXPECT_NE(opened, plain);
    }
  }
}

// GM/T 0015 gives a user a signing certificate and an encryption certificate. Data encrypted with the wrong
// one may be lost: signing keys have no backup.
TEST_P(EveryKey, EncryptsOnlyForACertificateThatMayEncrypt) {
  const Certificate recipient = certify(key.get(), Usage::encryption);
  const auto envelope_for = [&](const char* usage) {
    const Certificate limited(X509_dup(recipient.get()));
    const int at = X509_get_ext_by_NID(limited.get(), NID_key_usage, -1);
    X509_EXTENSION_free(X509_delete_ext(limited.get(), at));
    if (usage != nullptr) {
      const Handle<X509_EXTENSION, X509_EXTENSION_free> extension(
          X509V3_EXT_conf_nid(nullptr, nullptr, NID_key_usage, usage));
      EXPECT_EQ(X509_add_ext(limited.get(), extension.get(), -1), 1);
    }
    return code_of([&] { make_envelope(limited.get(), data); });
  };
  const ErrorCode sm2_only = GetParam().kind == KeyKind::sm2 ? kSuccess : kKeyUsage;
  EXPECT_EQ(envelope_for(nullptr), kSuccess);
  EXPECT_EQ(envelope_for("keyEncipherment"), kSuccess);
  EXPECT_EQ(envelope_for("digitalSignature,keyEncipherment"), kSuccess);
  EXPECT_EQ(envelope_for("dataEncipherment"), sm2_only);
  EXPECT_EQ(envelope_for("keyAgreement"), sm2_only);
  for (const char* usage : {"digitalSignature", "nonRepudiation", "keyCertSign", "cRLSign"})
    EXPECT_EQ(envelope_for(usage), kKeyUsage) << usage;
  for (const Usage usage : {Usage::signing, Usage::time_stamping})
    EXPECT_EQ(code_of([&] { make_envelope(certify(key.get(), usage).get(), data); }), kKeyUsage);
  EXPECT_EQ(code_of([&] { make_envelope(authority.certificate.get(), data); }), kKeyUsage);
}

TEST_P(EveryKey, TellsWhatItsCertificateSays) {
  const auto text = [&](uint32_t item) { return as_text(certificate_item(certificate.get(), item)); };
  EXPECT_EQ(text(0x01), "3");
  EXPECT_EQ(text(0x07), "C=CN, O=VELM Software Token, OU=Demo, CN=Somebody 某人");
  EXPECT_EQ(text(0x31), "Somebody 某人");
  EXPECT_EQ(text(0x32), "VELM Software Token");
  EXPECT_EQ(text(0x13), "Digital Signature, Non Repudiation");
  EXPECT_EQ(text(0x35).size(), 15u);
  EXPECT_EQ(certificate_item(certificate.get(), 0x08), public_key_bytes(key.get()));
  EXPECT_EQ(code_of([&] { text(0x34); }), kOidNotFound);
  EXPECT_EQ(code_of([&] { text(0x99); }), kParameterUnsupported);
  EXPECT_EQ(as_text(certificate_item_by_oid(certificate.get(), "2.5.4.3")), "Somebody 某人");
  EXPECT_EQ(certificate_item_by_oid(certificate.get(), "2.5.29.19"), from_hex("3000"));
  EXPECT_EQ(code_of([&] { certificate_item_by_oid(certificate.get(), "1.2.3.4"); }), kOidNotFound);
  for (const auto& [length, code] : {std::pair(128u, kOidNotFound), std::pair(129u, kBadInput)}) {
    const std::string oid = "2.5." + std::string(length - 4, '9');
    EXPECT_EQ(code_of([&] { certificate_item_by_oid(certificate.get(), oid); }), code) << length;
  }
  EXPECT_EQ(code_of([&] { certificate_item_by_oid(certificate.get(), "not an oid"); }), kBadInput);
}

TEST(SignedMessages, ContentOfAnotherTypeOfPkcs7IsNoData) {
  const Authority authority = make_authority(KeyKind::rsa);
  Bytes message =
      make_signed_message(authority.key.get(), authority.certificate.get(), as_bytes("data"), true);
  const Object type = object_of(kPkcs7Types.data);
  const auto found = std::ranges::search(message, der_of<const ASN1_OBJECT>(i2d_ASN1_OBJECT, type.get()));
  ASSERT_FALSE(found.empty());
  for (uint8_t last_arc = 2; last_arc <= 6; ++last_arc) {
    found.back() = last_arc;
    EXPECT_EQ(code_of([&] { parse_signed_message(message); }), kPkcs7Format) << unsigned{last_arc};
  }
}

// The first 32 of the 64 bytes in RFC 7914 section 12, which uses the same N, r and p.
TEST(KeyProtection, ThePinKeyIsThatOfThePublishedVector) {
  const SecretBytes key = pin_key(as_bytes("pleaseletmein"), as_bytes("SodiumChloride"));
  EXPECT_EQ(copy_of(key), from_hex("7023BDCB3AFD7348461C06CD81FD38EBFDA8FBBA904F8E3EA9B543F6545DA1F2"));
}

TEST(KeyProtection, OpensWithItsKeyAndPurposeOnly) {
  const SecretBytes key = pin_key(as_bytes("1234"), Bytes(kSaltSize, 1));
  EXPECT_NE(key, pin_key(as_bytes("1235"), Bytes(kSaltSize, 1)));
  EXPECT_NE(key, pin_key(as_bytes("1234"), Bytes(kSaltSize, 2)));
  const Bytes block = wrap(key, "a", as_bytes("secret"));
  EXPECT_EQ(as_text(unwrap(key, "a", block)), "secret");
  EXPECT_EQ(code_of([&] { unwrap(key, "b", block); }), kWrongPin);
  for (size_t i = 0; i < block.size(); ++i) {
    Bytes changed = block;
    changed[i] ^= 1;
    EXPECT_EQ(code_of([&] { unwrap(key, "a", changed); }), kWrongPin) << i;
  }
  EXPECT_EQ(code_of([&] { unwrap(key, "a", ByteView(block).first(20)); }), kWrongPin);
}

TEST(TextEncoding, TellsUtf8FromGbk) {
  EXPECT_TRUE(is_utf8("plain"));
  EXPECT_TRUE(is_utf8("容器 é 😀"));
  for (const char* bad :
       {"\xC0\x80", "\x80", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE5\xAE", "\xC8\xDD"}) {
    EXPECT_FALSE(is_utf8(bad)) << bad;
  }
  EXPECT_EQ(gbk_to_utf8("\xC8\xDD\xC6\xF7"), "容器");
  EXPECT_EQ(utf8_of("\xC8\xDD\xC6\xF7"), "容器");
  EXPECT_EQ(utf8_of("容器"), "容器");
}

#ifndef _WIN32
TEST(TextEncoding, ReadsTheFourByteCharactersOfGb18030) {
  EXPECT_EQ(utf8_of("\x81\x39\xEE\x39 \x95\x34\xB2\x35"), "㐀 𠮷");
}
#endif

}  // namespace
}  // namespace velm::token
