// Tests signed XML with keys of the local service.
#include "library_calls.h"

namespace {

std::string element(const std::string& name, const std::string& content, const std::string& attributes = "") {
  return "<" + name + attributes + ">" + content + "</" + name + ">";
}

std::string method(const std::string& name, const std::string& uri) {
  return element(name, "", " Algorithm=\"" + uri + "\"");
}

struct Uris {
  std::string digest;
  std::string signature;
};

Uris uris_of(Digest digest) {
  switch (digest) {
    case kSm3:
      return {"urn:oid:1.2.156.10197.1.401", "urn:oid:1.2.156.10197.1.501"};
    case kSha1:
      return {"http://www.w3.org/2000/09/xmldsig#sha1", "http://www.w3.org/2000/09/xmldsig#rsa-sha1"};
    default:
      return {"http://www.w3.org/2001/04/xmlenc#sha256", "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"};
  }
}

const std::string kOriginal = "<order number=\"7\"><item>\xE5\xB0\x81\xE7\xAB\xA0</item></order>";

struct SignedXml {
  Bytes document;
  Bytes signature;
};

// An enveloped signature. The text is already in canonical form and can be signed as it is.
SignedXml signed_xml(const char* name) {
  const Digest digest = digest_of_key(name);
  const auto [digest_uri, signature_uri] = uris_of(digest);
  const std::string enveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
  const std::string content =
      method("CanonicalizationMethod", "http://www.w3.org/TR/2001/REC-xml-c14n-20010315") +
      method("SignatureMethod", signature_uri) +
      element("Reference",
              element("Transforms", method("Transform", enveloped)) + method("DigestMethod", digest_uri) +
                  element("DigestValue", base64_of(hash_of(digest, bytes_of(kOriginal)))),
              " URI=\"\"");
  const std::string name_space = " xmlns=\"http://www.w3.org/2000/09/xmldsig#\"";
  const Bytes signature = sign(name, bytes_of(element("SignedInfo", content, name_space)));
  const std::string certificate = element("X509Certificate", base64_of(signing_certificate(name)));
  std::string document = kOriginal;
  document.insert(document.rfind("</order>"),
                  element("Signature",
                          element("SignedInfo", content) + element("SignatureValue", base64_of(signature)) +
                              element("KeyInfo", element("X509Data", certificate)),
                          name_space));
  return {bytes_of(document), signature};
}

uint32_t verify(const Bytes& document) { return SOF_VerifySignedDataXML(document.data(), size_of(document)); }

TEST(XmlFunctions, SignedDocumentsVerifyAndReturnTheirItems) {
  for (const char* name : kKeys) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    const auto [document, signature] = signed_xml(name);
    EXPECT_EQ(verify(document), SOR_OK);
    const Uris uris = uris_of(digest_of_key(name));
    const Bytes expected[] = {bytes_of(kOriginal),
                              hash_of(digest_of_key(name), bytes_of(kOriginal)),
                              signature,
                              signing_certificate(name),
                              bytes_of(uris.digest),
                              bytes_of(uris.signature)};
    for (uint32_t type = 1; type <= 6; ++type) {
      EXPECT_EQ(output_of([&, &xml = document](uint8_t* out, uint32_t* length) {
                  return SOF_GetXMLSignatureInfo(xml.data(), size_of(xml), type, out, length);
                }),
                expected[type - 1])
          << type;
    }
    EXPECT_EQ(SOF_ValidateCert(expected[3].data(), size_of(expected[3])), SOR_OK);
    uint32_t length = 0;
    EXPECT_EQ(SOF_GetXMLSignatureInfo(document.data(), size_of(document), 7, nullptr, &length),
              SOR_NOTSUPPORTYETERR);
  }
}

TEST(XmlFunctions, ModifiedDocumentsAreRejected) {
  for (const char* name : kKeys) {
    SCOPED_TRACE(name);
    ASSERT_EQ(SOF_Login(name, kPin), SOR_OK);
    const Bytes document = signed_xml(name).document;
    const std::string text = text_of(document);
    // Up to the signature value; the certificate after it must be checked by the application.
    for (size_t i = 0; i < text.find("<KeyInfo>"); i += 3)
      EXPECT_NE(verify(altered_at(document, i)), SOR_OK) << i;
    EXPECT_EQ(verify(altered_at(document, text.find("number=\"7") + 8)), SOR_HASHNOTEQUALERR);
    // Another base64 digit, so that the signature is still well-formed but wrong.
    Bytes of_another_signature = document;
    uint8_t& digit = of_another_signature.at(text.find("<SignatureValue>") + 30);
    digit = digit == 'A' ? 'B' : 'A';
    EXPECT_EQ(verify(of_another_signature), SOR_HASHNOTEQUALERR);
    EXPECT_EQ(verify(bytes_of("<!DOCTYPE order>" + text)), SOR_OBJERR);
    EXPECT_EQ(verify(bytes_of("<all>" + text + text + "</all>")), SOR_OBJERR);
    EXPECT_EQ(verify(bytes_of(kOriginal)), SOR_NOTEXPORTERR);
  }
}

TEST(XmlFunctions, SigningIsNotSupported) {
  uint32_t length = 5;
  EXPECT_EQ(SOF_SignDataXML("SM2_DEMO", bytes_of(kOriginal).data(), 1, nullptr, &length),
            SOR_NOTSUPPORTYETERR);
}

}  // namespace
