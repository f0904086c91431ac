#include <gtest/gtest.h>

#include <cstdlib>

#include <openssl/pem.h>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/signed_xml.h"

namespace velm::token {
namespace {

constexpr const char* kInclusive = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr const char* kInclusive11 = "http://www.w3.org/2006/12/xml-c14n11";
constexpr const char* kExclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr const char* kEnvelopedUri = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";

/** The system's XML signature program as the peer, with a key of this test. */
class XmlInteroperability : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    const Bio key(BIO_new_file("xml_peer.key", "wb"));
    ASSERT_EQ(PEM_write_bio_PrivateKey(key.get(), rsa_2048_signer().key.get(), nullptr, nullptr, 0, nullptr,
                                       nullptr),
              1);
    const Bio certificate(BIO_new_file("xml_peer.crt", "wb"));
    ASSERT_EQ(PEM_write_bio_X509(certificate.get(), parse_certificate(rsa_2048_signer().certificate).get()),
              1);
  }

  static bool run(const std::string& arguments) {
    return std::system(("xmlsec1 " + arguments + " >xml_peer.log 2>&1").c_str()) == 0;
  }
  static std::string log() { return as_text(file_bytes("xml_peer.log")); }

  // Returns the document with the values that the peer filled into its template.
  static std::string signed_by_peer(const std::string& document) {
    write_file("xml_peer.xml", as_bytes(document));
    EXPECT_TRUE(
        run("--sign --privkey-pem xml_peer.key,xml_peer.crt --id-attr:Id Object --id-attr:Id part "
            "--output xml_peer_signed.xml xml_peer.xml"))
        << log();
    return as_text(file_bytes("xml_peer_signed.xml"));
  }

  static bool peer_verifies(const std::string& document) {
    write_file("xml_peer_signed.xml", as_bytes(document));
    return run(
        "--verify --insecure --id-attr:Id Object --id-attr:Id part --id-attr:ID part "
        "xml_peer_signed.xml");
  }

  static uint32_t verify(const std::string& document) {
    return SAF_Ext_XMLVerify(nullptr, 0, as_bytes(document).data(), size_of(as_bytes(document)));
  }
};

std::string reference_template(const std::string& uri, const std::string& transforms,
                               const std::string& digest) {
  return "\n    <ds:Reference URI=\"" + uri + "\">" + transforms + "<ds:DigestMethod Algorithm=\"" + digest +
         "\"/><ds:DigestValue/></ds:Reference>";
}

std::string transforms_template(const std::vector<std::string>& uris) {
  std::string all;
  for (const std::string& uri : uris) all += "<ds:Transform Algorithm=\"" + uri + "\"/>";
  return "<ds:Transforms>" + all + "</ds:Transforms>";
}

std::string signature_template(const std::string& canonicalization, const std::string& references,
                               const std::string& signature, const std::string& objects = "") {
  return "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">\n  <ds:SignedInfo>\n"
         "    <ds:CanonicalizationMethod Algorithm=\"" +
         canonicalization +
         "\"/>\n"
         "    <ds:SignatureMethod Algorithm=\"" +
         signature + "\"/>" + references +
         "\n  </ds:SignedInfo>\n"
         "  <ds:SignatureValue/>\n  <ds:KeyInfo><ds:X509Data/></ds:KeyInfo>\n  " +
         objects + "</ds:Signature>";
}

TEST_F(XmlInteroperability, WeVerifyItsEnvelopedSignatures) {
  const XmlSigner sha256 = xml_signers()[1];
  const XmlSigner sha1 = xml_signers()[2];
  for (const XmlSigner& by : {sha256, sha1}) {
    for (const char* canonical : {kInclusive, kInclusive11, kExclusive}) {
      const std::string document = signed_by_peer(
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- an order -->\n<o:order xmlns:o=\"urn:order\" "
          "xmlns:unused='urn:unused' o:number='7'  date=\"today\">\n  <o:line name='a &amp; b' "
          "empty=''/>\t<![CDATA[<text> & more]]>\xE6\x96\x87 &#xD;&lt;<!-- a remark --><?process this?>\n" +
          signature_template(
              canonical,
              reference_template("", transforms_template({kEnvelopedUri, canonical}), by.digest_uri),
              by.signature_uri) +
          "\n</o:order>\n");
      EXPECT_EQ(verify(document), 0u) << document;
      std::string altered = document;
      altered[altered.find("today")] = 'T';
      EXPECT_EQ(verify(altered), kSafHashNotEqual);
    }
  }
}

TEST_F(XmlInteroperability, WeVerifyItsEnvelopingAndDetachedSignatures) {
  const XmlSigner by = xml_signers()[1];
  const auto signature = [&](const std::string& references, const std::string& objects) {
    return signature_template(kExclusive, references, by.signature_uri, objects);
  };
  const std::string whole = reference_template("", transforms_template({kEnvelopedUri}), by.digest_uri);
  for (const std::string& transforms : {std::string(), transforms_template({kExclusive})}) {
    const std::string it = reference_template("#it", transforms, by.digest_uri);
    EXPECT_EQ(verify(signed_by_peer(signature(
                  it, "<ds:Object Id=\"it\">\n<data xmlns=\"urn:data\" b='1' a='2'/></ds:Object>"))),
              0u);
    const std::string part = "<all xmlns=\"urn:all\">\n<part  Id='it'>signed</part>\n";
    EXPECT_EQ(verify(signed_by_peer(part + signature(it + whole, "") + "\n</all>")), 0u);
    EXPECT_EQ(verify(signed_by_peer(part + signature(it, "") + "\n</all>")), kSafBadObject);
  }
}

TEST_F(XmlInteroperability, ItVerifiesWhatTheTestsSign) {
  for (const XmlSigner& by : xml_signers()) {
    if (by.digest == DigestId::sm3) continue;  // the peer supports neither SM2 nor SM3
    for (const std::string& document : {enveloped_xml(by), enveloping_xml(by), detached_xml(by)}) {
      EXPECT_TRUE(peer_verifies(document)) << log();
      std::string altered = document;
      const size_t at = document.find(">one<") != std::string::npos ? document.find(">one<") + 1
                                                                    : document.find("what was signed");
      altered[at] = 'X';
      EXPECT_FALSE(peer_verifies(altered));
    }
  }
}

}  // namespace
}  // namespace velm::token
