#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/signed_xml.h"

namespace velm::token {
namespace {

constexpr size_t kItems = 6;

uint32_t verify(std::string_view document) {
  return SAF_Ext_XMLVerify(nullptr, 0, as_bytes(document).data(), static_cast<uint32_t>(document.size()));
}

uint32_t parse(std::string_view document, uint8_t* (&buffers)[kItems], uint32_t (&lengths)[kItems]) {
  return SAF_Ext_XMLParse(nullptr, 0, as_bytes(document).data(), static_cast<uint32_t>(document.size()),
                          buffers[0], &lengths[0], buffers[1], &lengths[1], buffers[2], &lengths[2],
                          buffers[3], &lengths[3], buffers[4], &lengths[4], buffers[5], &lengths[5]);
}

// Reads the items like the library: a size query, then buffers with incoming lengths of 0.
std::vector<Bytes> items_of(std::string_view document, uint32_t& code) {
  uint8_t* buffers[kItems] = {};
  uint32_t lengths[kItems] = {};
  code = parse(document, buffers, lengths);
  if (code != 0) return {};
  std::vector<Bytes> items;
  for (const uint32_t length : lengths) items.emplace_back(length);
  for (size_t i = 0; i < kItems; ++i) {
    buffers[i] = items[i].data();
    lengths[i] = 0;
  }
  code = parse(document, buffers, lengths);
  for (size_t i = 0; i < kItems; ++i) EXPECT_EQ(lengths[i], items[i].size());
  return items;
}

std::string replaced(std::string text, std::string_view what, std::string_view with) {
  const size_t at = text.find(what);
  EXPECT_NE(at, std::string::npos) << what;
  if (at != std::string::npos) text.replace(at, what.size(), with);
  return text;
}

const XmlSigner& rsa() {
  static const XmlSigner signer = xml_signers()[1];
  return signer;
}

TEST(XmlSignature, EveryFormVerifiesWithEveryKey) {
  for (const XmlSigner& by : xml_signers()) {
    SCOPED_TRACE(by.signature_uri);
    EXPECT_EQ(verify(enveloped_xml(by)), 0u);
    EXPECT_EQ(verify(enveloping_xml(by)), 0u);
    EXPECT_EQ(verify(detached_xml(by)), 0u);
  }
}

TEST(XmlSignature, TheRootMayBeNamedByItsIdentifier) {
  const std::string start = "<root Id=\"all\"><text>signed</text>";
  EXPECT_EQ(
      verify(start + xml_signature(rsa(), xml_reference(rsa(), "#all", start + "</root>", kXmlEnveloped)) +
             "</root>"),
      0u);
}

TEST(XmlSignature, WhatIsNoPartOfTheCanonicalFormMayDiffer) {
  const std::string document = enveloped_xml(rsa());
  EXPECT_EQ(verify("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- a remark -->" + document + "\n"), 0u);
  EXPECT_EQ(verify(replaced(document, "<root a=\"1\" b=\"2\">", "<root  b='2'\n a='1' >")), 0u);
  EXPECT_EQ(verify(replaced(document, "<SignatureValue>", "<SignatureValue>\r\n  ")), 0u);
  EXPECT_EQ(verify(replaced(document, "<text>what", "<text><!-- a remark --><![CDATA[what]]>")), 0u);
}

TEST(XmlSignature, HasSixItems) {
  for (const XmlSigner& by : xml_signers()) {
    const std::string document = enveloped_xml(by);
    uint32_t code = 1;
    const std::vector<Bytes> items = items_of(document, code);
    ASSERT_EQ(code, 0u);
    const std::string original = "<root a=\"1\" b=\"2\"><text>what was signed, \xE6\x96\x87</text></root>";
    EXPECT_EQ(as_text(items[0]), original);
    EXPECT_EQ(items[1], hash(by.digest, as_bytes(original)));
    EXPECT_NE(document.find(xml_element("SignatureValue", base64_encode(items[2]))), std::string::npos);
    EXPECT_EQ(items[3], by.signer.certificate);
    EXPECT_EQ(as_text(items[4]), by.digest_uri);
    EXPECT_EQ(as_text(items[5]), by.signature_uri);
  }
}

TEST(XmlSignature, ItemsAreReadWithoutVerifying) {
  const std::string altered = replaced(enveloped_xml(rsa()), "what was signed", "what was changed");
  uint32_t code = 1;
  EXPECT_NE(as_text(items_of(altered, code)[0]).find("what was changed"), std::string::npos);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(verify(altered), kSafHashNotEqual);
}

// As in every verification of this module, the certificate is not checked. A changed byte of it outside its
// public key results in another signer, which the certificate item shows.
TEST(XmlSignature, OneAlteredByteAnywhereIsRefused) {
  for (const XmlSigner& by : xml_signers()) {
    for (const std::string& document : {enveloped_xml(by), enveloping_xml(by), detached_xml(by)}) {
      const size_t certificate = document.find("<X509Certificate>") + 17;
      const size_t certificate_end = document.find("</X509Certificate>");
      for (size_t i = 0; i < document.size(); ++i) {
        std::string altered = document;
        altered[i] = static_cast<char>(altered[i] ^ 1);
        if (verify(altered) != 0) continue;
        ASSERT_TRUE(i >= certificate && i < certificate_end) << i << altered;
        uint32_t code = 1;
        ASSERT_NE(items_of(altered, code)[3], by.signer.certificate) << i;
      }
    }
  }
}

TEST(XmlSignature, WhatDoesNotVerifyHasTheCodeForIt) {
  for (const XmlSigner& by : xml_signers()) {
    const std::string document = enveloped_xml(by);
    EXPECT_EQ(verify(replaced(document, "what was", "what is")), kSafHashNotEqual);
    EXPECT_EQ(verify(replaced(document, "a=\"1\"", "a=\"2\"")), kSafHashNotEqual);
    const size_t value = document.find("<SignatureValue>") + 16;
    std::string altered = document;
    altered[value + 20] = altered[value + 20] == 'A' ? 'B' : 'A';
    EXPECT_EQ(verify(altered), kSafHashNotEqual);
    EXPECT_EQ(verify(replaced(document, "<DigestValue>", "<DigestValue>AAAA")), kSafHashNotEqual);
    EXPECT_EQ(verify(replaced(
                  document, base64_encode(by.signer.certificate),
                  base64_encode(Signer(kind_of(by.signer.key.get()),
                                       kind_of(by.signer.key.get()) == KeyKind::sm2 ? generate_sm2_key()
                                                                                    : generate_rsa_key(1024))
                                    .certificate))),
              kSafHashNotEqual);
  }
}

TEST(XmlSignature, BytesHaveOneFormInBase64) {
  std::string document = enveloped_xml(rsa());
  const size_t padding = document.find("==</SignatureValue>");
  ASSERT_NE(padding, std::string::npos);
  ++document[padding - 1];  // sets unused bits
  EXPECT_EQ(verify(document), kSafBadObject);
}

// References to the parts leave open which root they are in, and in which order.
TEST(XmlSignature, ReferencesToPartsDoNotCoverTheRoot) {
  const std::string part = "<part Id=\"part\">signed</part>";
  const std::string parts = xml_reference(rsa(), "#part", part);
  for (const std::string name : {"approve", "reject"}) {
    const std::string root = "<" + name + ">" + part + "</" + name + ">";
    const std::string end = "</" + name + ">";
    const auto document = [&](const std::string& references) {
      return replaced(root, end, xml_signature(rsa(), references) + end);
    };
    EXPECT_EQ(verify(document(parts)), kSafBadObject);
    EXPECT_EQ(verify(document(parts + xml_reference(rsa(), "", root, kXmlEnveloped))), 0u);
  }
}

// Documents with a valid signature that was moved so that it no longer covers their content.
TEST(XmlSignature, AMovedSignatureIsRefused) {
  const XmlSigner& by = rsa();
  const std::string part = "<part Id=\"part\">signed</part>";
  const std::string evil = "<part Id=\"evil\">not signed</part>";
  const std::string signature = xml_signature(
      by, xml_reference(by, "#part", part) + xml_reference(by, "", "<all>" + part + "</all>", kXmlEnveloped));
  ASSERT_EQ(verify("<all>" + part + signature + "</all>"), 0u);
  for (const std::string& document : {
           "<all>" + evil + part + signature + "</all>",
           "<all>" + evil + signature + "<hidden>" + part + "</hidden></all>",
           "<all>" + evil + "<hidden>" + part + signature + "</hidden></all>",
           "<all>" + part + signature + "</all><?other processing?>",
           "<?other processing?><all>" + part + signature + "</all>",
           "<all>" + part + "more text" + signature + "</all>",
           "<all>" + part + signature + "<![CDATA[more text]]></all>",
           "<all>" + part + signature + "<?other processing?></all>",
           "<all more=\"1\">" + part + signature + "</all>",
           "<all>" + signature + "</all>",
           "<all>" + part + part + signature + "</all>",
           "<all>" + part + replaced(evil, "Id=\"evil\"", "ID=\"part\"") + signature + "</all>",
           "<all>" + part + replaced(evil, "Id=\"evil\"", "xml:id=\"part\"") + signature + "</all>",
           "<all>" + part + signature + signature + "</all>",
           "<all>" + signature + part + "</all>",
           "<all><part Id=\"part\">signed" + signature + "</part></all>",
           "<all><hidden>" + part + "</hidden>" + signature + "</all>",
           replaced(signature, "</Signature>", "<Object>" + part + "</Object></Signature>"),
       }) {
    EXPECT_NE(verify(document), 0u) << document;
  }

  const std::string enveloping = enveloping_xml(by);
  for (const char* more : {"<Object>not signed</Object></Signature>", "text</Signature>",
                           "<other xmlns=\"\"></other></Signature>"}) {
    EXPECT_EQ(verify(replaced(enveloping, "</Signature>", more)), kSafBadObject) << more;
  }
  EXPECT_EQ(verify(replaced(enveloping, "<SignatureValue>", "text<SignatureValue>")), kSafBadObject);
}

// The enveloped-signature transform removes the signature and everything inside it.
TEST(XmlSignature, OverNothingIsRefused) {
  const XmlSigner& by = rsa();
  const std::string object = "<Object Id=\"object\">not signed</Object>";
  for (const char* uri : {"", "#object", "#signature"}) {
    const std::string signature =
        xml_signature(by, xml_reference(by, uri, "", kXmlEnveloped), xml_key_info(by), object);
    EXPECT_EQ(verify(replaced(signature, "<Signature ", "<Signature Id=\"signature\" ")), kSafBadObject)
        << uri;
  }
  EXPECT_EQ(verify("<root>" + xml_signature(by, "") + "</root>"), kSafBadObject);
}

TEST(XmlSignature, DocumentTypesAreRefused) {
  const std::string document = enveloped_xml(rsa());
  const std::string nothing = "<!DOCTYPE root>" + document;
  EXPECT_EQ(verify(nothing), kSafBadObject);

  write_file("xml_signature_test.txt", as_bytes("what was signed"));
  const std::string external = "<!DOCTYPE root [<!ENTITY e SYSTEM \"xml_signature_test.txt\">]>" +
                               replaced(document, "what was signed", "&e;");
  EXPECT_EQ(verify(external), kSafBadObject);
  EXPECT_EQ(verify("<!DOCTYPE root SYSTEM \"xml_signature_test.txt\">" + document), kSafBadObject);
  std::remove("xml_signature_test.txt");

  std::string laughs = "<!DOCTYPE root [<!ENTITY e0 \"laugh\">";
  for (int i = 1; i < 20; ++i) {
    const std::string inner = "&e" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY e" + std::to_string(i) + " \"" + inner + inner + inner + inner + "\">";
  }
  EXPECT_EQ(verify(laughs + "]>" + replaced(document, "what was signed", "&e19;")), kSafBadObject);

  uint32_t code = 0;
  items_of(nothing, code);
  EXPECT_EQ(code, kSafBadObject);
}

TEST(XmlSignature, DocumentsAreBounded) {
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "<a>";
  EXPECT_EQ(verify(deep), kSafBadObject);
  const std::string large(16 * 1024 * 1024, ' ');
  EXPECT_EQ(verify(large), kSafBadObject);
  EXPECT_EQ(verify(large + " "), kSafBadLength);

  const auto attributes = [](const std::string& prefix, const std::string& equals, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += " " + prefix + std::to_string(i) + equals + "'u'";
    return all;
  };
  for (const char* prefix : {"a", "xmlns:a"}) {
    EXPECT_EQ(verify("<root" + attributes(prefix, "=", 256) + "/>"), kSafObjectNotFound);
    for (const char* equals : {"=", " =\n "})
      EXPECT_EQ(verify("<root" + attributes(prefix, equals, 257) + "/>"), kSafBadObject);
  }
  // Every value looks like the end of the element.
  std::string seeming = "<root";
  for (int i = 0; i < 100'000; ++i) seeming += " a" + std::to_string(i) + "='>'";
  EXPECT_EQ(verify(seeming + "/>"), kSafBadObject);
  // Text before an element does not hide it.
  const std::string crowded = "<e" + attributes("a", "=", 257) + "/>";
  for (const char* front : {"<!-- <e a='-->", "<![CDATA[<e a=\"]]>", "<?e a='?>", "<e a='>'/>", "='"})
    EXPECT_EQ(verify("<root>" + std::string(front) + crowded + "</root>"), kSafBadObject) << front;
  const std::string inner = "<e" + attributes("xmlns:b", "=", 200) + "></e>";
  EXPECT_EQ(verify("<root>" + inner + inner + "</root>"), kSafObjectNotFound);
  EXPECT_EQ(verify("<root" + attributes("xmlns:a", "=", 200) + ">" + inner + "</root>"), kSafBadObject);

  for (const auto& [parts, code] : {std::pair{15, 0u}, {16, uint32_t{kSafNotSupported}}}) {
    std::string content = "<root>";
    std::string references;
    for (int i = 0; i < parts; ++i) {
      const std::string id = "part" + std::to_string(i);
      const std::string part = xml_element("part", "", "Id=\"" + id + "\"");
      content += part;
      references += xml_reference(rsa(), "#" + id, part);
    }
    references += xml_reference(rsa(), "", content + "</root>", kXmlEnveloped);
    EXPECT_EQ(verify(content + xml_signature(rsa(), references) + "</root>"), code);
  }
}

TEST(XmlSignature, TwoReferencesToOneElementAreRefused) {
  const std::string start = "<root Id=\"all\"><part Id=\"part\">signed</part>";
  const std::string part = xml_reference(rsa(), "#part", "<part Id=\"part\">signed</part>");
  const std::string whole = xml_reference(rsa(), "", start + "</root>", kXmlEnveloped);
  const std::string root = xml_reference(rsa(), "#all", start + "</root>", kXmlEnveloped);
  const auto code_with = [&](const std::string& references) {
    return verify(start + xml_signature(rsa(), references) + "</root>");
  };
  EXPECT_EQ(code_with(part + whole), 0u);
  EXPECT_EQ(code_with(part + root), 0u);
  for (const std::string& references : {part + part + whole, whole + whole, whole + root})
    EXPECT_EQ(code_with(references), kSafBadObject);
}

TEST(XmlSignature, WhatLooksLikeAttributesOutsideATagIsNotCounted) {
  std::string many;
  for (int i = 0; i < 300; ++i) many += " a=\"b\"";
  const auto verify_with = [](const std::string& written, const std::string& covered) {
    const std::string canonical = "<root>" + covered + "</root>";
    return verify("<root>" + written +
                  xml_signature(rsa(), xml_reference(rsa(), "", canonical, kXmlEnveloped)) + "</root>");
  };
  EXPECT_EQ(verify_with(many, many), 0u);
  EXPECT_EQ(verify_with("<e>" + many + "</e>", "<e>" + many + "</e>"), 0u);
  EXPECT_EQ(verify_with("<![CDATA[" + many + "]]>", many), 0u);
  EXPECT_EQ(verify_with("<!--" + many + "-->", ""), 0u);
  EXPECT_EQ(verify_with("<?e" + many + "?>", "<?e" + many + "?>"), 0u);
}

TEST(XmlSignature, OtherEncodingsAreRefused) {
  const std::string document = enveloped_xml(rsa());
  std::string wide("\xFF\xFE", 2);
  for (const char c : document.substr(0, document.find("what"))) wide += {c, '\0'};
  EXPECT_EQ(verify(wide + wide), kSafBadObject);
  EXPECT_EQ(verify("<?xml version=\"1.0\" encoding=\"GBK\"?>" + document), kSafBadObject);
}

// Exclusive canonicalization leaves out the declaration of a prefix that only values use.
TEST(XmlSignature, PrefixesInValuesAreCovered) {
  const std::string exclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";
  XmlSigner by = rsa();
  by.canonicalization_uri = exclusive;
  const auto code_of = [&](const std::string& start, const std::string& canonical_start,
                           const std::string& prefixes = "") {
    const std::string list = "xmlns=\"" + exclusive + "\" PrefixList=\"" + prefixes + "\"";
    const std::string transforms = xml_element(
        "Transforms", xml_method("Transform", "http://www.w3.org/2000/09/xmldsig#enveloped-signature") +
                          xml_element("Transform", xml_element("InclusiveNamespaces", "", list),
                                      "Algorithm=\"" + exclusive + "\""));
    const std::string references = xml_reference(by, "", canonical_start + "</root>", transforms);
    return verify(start + xml_signature(by, references) + "</root>");
  };
  const std::string root = "<root xmlns:p=\"urn:p\" xmlns:q=\"urn:q\">";
  const std::string with_p = "<root xmlns:p=\"urn:p\">";
  for (const std::string content :
       {"<item type=\"p:type\"></item>", "<item>p:type</item>", "<item><![CDATA[/q:order/p:item]]></item>",
        "<item>a p<![CDATA[:]]>type</item>"}) {
    const size_t data = content.find("<![CDATA[");
    const std::string text =
        data == std::string::npos ? content : replaced(replaced(content, "<![CDATA[", ""), "]]>", "");
    EXPECT_EQ(code_of(root + content, "<root>" + text), kSafBadObject) << content;
    EXPECT_EQ(code_of(with_p + content, with_p + text, "p"), 0u) << content;
    EXPECT_EQ(code_of(root + content, root + text, "p q"), 0u) << content;
  }
  for (const std::string content : {"<item>p</item>", "<item>other:type xp:type</item>", "<item>p :</item>"})
    EXPECT_EQ(code_of(root + content, "<root>" + content), 0u) << content;

  // A name that uses the prefix covers the values in it, but not those of another declaration.
  const std::string named = "<p:item type=\"p:type\"><inner>p:type</inner></p:item>";
  EXPECT_EQ(code_of(root + named, "<root>" + replaced(named, "<p:item", "<p:item xmlns:p=\"urn:p\"")), 0u);
  const std::string redeclared = replaced(named, "<inner>", "<inner xmlns:p=\"urn:other\">");
  EXPECT_EQ(code_of(root + redeclared, "<root>" + replaced(named, "<p:item", "<p:item xmlns:p=\"urn:p\"")),
            kSafBadObject);
}

TEST(XmlSignature, CallsAtTheSameTimeHaveTheirOwnResults) {
  const std::string good = enveloped_xml(rsa());
  const std::string bad = replaced(good, "what was", "what is");
  std::atomic<int> failures{0};
  std::vector<std::thread> callers;
  for (int caller = 0; caller < 8; ++caller) {
    callers.emplace_back([&, caller] {
      for (int turn = 0; turn < 20; ++turn) {
        const bool expect_good = (caller + turn) % 2 == 0;
        if (verify(expect_good ? good : bad) != (expect_good ? 0 : kSafHashNotEqual)) ++failures;
      }
    });
  }
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(failures, 0);
}

TEST(XmlSignature, OnlyKnownAlgorithmsAndPlacesAreFollowed) {
  const XmlSigner& by = rsa();
  const auto code_with = [&](const std::string& uri, const std::string& transforms) {
    return verify("<root>" + xml_signature(by, xml_reference(by, uri, "<root></root>", transforms)) +
                  "</root>");
  };
  const std::string enveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
  const std::string canonical = "http://www.w3.org/2001/10/xml-exc-c14n#";
  EXPECT_EQ(code_with("", xml_transforms({enveloped, canonical})), 0u);
  EXPECT_EQ(code_with("", xml_transforms({canonical, enveloped})), kSafNotSupported);
  EXPECT_EQ(code_with("", xml_transforms({enveloped, canonical, canonical})), kSafNotSupported);
  EXPECT_EQ(code_with("", ""), kSafBadObject);
  for (const char* transform :
       {"http://www.w3.org/TR/1999/REC-xpath-19991116", "http://www.w3.org/2002/06/xmldsig-filter2",
        "http://www.w3.org/TR/1999/REC-xslt-19991116", "http://www.w3.org/2000/09/xmldsig#base64",
        "http://www.w3.org/2001/04/xmldsig-more/xptr", "unknown"}) {
    EXPECT_EQ(code_with("", xml_transforms({enveloped, transform})), kSafAlgorithm) << transform;
  }
  for (const char* uri : {"xml_signature_test.txt", "file:///etc/passwd", "http://127.0.0.1/", "#xpointer(/)",
                          "#xpointer(id('x'))", "#"}) {
    EXPECT_EQ(code_with(uri, kXmlEnveloped), kSafNotSupported) << uri;
  }
  EXPECT_EQ(code_with("#nothing", kXmlEnveloped), kSafObjectNotFound);

  const auto code_by = [&](std::string XmlSigner::*algorithm, const std::string& uri) {
    XmlSigner other = by;
    other.*algorithm = uri;
    return verify(enveloped_xml(other));
  };
  for (const std::string uri :
       {"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512", "http://www.w3.org/2000/09/xmldsig#hmac-sha1",
        "urn:oid:1.2.156.10197.1.501", "unknown"}) {
    EXPECT_EQ(code_by(&XmlSigner::signature_uri, uri), kSafAlgorithm) << uri;
  }
  EXPECT_EQ(code_by(&XmlSigner::digest_uri, "http://www.w3.org/2001/04/xmldsig-more#md5"), kSafAlgorithm);
  EXPECT_EQ(code_by(&XmlSigner::canonicalization_uri, enveloped), kSafAlgorithm);
}

TEST(XmlSignature, WhatIsNotSignedXmlIsRefused) {
  for (const char* document : {"x", "<root>", "<root></other>", "<root/><root/>", "<root>&undeclared;</root>",
                               "<root>\xFF\xFE</root>", "<?xml version=\"1.0\"?>"}) {
    EXPECT_EQ(verify(document), kSafBadObject) << document;
  }
  EXPECT_EQ(verify("<root/>"), kSafObjectNotFound);
  EXPECT_EQ(verify("<Signature/>"), kSafObjectNotFound);
  EXPECT_EQ(verify("<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/>"), kSafBadObject);

  const std::string document = enveloped_xml(rsa());
  for (size_t length = 1; length < document.size(); ++length)
    EXPECT_EQ(verify(std::string_view(document).substr(0, length)), kSafBadObject);
  EXPECT_EQ(verify(replaced(document, xml_key_info(rsa()), "")), kSafCertificateNotFound);
  EXPECT_EQ(verify(replaced(document, xml_key_info(rsa()), "<KeyInfo></KeyInfo>")), kSafCertificateNotFound);
  EXPECT_EQ(verify(replaced(document, base64_encode(rsa().signer.certificate), "AAAA")),
            kSafCertificateFormat);
  EXPECT_EQ(verify(replaced(document, " URI=\"\"", "")), kSafBadObject);

  EXPECT_EQ(SAF_Ext_XMLVerify(nullptr, 0, nullptr, 5), kSafBadInput);
  EXPECT_EQ(verify(std::string_view(document).substr(0, 0)), kSafBadLength);
  uint32_t length = 99;
  EXPECT_EQ(SAF_Ext_XMLParse(nullptr, 0, as_bytes(document).data(), size_of(as_bytes(document)), nullptr,
                             &length, nullptr, &length, nullptr, &length, nullptr, &length, nullptr, &length,
                             nullptr, nullptr),
            kSafBadInput);
  EXPECT_EQ(length, 99u);
}

// The digest fits the first of the two elements or the last, so that no other rule refuses the document.
TEST(XmlSignature, AnIdentifierNamesOneElement) {
  const std::string spellings[] = {"Id", "ID", "id"};
  for (const std::string& first_name : spellings) {
    for (const std::string& second_name : spellings) {
      const std::string first = "<part " + first_name + "=\"part\">one</part>";
      const std::string second = "<part " + second_name + "=\"part\">two</part>";
      const std::string other = "<part " + second_name + "=\"other\">two</part>";
      const auto code_of = [&](const std::string& parts, const std::string& referenced) {
        const std::string references = xml_reference(rsa(), "#part", referenced) +
                                       xml_reference(rsa(), "", "<root>" + parts + "</root>", kXmlEnveloped);
        return verify("<root>" + parts + xml_signature(rsa(), references) + "</root>");
      };
      EXPECT_EQ(code_of(first + other, first), 0u);
      EXPECT_EQ(code_of(first + second, first), kSafBadObject) << first_name << second_name;
      EXPECT_EQ(code_of(first + second, second), kSafBadObject) << first_name << second_name;
    }
  }
}

// Applications could take either for the one that was verified. The root's covers everything around it.
TEST(XmlSignature, ADocumentHasOneSignature) {
  const std::string inner = enveloped_xml(rsa());
  const std::string empty = "<Signature xmlns=\"" + std::string(kXmlSignatureNamespace) + "\"></Signature>";
  const std::string other = replaced(empty, "Signature xmlns=\"http", "Signature xmlns=\"urn:other:http");
  for (const std::string& content : {inner, empty, "<part>" + empty + "</part>", other}) {
    const std::string start = "<all>" + content;
    EXPECT_EQ(verify(start + xml_signature(rsa(), xml_reference(rsa(), "", start + "</all>", kXmlEnveloped)) +
                     "</all>"),
              content == other ? kSafSuccess : kSafBadObject)
        << content;
  }
}

TEST(XmlSignature, TheFirstCertificateIsTheSigners) {
  const XmlSigner by = rsa();
  const Signer other(KeyKind::rsa, generate_rsa_key(1024));
  const auto document = [&](const Bytes& first, const Bytes& second) {
    const std::string content =
        xml_element("X509Data", xml_element("X509Certificate", base64_encode(first)) +
                                    xml_element("X509Certificate", base64_encode(second)));
    const std::string canonical =
        xml_element("KeyInfo", content, "xmlns=\"" + std::string(kXmlSignatureNamespace) + "\" Id=\"key\"");
    return "<root>" +
           xml_signature(
               by,
               xml_reference(by, "", "<root></root>", kXmlEnveloped) + xml_reference(by, "#key", canonical),
               xml_element("KeyInfo", content, "Id=\"key\"")) +
           "</root>";
  };
  EXPECT_EQ(verify(document(by.signer.certificate, other.certificate)), 0u);
  EXPECT_EQ(verify(document(other.certificate, by.signer.certificate)), kSafHashNotEqual);
  uint32_t code = 1;
  EXPECT_EQ(items_of(document(by.signer.certificate, other.certificate), code)[3], by.signer.certificate);
}

// Whole documents, which differ from a signed one in nothing but their encoding.
TEST(XmlSignature, AWholeDocumentInAWideEncodingIsRefused) {
  const std::string start = "<root><text>signed</text>";
  const std::string document =
      start + xml_signature(rsa(), xml_reference(rsa(), "", start + "</root>", kXmlEnveloped)) + "</root>";
  ASSERT_EQ(verify(document), 0u);
  std::string low_first = "\xFF\xFE";
  std::string high_first = "\xFE\xFF";
  for (const char c : document) {
    low_first += {c, '\0'};
    high_first += {'\0', c};
  }
  EXPECT_EQ(verify(low_first), kSafBadObject);
  EXPECT_EQ(verify(high_first), kSafBadObject);
}

TEST(XmlSignature, DepthIsBounded) {
  const auto nested = [](int levels) {
    std::string opened, closed;
    for (int i = 0; i < levels; ++i) {
      opened += "<a>";
      closed += "</a>";
    }
    return opened + closed;
  };
  EXPECT_EQ(verify(nested(256)), kSafObjectNotFound);
  EXPECT_EQ(verify(nested(257)), kSafBadObject);
}

}  // namespace
}  // namespace velm::token
