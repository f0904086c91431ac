#pragma once

#include "softtoken/crypto/base64.h"
#include "softtoken/tests/providers/samples.h"

namespace velm::token {

constexpr const char* kXmlSignatureNamespace = "http://www.w3.org/2000/09/xmldsig#";

/** A signer with its algorithms. */
struct XmlSigner {
  const Signer& signer;
  DigestId digest;
  std::string digest_uri;
  std::string signature_uri;
  std::string canonicalization_uri = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
};

inline std::vector<XmlSigner> xml_signers() {
  return {{sm2_signer(), DigestId::sm3, "urn:oid:1.2.156.10197.1.401", "urn:oid:1.2.156.10197.1.501"},
          {rsa_2048_signer(), DigestId::sha256, "http://www.w3.org/2001/04/xmlenc#sha256",
           "http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"},
          {rsa_1024_signer(), DigestId::sha1, "http://www.w3.org/2000/09/xmldsig#sha1",
           "http://www.w3.org/2000/09/xmldsig#rsa-sha1"}};
}

inline std::string xml_element(const std::string& name, const std::string& content,
                               const std::string& attributes = "") {
  return "<" + name + (attributes.empty() ? "" : " " + attributes) + ">" + content + "</" + name + ">";
}

inline std::string xml_method(const std::string& name, const std::string& uri) {
  return xml_element(name, "", "Algorithm=\"" + uri + "\"");
}

inline std::string xml_transforms(const std::vector<std::string>& uris) {
  std::string all;
  for (const std::string& uri : uris) all += xml_method("Transform", uri);
  return xml_element("Transforms", all);
}

inline const std::string kXmlEnveloped =
    xml_transforms({"http://www.w3.org/2000/09/xmldsig#enveloped-signature"});

/** A reference to content with the canonical form `content`. */
inline std::string xml_reference(const XmlSigner& by, const std::string& uri, const std::string& content,
                                 const std::string& transforms = "") {
  return xml_element("Reference",
                     transforms + xml_method("DigestMethod", by.digest_uri) +
                         xml_element("DigestValue", base64_encode(hash(by.digest, as_bytes(content)))),
                     "URI=\"" + uri + "\"");
}

inline std::string xml_key_info(const XmlSigner& by) {
  return xml_element("KeyInfo", xml_element("X509Data", xml_element("X509Certificate",
                                                                    base64_encode(by.signer.certificate))));
}

/**
 * A signature in canonical form. The signed bytes are the text itself with the inherited namespace, so no XML
 * library is involved.
 */
inline std::string xml_signature(const XmlSigner& by, const std::string& references,
                                 const std::string& key_info, const std::string& objects = "") {
  const std::string content = xml_method("CanonicalizationMethod", by.canonicalization_uri) +
                              xml_method("SignatureMethod", by.signature_uri) + references;
  const std::string name_space = std::string("xmlns=\"") + kXmlSignatureNamespace + "\"";
  const std::string canonical = xml_element("SignedInfo", content, name_space);
  const Bytes value = sign_data(by.signer.key.get(), by.digest, as_bytes(canonical));
  return xml_element("Signature",
                     xml_element("SignedInfo", content) +
                         xml_element("SignatureValue", base64_encode(value)) + key_info + objects,
                     name_space);
}

inline std::string xml_signature(const XmlSigner& by, const std::string& references) {
  return xml_signature(by, references, xml_key_info(by));
}

/** `<root>` with text and an enveloped signature. */
inline std::string enveloped_xml(const XmlSigner& by) {
  const std::string start = "<root a=\"1\" b=\"2\"><text>what was signed, \xE6\x96\x87</text>";
  const std::string end = "</root>";
  return start + xml_signature(by, xml_reference(by, "", start + end, kXmlEnveloped)) + end;
}

/** An enveloping signature: the root element, with the signed object inside. */
inline std::string enveloping_xml(const XmlSigner& by) {
  const std::string object = "<Object Id=\"object\"><text xmlns=\"\">what was signed</text></Object>";
  const std::string canonical =
      "<Object xmlns=\"" + std::string(kXmlSignatureNamespace) + "\"" + object.substr(7);
  return xml_signature(by, xml_reference(by, "#object", canonical), xml_key_info(by), object);
}

/** References to two siblings of the signature, and to the document for the root and their order. */
inline std::string detached_xml(const XmlSigner& by) {
  const std::string first = "<part Id=\"first\">one</part>";
  const std::string second = "<part ID=\"second\"><inner>two</inner></part>";
  const std::string start = "<parts>" + first + second;
  const std::string end = "</parts>";
  return start +
         xml_signature(by, xml_reference(by, "#first", first) + xml_reference(by, "#second", second) +
                               xml_reference(by, "", start + end, kXmlEnveloped)) +
         end;
}

}  // namespace velm::token
