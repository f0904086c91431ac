#include <gtest/gtest.h>

#include <cstdlib>

#include <openssl/pem.h>
#include <openssl/ts.h>

#include "softtoken/crypto/signed_data.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/running_service.h"

namespace velm::token {
namespace {

// Runs the system's openssl program, the peer of these tests.
bool openssl(const std::string& arguments) {
  return std::system(("openssl " + arguments + " >interoperability.log 2>&1").c_str()) == 0;
}

std::string log_text() { return as_text(file_bytes("interoperability.log")); }

void write_pem(const std::string& path, const Signer& signer) {
  const Bio key(BIO_new_file((path + ".key").c_str(), "wb"));
  ASSERT_EQ(PEM_write_bio_PrivateKey(key.get(), signer.key.get(), nullptr, nullptr, 0, nullptr, nullptr), 1);
  const Bio public_key(BIO_new_file((path + ".pub").c_str(), "wb"));
  ASSERT_EQ(PEM_write_bio_PUBKEY(public_key.get(), signer.key.get()), 1);
  const Bio certificate(BIO_new_file((path + ".crt").c_str(), "wb"));
  ASSERT_EQ(PEM_write_bio_X509(certificate.get(), parse_certificate(signer.certificate).get()), 1);
}

uint32_t text_length(const char* text) { return static_cast<uint32_t>(std::string_view(text).size()); }

constexpr const char* kFile = "interoperability.bin";
const Bytes kContent(150000, 0x61);

/** Containers RSA and SM2, whose keys the peer has too. */
class Interoperability : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    application_ = new Application("interoperability_test");
    for (const auto& [name, signer] :
         {std::pair<const char*, const Signer&>{"RSA", rsa_2048_signer()}, {"SM2", sm2_signer()}}) {
      EVP_PKEY_up_ref(signer.key.get());
      application_->token().import_container(
          name, {Key(signer.key.get()), parse_certificate(signer.certificate)}, as_bytes(kDemoPin));
      application_->token().login(name, as_bytes(kDemoPin));
      write_pem(name, signer);
    }
    write_file(kFile, kContent);
  }
  static void TearDownTestSuite() { delete application_; }

  static void* handle() { return application_->handle(); }
  static Application& application() { return *application_; }

  static uint32_t open_file(const char* input) {
    return SAF_Ext_DecodeEnvelopedFile(handle(), "RSA", 3, 1, 1, input, text_length(input),
                                       "interoperability.out", 20);
  }

 private:
  static inline Application* application_ = nullptr;
};

TEST_F(Interoperability, ItOpensOurEnvelopes) {
  EVP_PKEY_up_ref(rsa_2048_signer().key.get());
  const Bytes certificate =
      Signer(KeyKind::rsa, Key(rsa_2048_signer().key.get()), Usage::encryption).certificate;
  for (const uint32_t method : {0x402u, 0x2002u, 0x4002u, 0x8002u, 0x10002u}) {
    ASSERT_EQ(SAF_Ext_EncodeEnvelopedFile(handle(), kFile, text_length(kFile), certificate.data(),
                                          size_of(certificate), method, 1, "interoperability.p7m", 20),
              0u);
    ASSERT_TRUE(openssl(
        "cms -decrypt -binary -inform DER -in interoperability.p7m -inkey RSA.key -out interoperability.out"))
        << log_text();
    EXPECT_EQ(file_bytes("interoperability.out"), kContent);
  }
}

TEST_F(Interoperability, WeOpenItsEnvelopes) {
  for (const char* cipher : {"-aes128", "-aes256", "-des3", "-sm4"}) {
    ASSERT_TRUE(openssl(std::string("cms -encrypt -binary -outform DER ") + cipher + " -in " + kFile +
                        " -out interoperability.p7m RSA.crt"))
        << log_text();
    ASSERT_EQ(open_file("interoperability.p7m"), 0u) << cipher;
    EXPECT_EQ(file_bytes("interoperability.out"), kContent);
  }
}

TEST_F(Interoperability, ItsStreamedEnvelopesAreOpenedInMemory) {
  ASSERT_TRUE(openssl(std::string("cms -encrypt -binary -stream -outform DER -aes128 -in ") + kFile +
                      " -out interoperability.p7m RSA.crt"))
      << log_text();
  ASSERT_EQ(open_file("interoperability.p7m"), kSafEnvelopeNotOpened);
  const Bytes envelope = file_bytes("interoperability.p7m");
  Bytes opened(envelope.size());
  uint32_t length = size_of(opened);
  ASSERT_EQ(SAF_Ext_CMS_DecodeEnvelopedData(handle(), "RSA", 3, envelope.data(), size_of(envelope),
                                            opened.data(), &length),
            0u);
  opened.resize(length);
  EXPECT_EQ(opened, kContent);
}

TEST_F(Interoperability, ItVerifiesOurSignedMessages) {
  const Bytes& certificate = rsa_2048_signer().certificate;
  uint32_t code = 0;
  write_file("interoperability.p7s", sized_output(
                                         [&](uint8_t* message, uint32_t* length) {
                                           return SAF_Pkcs7_EncodeSignedData(
                                               handle(), "RSA", 3, 2, certificate.data(),
                                               size_of(certificate), 4, kContent.data(), size_of(kContent),
                                               message, length);
                                         },
                                         code));
  ASSERT_EQ(code, 0u);
  ASSERT_TRUE(
      openssl("cms -verify -binary -noverify -inform DER -in interoperability.p7s -out interoperability.out"))
      << log_text();
  EXPECT_EQ(file_bytes("interoperability.out"), kContent);

  const Bytes value = hash(DigestId::sha256, kContent);
  for (const uint32_t kind : {1u, 2u}) {
    const ByteView data = kind == 1 ? ByteView(kContent) : ByteView(value);
    write_file("interoperability.p7s", sized_output(
                                           [&](uint8_t* message, uint32_t* length) {
                                             return SAF_Ext_Pkcs7_EncodeSignedData(
                                                 handle(), "RSA", 3, 2, certificate.data(),
                                                 size_of(certificate), 4, nullptr, kind, data.data(),
                                                 size_of(data), message, length);
                                           },
                                           code));
    ASSERT_EQ(code, 0u);
    EXPECT_TRUE(
        openssl(std::string("cms -verify -binary -noverify -inform DER -in interoperability.p7s -content ") +
                kFile + " -out interoperability.out"))
        << log_text();
    EXPECT_FALSE(
        openssl("cms -verify -binary -noverify -inform DER -in interoperability.p7s -content RSA.crt"
                " -out interoperability.out"));
  }
}

TEST_F(Interoperability, WeReadItsSignedMessages) {
  ASSERT_TRUE(openssl(
      std::string("cms -sign -binary -nodetach -outform DER -md sha256 -signer RSA.crt -inkey RSA.key -in ") +
      kFile + " -out interoperability.p7s"))
      << log_text();
  const Bytes message = file_bytes("interoperability.p7s");
  Bytes certificate(4096);
  Bytes data(kContent.size());
  Bytes signature(512);
  Bytes attributes(4096);
  Bytes value(128);
  uint32_t certificate_length = size_of(certificate);
  uint32_t data_length = size_of(data);
  uint32_t signature_length = size_of(signature);
  uint32_t attributes_length = size_of(attributes);
  uint32_t value_length = size_of(value);
  uint32_t digest = 0;
  uint32_t has_attributes = 0;
  ASSERT_EQ(SAF_Pkcs7_DecodeSignedData(handle(), message.data(), size_of(message), certificate.data(),
                                       &certificate_length, &digest, data.data(), &data_length,
                                       signature.data(), &signature_length),
            0u);
  EXPECT_EQ(data, kContent);
  ASSERT_EQ(
      SAF_Ext_Pkcs7_ReadContentData(handle(), message.data(), size_of(message), &has_attributes, &digest,
                                    attributes.data(), &attributes_length, value.data(), &value_length),
      0u);
  EXPECT_EQ(has_attributes, 1u);
  value.resize(value_length);
  EXPECT_EQ(value, hash(DigestId::sha256, kContent));
  EXPECT_EQ(SAF_VerifySignByCert(digest, certificate.data(), certificate_length, attributes.data(),
                                 attributes_length, signature.data(), signature_length),
            0u);
}

TEST_F(Interoperability, FileSignaturesAndHashesAgree) {
  const struct {
    const char* container;
    uint32_t digest;
    const char* options;
  } cases[] = {
      {"RSA", 4, "-sha256"}, {"RSA", 2, "-sha1"}, {"SM2", 1, "-sm3 -sigopt distid:1234567812345678"}};
  for (const auto& [container, digest, options] : cases) {
    uint32_t code = 0;
    const Bytes signature = sized_output(
        [&](uint8_t* output, uint32_t* length) {
          return SAF_Ext_SignFile(handle(), container, 3, digest, nullptr, 0, kFile, output, length);
        },
        code);
    ASSERT_EQ(code, 0u);
    write_file("interoperability.sig", signature);
    const std::string name = container;
    EXPECT_TRUE(openssl(std::string("dgst ") + options + " -verify " + name +
                        ".pub -signature interoperability.sig " + kFile))
        << log_text();
    ASSERT_TRUE(openssl(std::string("dgst ") + options + " -sign " + name +
                        ".key -out interoperability.sig " + kFile))
        << log_text();
    const Bytes theirs = file_bytes("interoperability.sig");
    const Bytes certificate = application().signing_certificate(container);
    EXPECT_EQ(SAF_Ext_VerifySignFileByCert(digest, certificate.data(), size_of(certificate), nullptr, 0,
                                           kFile, theirs.data(), size_of(theirs)),
              0u);
  }
  ASSERT_TRUE(openssl(std::string("dgst -sm3 -binary -out interoperability.out ") + kFile)) << log_text();
  uint8_t value[32];
  uint32_t length = sizeof value;
  ASSERT_EQ(
      SAF_Ext_HashFile(reinterpret_cast<const void*>(1), nullptr, nullptr, nullptr, 0, kFile, value, &length),
      0u);
  EXPECT_EQ(file_bytes("interoperability.out"), Bytes(value, value + length));
}

TEST_F(Interoperability, ItVerifiesOurStamps) {
  uint32_t code = 0;
  write_file("interoperability.tsr", sized_output(
                                         [&](uint8_t* stamp, uint32_t* length) {
                                           return SAF_Ext_TspGetFileStamp(handle(), "RSA", 3,
                                                                          as_bytes(kFile).data(),
                                                                          text_length(kFile), stamp, length);
                                         },
                                         code));
  ASSERT_EQ(code, 0u);
  const Bio root(BIO_new_file("interoperability.root", "wb"));
  ASSERT_EQ(
      PEM_write_bio_X509(root.get(), application().token().store().authority(KeyKind::rsa).certificate.get()),
      1);
  ASSERT_EQ(BIO_flush(root.get()), 1);
  EXPECT_TRUE(openssl(
      std::string("ts -verify -in interoperability.tsr -CAfile interoperability.root -data ") + kFile))
      << log_text();
  EXPECT_FALSE(openssl("ts -verify -in interoperability.tsr -CAfile interoperability.root -data RSA.crt"));
}

TEST_F(Interoperability, WeVerifyItsStamps) {
  const Signer authority(KeyKind::rsa, generate_rsa_key(2048), Usage::time_stamping);
  write_pem("TSA", authority);
  write_file("interoperability.cnf",
             as_bytes("[tsa]\nserial = interoperability.serial\nsigner_digest = sha256\n"
                      "default_policy = 1.2.3.4\ndigests = sha1, sha256, sm3\ness_cert_id_alg = sha256\n"));
  write_file("interoperability.serial", as_bytes("01\n"));
  for (const char* digest : {"-sha1", "-sha256", "-sm3"}) {
    ASSERT_TRUE(
        openssl(std::string("ts -query -cert ") + digest + " -data " + kFile + " -out interoperability.tsq"))
        << log_text();
    ASSERT_TRUE(
        openssl("ts -reply -config interoperability.cnf -section tsa -queryfile interoperability.tsq "
                "-signer TSA.crt -inkey TSA.key -out interoperability.tsr"))
        << log_text();
    const Bytes stamp = file_bytes("interoperability.tsr");
    char time[32];
    uint32_t length = sizeof time;
    const auto verify = [&](ByteView data) {
      return SAF_Ext_TspVerifyStamp(data.data(), size_of(data), stamp.data(), size_of(stamp),
                                    authority.certificate.data(), authority.certificate_length(),
                                    reinterpret_cast<uint8_t*>(time), &length);
    };
    EXPECT_EQ(verify(kContent), 0u) << digest;
    EXPECT_EQ(verify(as_bytes("another")), kSafHashNotEqual);
  }
}

// The peer's `cms` command does not support SM2, so the signature is verified with `dgst`.
TEST_F(Interoperability, ItVerifiesTheSignaturesInOurMessagesWithSm2) {
  const Bytes& certificate = sm2_signer().certificate;
  const auto expect_verified = [&](const Bytes& message, ByteView signed_data) {
    write_file("interoperability.sig", parse_signed_message(message).signature);
    write_file("interoperability.out", signed_data);
    EXPECT_TRUE(
        openssl("dgst -sm3 -sigopt distid:1234567812345678 -verify SM2.pub -signature "
                "interoperability.sig interoperability.out"))
        << log_text();
  };
  uint32_t code = 1;
  const Bytes attached = sized_output(
      [&](uint8_t* message, uint32_t* length) {
        return SAF_SM2_EncodeSignedData(handle(), "SM2", 3, 2, certificate.data(), size_of(certificate), 1,
                                        kContent.data(), size_of(kContent), message, length);
      },
      code);
  ASSERT_EQ(code, 0u);
  expect_verified(attached, kContent);
  const Bytes detached = sized_output(
      [&](uint8_t* message, uint32_t* length) {
        return SAF_Ext_SM2_EncodeSignedData(handle(), "SM2", 3, 2, certificate.data(), size_of(certificate),
                                            1, nullptr, 1, kContent.data(), size_of(kContent), message,
                                            length);
      },
      code);
  ASSERT_EQ(code, 0u);
  expect_verified(detached, parse_signed_message(detached).signed_attributes);
}

// The peer's `ts` command does not support SM2. It parses the answer, and the signature is verified
// separately.
TEST_F(Interoperability, ItReadsOurStampsWithSm2) {
  uint32_t code = 0;
  const Bytes stamp = sized_output(
      [&](uint8_t* out, uint32_t* length) {
        return SAF_Ext_GM_Tsp_SealTimeStamp(handle(), 0, kContent.data(), size_of(kContent), out, length);
      },
      code);
  ASSERT_EQ(code, 0u);
  write_file("interoperability.tsr", stamp);
  ASSERT_TRUE(openssl("ts -reply -in interoperability.tsr -text")) << log_text();
  EXPECT_NE(log_text().find("Hash Algorithm: sm3"), std::string::npos) << log_text();

  const auto response = from_der<Handle<TS_RESP, TS_RESP_free>>(d2i_TS_RESP, stamp, kUnknownError);
  const SignedMessage message =
      parse_signed_message(der_of<const PKCS7>(i2d_PKCS7, TS_RESP_get_token(response.get())));
  EXPECT_NE(as_text(message.signed_attributes).find(as_text(hash(DigestId::sm3, *message.content))),
            std::string::npos);
  const Bio certificate(BIO_new_file("interoperability.tsa", "wb"));
  ASSERT_EQ(PEM_write_bio_X509(certificate.get(), message.signer.get()), 1);
  ASSERT_EQ(BIO_flush(certificate.get()), 1);
  write_file("interoperability.out", message.signed_attributes);
  write_file("interoperability.sig", message.signature);
  ASSERT_TRUE(openssl("x509 -in interoperability.tsa -noout -purpose -pubkey -out interoperability.pub"))
      << log_text();
  EXPECT_NE(as_text(file_bytes("interoperability.pub")).find("Time Stamp signing : Yes"), std::string::npos);
  EXPECT_TRUE(
      openssl("dgst -sm3 -sigopt distid:1234567812345678 -verify interoperability.pub -signature "
              "interoperability.sig interoperability.out"))
      << log_text();
}

}  // namespace
}  // namespace velm::token
