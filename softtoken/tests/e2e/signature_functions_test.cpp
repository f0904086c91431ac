// Tests signing and verification in process.
#include <algorithm>

#include "library_calls.h"

namespace {

constexpr const char* kFile = "signature_functions.txt";
const Bytes kContent = bytes_of("the content of a file that is signed: " + std::string(3000, 'f'));

class SignatureFunctions : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : kKeys) ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    for (const char* name : kScannedKeys) ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    write_file(kFile, kContent);
  }
  void TearDown() override {
    SOF_SetSignMethod(0);
    std::remove(kFile);
  }
};

TEST_F(SignatureFunctions, FilesAreSigned) {
  for (const char* name : kKeys) {
    SCOPED_TRACE(name);
    const auto sign_file = [&](uint8_t* out, uint32_t* length) {
      return SOF_SignFile(name, kFile, out, length);
    };
    const Bytes signature = output_of(sign_file);
    const Bytes certificate = signing_certificate(name);
    const auto verify = [&](const Bytes& candidate) {
      return SOF_VerifySignedFile(certificate.data(), size_of(certificate), kFile, candidate.data(),
                                  size_of(candidate));
    };
    EXPECT_EQ(verify(signature), SOR_OK);
    for (size_t i = 0; i < signature.size(); ++i)
      EXPECT_EQ(verify(altered_at(signature, i)), SOR_HASHNOTEQUALERR) << i;
    for (size_t i = 0; i < kContent.size(); i += 499) {
      write_file(kFile, altered_at(kContent, i));
      EXPECT_EQ(verify(signature), SOR_HASHNOTEQUALERR) << i;
    }
    write_file(kFile, kContent);

    ASSERT_EQ(SOF_Ext_Logout(name, 0), SOR_OK);
    uint32_t length = 1024;
    Bytes output(length);
    EXPECT_EQ(sign_file(output.data(), &length), SOR_NOTLOGINERR);
  }
}

TEST_F(SignatureFunctions, HashSignaturesVerify) {
  for (const char* name : kKeys) {
    SCOPED_TRACE(name);
    const Digest digest = digest_of_key(name);
    const Bytes certificate = signing_certificate(name);
    const Bytes hash = hash_of(digest, kContent, is_sm2(name) ? certificate : Bytes());
    const Bytes signature = output_of([&](uint8_t* out, uint32_t* length) {
      return SOF_Ext_SignHash(name, digest, 1, hash.data(), size_of(hash), out, length);
    });
    const auto verify = [&](const Bytes& value, const Bytes& candidate) {
      return SOF_Ext_VerifySignedHash(certificate.data(), size_of(certificate), value.data(), size_of(value),
                                      candidate.data(), size_of(candidate));
    };
    EXPECT_EQ(verify(hash, signature), SOR_OK);
    EXPECT_EQ(verify(hash, sign(name, kContent)), SOR_OK);
    for (size_t i = 0; i < hash.size(); ++i)
      EXPECT_EQ(verify(altered_at(hash, i), signature), SOR_HASHNOTEQUALERR) << i;
    for (size_t i = 0; i < signature.size(); ++i)
      EXPECT_EQ(verify(hash, altered_at(signature, i)), SOR_HASHNOTEQUALERR) << i;
    EXPECT_EQ(verify(Bytes(48), signature), is_sm2(name) ? SOR_INDATALENERR : SOR_NOTSUPPORTYETERR);
  }
}

Bytes signed_file(uint32_t flag, const char* name) {
  return output_of(
      [&](uint8_t* out, uint32_t* length) { return SOF_Ext_PKCS7_SignFile(flag, name, kFile, out, length); });
}

uint32_t verify_message(uint32_t flag, const Bytes& message) {
  return SOF_Ext_PKCS7_VerifySignedFile(flag, message.data(), size_of(message), kFile);
}

// Changes each byte of a part of the message in turn and expects the given code.
void expect_refused(uint32_t flag, const Bytes& message, const Bytes& part, size_t step, uint32_t code) {
  const auto place = std::search(message.begin(), message.end(), part.begin(), part.end());
  ASSERT_NE(place, message.end());
  const auto from = static_cast<size_t>(place - message.begin());
  for (size_t i = from; i < from + part.size(); i += step)
    EXPECT_EQ(verify_message(flag, altered_at(message, i)), code) << i;
}

// The signature is the last element of a message.
Bytes signature_in(const char* name, const Bytes& message) {
  return {message.end() - (is_sm2(name) ? 64 : 256), message.end()};
}

TEST_F(SignatureFunctions, AttachedFileMessagesVerify) {
  for (const char* name : kScannedKeys) {
    SCOPED_TRACE(name);
    const Bytes message = signed_file(0, name);
    EXPECT_EQ(verify_message(0, message), SOR_OK);
    EXPECT_EQ(verify_message(1, message), SOR_OK);
    expect_refused(0, message, kContent, 499, SOR_HASHNOTEQUALERR);
    // Only the last integer of an SM2 signature: changes there leave its DER encoding valid.
    const Bytes signature = signature_in(name, message);
    expect_refused(0, message, {signature.end() - 32, signature.end()}, 1, SOR_HASHNOTEQUALERR);
    write_file(kFile, altered_at(kContent, 10));
    EXPECT_EQ(verify_message(0, message), SOR_OK);
    EXPECT_EQ(verify_message(1, message), SOR_HASHNOTEQUALERR);
    write_file(kFile, kContent);
  }
}

TEST_F(SignatureFunctions, DetachedFileMessagesVerify) {
  for (const char* name : kScannedKeys) {
    SCOPED_TRACE(name);
    const Bytes message = signed_file(1, name);
    EXPECT_EQ(verify_message(1, message), SOR_OK);
    EXPECT_LT(message.size(), kContent.size());
    const Bytes signature = signature_in(name, message);
    expect_refused(1, message, {signature.end() - 32, signature.end()}, 1, SOR_HASHNOTEQUALERR);
    // The signed attributes contain the hash of the content.
    expect_refused(1, message, hash_of(digest_of_key(name), kContent), 1, SOR_HASHNOTEQUALERR);
    for (size_t i = 0; i < kContent.size(); i += 499) {
      write_file(kFile, altered_at(kContent, i));
      EXPECT_EQ(verify_message(1, message), SOR_HASHERR) << i;
    }
    write_file(kFile, kContent);
  }
}

TEST_F(SignatureFunctions, FileMessagesOverAHashVerifyOverTheContent) {
  const char* rsa = kScannedKeys[1];
  for (const Digest digest : {kSha1, kSha256}) {
    write_file(kFile, hash_of(digest, kContent));
    const Bytes message = signed_file(2, rsa);
    write_file(kFile, kContent);
    EXPECT_EQ(verify_message(1, message), SOR_OK);
    write_file(kFile, altered_at(kContent, 10));
    EXPECT_EQ(verify_message(1, message), SOR_HASHNOTEQUALERR);
    write_file(kFile, kContent);
  }
  uint32_t length = 4096;
  Bytes output(length);
  EXPECT_EQ(SOF_Ext_PKCS7_SignFile(2, rsa, kFile, output.data(), &length), SOR_NOTSUPPORTYETERR);
  EXPECT_EQ(SOF_Ext_PKCS7_SignFile(2, kScannedKeys[0], kFile, output.data(), &length), SOR_NOTSUPPORTYETERR);
  for (const char* name : kScannedKeys)
    EXPECT_EQ(SOF_Ext_PKCS7_SignFile(3, name, kFile, output.data(), &length), SOR_NOTSUPPORTYETERR);
  EXPECT_EQ(SOF_Ext_PKCS7_SignFile(0, "SM2_DEMO", kFile, output.data(), &length), SOR_CERTNOTFOUNDERR);
}

TEST_F(SignatureFunctions, AFileInBase64IsDecodedBeforeItIsSigned) {
  for (const char* name : kScannedKeys) {
    write_file(kFile, bytes_of(base64_of(kContent)));
    ASSERT_EQ(SOF_SetSignMethod(16), SOR_OK);
    const Bytes message = signed_file(1, name);
    uint32_t length = 4096;
    Bytes output(length);
    write_file(kFile, bytes_of("not base64!"));
    EXPECT_EQ(SOF_Ext_PKCS7_SignFile(1, name, kFile, output.data(), &length), SOR_INDATAERR);
    write_file(kFile, kContent);
    EXPECT_EQ(verify_message(1, message), SOR_OK);
    ASSERT_EQ(SOF_SetSignMethod(0), SOR_OK);
  }
}

TEST_F(SignatureFunctions, MessagesVerifyWithAHash) {
  const auto verify = [](const Bytes& message, const Bytes& hash) {
    return SOF_Ext_VerifySignedMessage(message.data(), size_of(message), hash.data(), size_of(hash));
  };
  const Bytes rsa = signed_file(0, kScannedKeys[1]);
  const Bytes hash = hash_of(kSha256, kContent);
  EXPECT_EQ(verify(rsa, hash), SOR_OK);
  EXPECT_EQ(verify(rsa, altered_at(hash, 3)), SOR_HASHNOTEQUALERR);
  EXPECT_EQ(verify(altered_at(rsa, rsa.size() - 1), hash), SOR_HASHNOTEQUALERR);
  EXPECT_EQ(verify(signed_file(1, kScannedKeys[1]), hash), SOR_HASHERR);
  EXPECT_EQ(verify(signed_file(0, kScannedKeys[0]), hash), SOR_OK);
  EXPECT_EQ(verify(Bytes(rsa.begin(), rsa.end() - 1), hash), SOR_OBJERR);
}

TEST_F(SignatureFunctions, MessageIdentifiersAreReplacedInBothDirections) {
  const auto replaced = [](uint32_t mode, const Bytes& message) {
    Bytes output(message.size() + 100);
    uint32_t length = size_of(output);
    EXPECT_EQ(
        SOF_Ext_ReplaceSM2Pkcs7SignedOID(mode, message.data(), size_of(message), output.data(), &length),
        SOR_OK);
    output.resize(length);
    return output;
  };
  for (const uint32_t flag : {0u, 1u}) {
    const Bytes message = signed_file(flag, kScannedKeys[0]);
    const Bytes international = replaced(1, message);
    EXPECT_NE(international, message);
    EXPECT_EQ(replaced(0, international), message);
  }
  EXPECT_EQ(verify_message(0, replaced(1, signed_file(0, kScannedKeys[0]))), SOR_OK);
}

TEST_F(SignatureFunctions, CertificateAlgorithms) {
  const std::pair<const char*, uint32_t> algorithms[] = {{kKeys[0], 40}, {kKeys[1], 10}, {kKeys[2], 0}};
  for (const auto& [name, expected] : algorithms) {
    const Bytes certificate = signing_certificate(name);
    uint32_t algorithm = 99;
    EXPECT_EQ(SOF_GetCertAlg(certificate.data(), size_of(certificate), &algorithm), SOR_OK);
    EXPECT_EQ(algorithm, expected) << name;
  }
}

}  // namespace
