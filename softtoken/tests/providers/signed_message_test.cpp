#include <gtest/gtest.h>

#include "softtoken/crypto/signed_data.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/running_service.h"
#include "softtoken/tests/providers/second_signer.h"
#include "softtoken/tests/store/temporary_store.h"

namespace velm::token {
namespace {

constexpr uint32_t kSigningKey = 2;
constexpr uint32_t kOfContent = 1;
constexpr uint32_t kOfHash = 2;
constexpr uint32_t kCertificateLabel = 7;

const Bytes kText = copy_of(as_bytes("what is to be signed"));

struct Container {
  const char* name;
  DigestId digest;
  bool sm2;

  uint32_t length() const { return static_cast<uint32_t>(std::string_view(name).size()); }
  uint32_t number() const { return static_cast<uint32_t>(digest); }
};
constexpr Container kContainers[] = {{"SM2_TEST", DigestId::sm3, true},
                                     {"RSA_2048_TEST", DigestId::sha256, false},
                                     {"RSA_1024_TEST", DigestId::sha1, false}};

struct Decoded {
  uint32_t code = 0;
  Bytes certificate;
  Bytes data;
  Bytes signature;
  uint32_t digest = 0;
};

using Decode = decltype(&SAF_Pkcs7_DecodeSignedData);

Decoded decode(Decode function, ByteView message) {
  Decoded out;
  uint32_t certificate_length = 0;
  uint32_t data_length = 0;
  uint32_t signature_length = 0;
  const auto call = [&](uint8_t* certificate, uint8_t* data, uint8_t* signature) {
    return function(nullptr, message.data(), size_of(message), certificate, &certificate_length, &out.digest,
                    data, &data_length, signature, &signature_length);
  };
  out.code = call(nullptr, nullptr, nullptr);
  if (out.code != 0) return out;
  out.certificate.resize(certificate_length);
  out.data.resize(data_length);
  out.signature.resize(signature_length);
  out.code = call(out.certificate.data(), out.data.empty() ? nullptr : out.data.data(), out.signature.data());
  return out;
}

class SignedMessages : public testing::Test {
 protected:
  static void SetUpTestSuite() { application_ = new Application("signed_message_test"); }
  static void TearDownTestSuite() { delete application_; }
  void SetUp() override { ASSERT_EQ(application_->opened(), 0u); }

  static Application& application() { return *application_; }

  static Bytes encode(const Container& container, uint32_t& code) {
    return encode_with(application().signing_certificate(container.name), container, code);
  }
  static Bytes encode_with(const Bytes& certificate, const Container& container, uint32_t& code) {
    const auto function = container.sm2 ? SAF_SM2_EncodeSignedData : SAF_Pkcs7_EncodeSignedData;
    return sized_output(
        [&](uint8_t* message, uint32_t* length) {
          return function(application().handle(), container.name, container.length(), kSigningKey,
                          certificate.data(), size_of(certificate), container.number(), kText.data(),
                          size_of(kText), message, length);
        },
        code);
  }

  static Bytes encode_extended(const Container& container, uint32_t kind, ByteView data, uint32_t& code) {
    return encode_extended_with(application().signing_certificate(container.name), container, kind, data,
                                code);
  }
  static Bytes encode_extended_with(const Bytes& certificate, const Container& container, uint32_t kind,
                                    ByteView data, uint32_t& code) {
    const auto function = container.sm2 ? SAF_Ext_SM2_EncodeSignedData : SAF_Ext_Pkcs7_EncodeSignedData;
    return sized_output(
        [&](uint8_t* message, uint32_t* length) {
          return function(application().handle(), container.name, container.length(), kSigningKey,
                          certificate.data(), size_of(certificate), container.number(), nullptr, kind,
                          data.data(), size_of(data), message, length);
        },
        code);
  }

 private:
  static inline Application* application_ = nullptr;
};

TEST_F(SignedMessages, CarryTheContentAndVerify) {
  for (const Container& container : kContainers) {
    uint32_t code = 0;
    const Bytes message = encode(container, code);
    ASSERT_EQ(code, 0u) << container.name;
    EXPECT_NO_THROW(verify_signed_message(message, {}));
    const Decoded decoded =
        decode(container.sm2 ? SAF_SM2_DecodeSignedData : SAF_Pkcs7_DecodeSignedData, message);
    ASSERT_EQ(decoded.code, 0u);
    EXPECT_EQ(decoded.certificate, application().signing_certificate(container.name));
    EXPECT_EQ(decoded.data, kText);
    EXPECT_EQ(decoded.digest, container.number());
    EXPECT_EQ(SAF_VerifySignByCert(decoded.digest, decoded.certificate.data(), size_of(decoded.certificate),
                                   kText.data(), size_of(kText), decoded.signature.data(),
                                   size_of(decoded.signature)),
              0u);
  }
}

TEST_F(SignedMessages, DetachedOnesHaveSignedAttributes) {
  for (const Container& container : kContainers) {
    uint32_t code = 0;
    const Bytes message = encode_extended(container, kOfContent, kText, code);
    ASSERT_EQ(code, 0u) << container.name;
    EXPECT_NO_THROW(verify_signed_message(message, kText));
    EXPECT_THROW(verify_signed_message(message, as_bytes("another text")), TokenError);

    Bytes attributes(4096);
    Bytes value(128);
    uint32_t has_attributes = 0;
    uint32_t digest = 0;
    uint32_t attributes_length = size_of(attributes);
    uint32_t value_length = size_of(value);
    ASSERT_EQ(
        SAF_Ext_Pkcs7_ReadContentData(nullptr, message.data(), size_of(message), &has_attributes, &digest,
                                      attributes.data(), &attributes_length, value.data(), &value_length),
        0u);
    attributes.resize(attributes_length);
    value.resize(value_length);
    EXPECT_EQ(has_attributes, 1u);
    EXPECT_EQ(digest, container.number());
    EXPECT_EQ(value, hash(container.digest, kText));
    const Decoded decoded =
        decode(container.sm2 ? SAF_SM2_DecodeSignedData : SAF_Pkcs7_DecodeSignedData, message);
    EXPECT_TRUE(decoded.data.empty());
    EXPECT_EQ(SAF_VerifySignByCert(digest, decoded.certificate.data(), size_of(decoded.certificate),
                                   attributes.data(), size_of(attributes), decoded.signature.data(),
                                   size_of(decoded.signature)),
              0u);
  }
}

// An SM2 signature also covers the signer's key and user ID.
Bytes signed_hash_of_text(const Container& container, ByteView certificate) {
  const ByteView signer = container.sm2 ? certificate : ByteView();
  uint32_t code = 0;
  const Bytes value = sized_output(
      [&](uint8_t* output, uint32_t* length) {
        return SAF_Hash(container.number(), kText.data(), size_of(kText), signer.data(), size_of(signer),
                        nullptr, 0, output, length);
      },
      code);
  EXPECT_EQ(code, 0u);
  return value;
}

TEST_F(SignedMessages, OverAHashVerifyOverItsContent) {
  for (const Container& container : kContainers) {
    uint32_t code = 0;
    const Bytes value = signed_hash_of_text(container, application().signing_certificate(container.name));
    const Bytes message = encode_extended(container, kOfHash, value, code);
    ASSERT_EQ(code, 0u);
    EXPECT_NO_THROW(verify_signed_message(message, kText));
    uint32_t has_attributes = 7;
    uint32_t digest = 0;
    uint32_t none = 0;
    EXPECT_EQ(SAF_Ext_Pkcs7_ReadContentData(nullptr, message.data(), size_of(message), &has_attributes,
                                            &digest, nullptr, &none, nullptr, &none),
              0u);
    EXPECT_EQ(has_attributes, 0u);
    EXPECT_EQ(none, 0u);
    encode_extended(container, kOfHash, ByteView(value).first(5), code);
    EXPECT_EQ(code, kSafBadLength);
  }
}

TEST_F(SignedMessages, ChangeTheirIdentifiersBothWays) {
  uint32_t code = 0;
  for (const Bytes& message :
       {encode(kContainers[0], code), encode_extended(kContainers[0], kOfContent, kText, code)}) {
    const auto replace = [&](uint32_t mode, ByteView input) {
      return sized_output(
          [&](uint8_t* output, uint32_t* length) {
            return SAF_Ext_ReplaceSM2Pkcs7SignedOID(mode, input.data(), size_of(input), output, length);
          },
          code);
    };
    EXPECT_NE(decode(SAF_Pkcs7_DecodeSignedData, message).code, 0u);
    const Bytes international = replace(1, message);
    ASSERT_EQ(code, 0u);
    EXPECT_EQ(decode(SAF_Pkcs7_DecodeSignedData, international).code, 0u);
    const Decoded decoded = decode(SAF_SM2_DecodeSignedData, international);
    EXPECT_EQ(decoded.data, decode(SAF_SM2_DecodeSignedData, message).data);
    EXPECT_EQ(replace(0, international), message);
    EXPECT_EQ(replace(1, international), international);
    replace(2, message);
    EXPECT_EQ(code, kSafNotSupported);
    replace(1, kText);
    EXPECT_EQ(code, kSafBadObject);
  }
}

TEST_F(SignedMessages, AreRefusedForACutMessageOrASmallBuffer) {
  uint32_t code = 0;
  const Bytes message = encode(kContainers[1], code);
  for (size_t length = 0; length < message.size(); ++length) {
    EXPECT_NE(decode(SAF_Pkcs7_DecodeSignedData, ByteView(message).first(length)).code, 0u);
  }
  EXPECT_NE(decode(SAF_SM2_DecodeSignedData, message).code, 0u);
  uint8_t certificate[10] = {};
  uint32_t certificate_length = sizeof certificate;
  uint32_t digest = 99;
  uint32_t data_length = 0;
  uint32_t signature_length = 0;
  EXPECT_EQ(
      SAF_Pkcs7_DecodeSignedData(nullptr, message.data(), size_of(message), certificate, &certificate_length,
                                 &digest, nullptr, &data_length, nullptr, &signature_length),
      kSafBadLength);
  EXPECT_EQ(certificate[0], 0);
  EXPECT_EQ(digest, 99u);
}

// Only one signature would be verified, so a message with a second one is rejected, valid or not.
TEST_F(SignedMessages, WithTwoSignersAreRejected) {
  for (const Container& container : kContainers) {
    const MessageTypes& types = container.sm2 ? kGmTypes : kPkcs7Types;
    uint32_t code = 0;
    for (const Bytes& message :
         {encode(container, code), encode_extended(container, kOfContent, kText, code)}) {
      ASSERT_NO_THROW(verify_signed_message(message, kText));
      const Bytes forged = with_forged_second_signer(message, types.signed_data);
      EXPECT_EQ(code_of([&] { verify_signed_message(forged, kText); }), kPkcs7Format) << container.name;
      for (const Decode function : {SAF_SM2_DecodeSignedData, SAF_Pkcs7_DecodeSignedData})
        EXPECT_EQ(decode(function, forged).code, kSafBadObject) << container.name;
      uint32_t has_attributes = 0;
      uint32_t digest = 0;
      uint32_t length = 0;
      EXPECT_EQ(SAF_Ext_Pkcs7_ReadContentData(nullptr, forged.data(), size_of(forged), &has_attributes,
                                              &digest, nullptr, &length, nullptr, &length),
                kSafBadObject);
    }
  }
}

// A size query does not read the content, so no buffer of this length is required.
TEST_F(SignedMessages, AreRefusedForContentOfTwoGigabytes) {
  for (const Container& container : {kContainers[0], kContainers[1]}) {
    const Bytes certificate = application().signing_certificate(container.name);
    const auto function = container.sm2 ? SAF_SM2_EncodeSignedData : SAF_Pkcs7_EncodeSignedData;
    uint32_t length = 0;
    for (const uint32_t size : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
      EXPECT_EQ(function(application().handle(), container.name, container.length(), kSigningKey,
                         certificate.data(), size_of(certificate), container.number(),
                         as_bytes("short").data(), size, nullptr, &length),
                kSafBadLength);
    }
  }
}

TEST_F(SignedMessages, NeedALoginAndTheFittingKey) {
  uint32_t code = 0;
  application().token().logout("SM2_TEST");
  encode(kContainers[0], code);
  EXPECT_EQ(code, kSafNotLoggedIn);
  application().token().login("SM2_TEST", as_bytes(kDemoPin));
  Container mixed = kContainers[0];
  mixed.sm2 = false;
  encode(mixed, code);
  EXPECT_EQ(code, kSafAlgorithm);
  Container unknown = kContainers[0];
  const Bytes certificate = application().signing_certificate(unknown.name);
  Bytes output(4096);
  uint32_t length = size_of(output);
  EXPECT_EQ(
      SAF_SM2_EncodeSignedData(application().handle(), "NOBODY", 6, kSigningKey, certificate.data(),
                               size_of(certificate), 1, kText.data(), size_of(kText), output.data(), &length),
      kSafNoSuchContainer);
  EXPECT_EQ(
      SAF_SM2_EncodeSignedData(application().handle(), "SM2_TEST", 8, 1, certificate.data(),
                               size_of(certificate), 1, kText.data(), size_of(kText), output.data(), &length),
      kSafNotSupported);
}

// A certificate may outlive its container, for example in a label.
TEST_F(SignedMessages, AreNotMadeWithTheCertificateOfAnotherKey) {
  for (const Container& container :
       {Container{"REPLACED_SM2", DigestId::sm3, true}, Container{"REPLACED_RSA", DigestId::sha256, false}}) {
    SCOPED_TRACE(container.name);
    Token& token = application().token();
    const auto add = [&] {
      token.add_container({.name = container.name, .kind = container.sm2 ? KeyKind::sm2 : KeyKind::rsa},
                          as_bytes(kDemoPin));
      token.login(container.name, as_bytes(kDemoPin));
    };
    add();
    const std::string label_name = std::string(container.name) + "_FromCache";
    set_label(token.store(), label_name, kCertificateLabel,
              application().signing_certificate(container.name));
    token.delete_container(container.name);
    add();

    uint32_t code = 0;
    const auto label_length = static_cast<uint32_t>(label_name.size());
    const Bytes stale = sized_output(
        [&](uint8_t* data, uint32_t* length) {
          return SAF_Ext_ReadLabel(application().handle(), nullptr, 0, label_name.c_str(), label_length,
                                   kCertificateLabel, data, length);
        },
        code);
    ASSERT_EQ(code, 0u);
    const Bytes current = application().signing_certificate(container.name);
    ASSERT_NE(stale, current);
    for (const bool fits : {false, true}) {
      const Bytes& certificate = fits ? current : stale;
      const uint32_t expected = fits ? kSafSuccess : kSafKeyMismatch;
      encode_with(certificate, container, code);
      EXPECT_EQ(code, expected);
      encode_extended_with(certificate, container, kOfContent, kText, code);
      EXPECT_EQ(code, expected);
      encode_extended_with(certificate, container, kOfHash, Bytes(32, 7), code);
      EXPECT_EQ(code, expected);
    }
    token.delete_container(container.name);
  }
}

TEST_F(SignedMessages, FilesAreSignedAsTheirContent) {
  const Bytes content(100000, 9);
  write_file("signed_message_test.bin", content);
  for (const Container& container : kContainers) {
    const Bytes certificate = application().signing_certificate(container.name);
    uint32_t code = 0;
    const Bytes signature = sized_output(
        [&](uint8_t* output, uint32_t* length) {
          return SAF_Ext_SignFile(application().handle(), container.name, container.length(),
                                  container.number(), nullptr, 0, "signed_message_test.bin", output, length);
        },
        code);
    ASSERT_EQ(code, 0u);
    EXPECT_EQ(
        SAF_Ext_VerifySignFileByCert(container.number(), certificate.data(), size_of(certificate), nullptr, 0,
                                     "signed_message_test.bin", signature.data(), size_of(signature)),
        0u);
    EXPECT_EQ(SAF_VerifySignByCert(container.number(), certificate.data(), size_of(certificate),
                                   content.data(), size_of(content), signature.data(), size_of(signature)),
              0u);
  }
  std::remove("signed_message_test.bin");
}

// A message is a whole: no buffer is written if one of them is too small.
TEST_F(SignedMessages, AreDeliveredWholeOrNotAtAll) {
  uint32_t code = 0;
  const Bytes message = encode(kContainers[0], code);
  const Bytes with_attributes = encode_extended(kContainers[0], kOfContent, kText, code);
  ASSERT_EQ(code, kSafSuccess);
  uint32_t sizes[3] = {};
  uint32_t digest = 0;
  ASSERT_EQ(SAF_SM2_DecodeSignedData(nullptr, message.data(), size_of(message), nullptr, &sizes[0], &digest,
                                     nullptr, &sizes[1], nullptr, &sizes[2]),
            kSafSuccess);
  for (size_t small = 0; small < 3; ++small) {
    Bytes outputs[3];
    for (size_t i = 0; i < 3; ++i) outputs[i].assign(sizes[i] - (i == small ? 1 : 0), 0xA5);
    uint32_t lengths[3] = {size_of(outputs[0]), size_of(outputs[1]), size_of(outputs[2])};
    digest = 99;
    EXPECT_EQ(
        SAF_SM2_DecodeSignedData(nullptr, message.data(), size_of(message), outputs[0].data(), &lengths[0],
                                 &digest, outputs[1].data(), &lengths[1], outputs[2].data(), &lengths[2]),
        kSafBadLength);
    EXPECT_EQ(digest, 99u);
    for (size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(outputs[i], Bytes(outputs[i].size(), 0xA5)) << i << " if " << small << " is small";
      EXPECT_EQ(lengths[i], outputs[i].size());
    }
  }
  uint8_t attributes[4096] = {};
  uint8_t value[31] = {};
  uint32_t attributes_length = sizeof attributes;
  uint32_t value_length = sizeof value;
  uint32_t has_attributes = 99;
  EXPECT_EQ(SAF_Ext_Pkcs7_ReadContentData(nullptr, with_attributes.data(), size_of(with_attributes),
                                          &has_attributes, &digest, attributes, &attributes_length, value,
                                          &value_length),
            kSafBadLength);
  EXPECT_EQ(has_attributes, 99u);
  EXPECT_EQ(attributes[0], 0);
}

TEST_F(SignedMessages, NeedAPointerForEachLength) {
  uint32_t code = 0;
  const Bytes message = encode(kContainers[0], code);
  for (size_t missing = 0; missing < 4; ++missing) {
    uint8_t output[4096] = {};
    uint32_t length = sizeof output;
    uint32_t digest = 99;
    const auto given = [&](size_t place, uint32_t* pointer) { return place == missing ? nullptr : pointer; };
    for (uint8_t* const to : {static_cast<uint8_t*>(output), static_cast<uint8_t*>(nullptr)}) {
      EXPECT_EQ(SAF_SM2_DecodeSignedData(nullptr, message.data(), size_of(message), to, given(0, &length),
                                         given(1, &digest), to, given(2, &length), to, given(3, &length)),
                kSafBadInput)
          << missing;
      EXPECT_EQ(
          SAF_Ext_Pkcs7_ReadContentData(nullptr, message.data(), size_of(message), given(0, &digest),
                                        given(1, &digest), to, given(2, &length), to, given(3, &length)),
          kSafBadInput)
          << missing;
      EXPECT_EQ(digest, 99u);
      EXPECT_EQ(length, sizeof output);
    }
  }
}

TEST_F(SignedMessages, NameTheDigestOfTheirKeyType) {
  for (const Container& container : kContainers) {
    for (const DigestId digest : {DigestId::sm3, DigestId::sha1, DigestId::sha256}) {
      Container mixed = container;
      mixed.digest = digest;
      const uint32_t expected = container.sm2 == (digest == DigestId::sm3) ? kSafSuccess : kSafAlgorithm;
      // A size query does not reach the local service, which would refuse it too.
      const Bytes certificate = application().signing_certificate(container.name);
      const auto function = container.sm2 ? SAF_SM2_EncodeSignedData : SAF_Pkcs7_EncodeSignedData;
      uint32_t length = 0;
      EXPECT_EQ(
          function(application().handle(), mixed.name, mixed.length(), kSigningKey, certificate.data(),
                   size_of(certificate), mixed.number(), kText.data(), size_of(kText), nullptr, &length),
          expected)
          << container.name << mixed.number();
    }
  }
}

TEST_F(SignedMessages, FilesAreSignedWithTheGivenUserId) {
  write_file("signed_message_id.bin", kText);
  const Container& container = kContainers[0];
  const Bytes certificate = application().signing_certificate(container.name);
  const ByteView id = as_bytes("another user");
  uint32_t code = 0;
  const Bytes signature = sized_output(
      [&](uint8_t* output, uint32_t* length) {
        return SAF_Ext_SignFile(application().handle(), container.name, container.length(),
                                container.number(), id.data(), size_of(id), "signed_message_id.bin", output,
                                length);
      },
      code);
  ASSERT_EQ(code, kSafSuccess);
  const auto verify = [&](ByteView with) {
    return SAF_Ext_VerifySignFileByCert(container.number(), certificate.data(), size_of(certificate),
                                        with.data(), size_of(with), "signed_message_id.bin", signature.data(),
                                        size_of(signature));
  };
  EXPECT_EQ(verify(id), kSafSuccess);
  EXPECT_EQ(verify({}), kSafHashNotEqual);
  std::remove("signed_message_id.bin");
}

// DER of two numbers of 32 bytes, each with a zero in front.
TEST_F(SignedMessages, SizeQueriesHaveRoomForTheLongestSignature) {
  constexpr uint32_t kLongestSm2Signature = 72;
  write_file("signed_message_size.bin", kText);
  const Container& container = kContainers[0];
  uint32_t length = 0;
  EXPECT_EQ(SAF_Ext_SignFile(application().handle(), container.name, container.length(), container.number(),
                             nullptr, 0, "signed_message_size.bin", nullptr, &length),
            kSafSuccess);
  EXPECT_EQ(length, kLongestSm2Signature);
  std::remove("signed_message_size.bin");
}

// Content as the only element of the message's content: a DER element that is no octet string.
Bytes message_over(const char* type, int form, const Bytes& signed_message) {
  const Bytes inner = unwrap_content(signed_message, kGmTypes.signed_data, kGmTypes.signed_data);
  const auto parsed = from_der<Pkcs7Signed>(d2i_PKCS7_SIGNED, inner, kPkcs7Format);
  PKCS7* contents = parsed->contents;
  ASN1_OBJECT_free(contents->type);
  contents->type = object_of(type).release();
  if (form != V_ASN1_OCTET_STRING) contents->d.other->type = form;
  return wrap_content<const PKCS7_SIGNED>(kGmTypes.signed_data, i2d_PKCS7_SIGNED, parsed.get());
}

// Otherwise a time-stamp token could be turned into a message over data, signed by the TSA.
TEST_F(SignedMessages, OverOtherContentKeepTheirIdentifiers) {
  constexpr const char* kTimeStampInfo = "1.2.840.113549.1.9.16.1.4";
  uint32_t code = 0;
  const Bytes message = encode(kContainers[0], code);
  ASSERT_EQ(code, kSafSuccess);
  const auto replaced = [](ByteView input) {
    uint32_t length = 0;
    return SAF_Ext_ReplaceSM2Pkcs7SignedOID(1, input.data(), size_of(input), nullptr, &length);
  };
  EXPECT_EQ(replaced(message_over(kGmTypes.data, V_ASN1_OCTET_STRING, message)), kSafSuccess);
  EXPECT_EQ(replaced(message_over(kTimeStampInfo, V_ASN1_OCTET_STRING, message)), kSafBadObject);
  for (const int form : {V_ASN1_UTF8STRING, V_ASN1_BIT_STRING, V_ASN1_INTEGER})
    EXPECT_EQ(replaced(message_over(kGmTypes.data, form, message)), kSafBadObject) << form;
}

}  // namespace
}  // namespace velm::token
