#pragma once

#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** What signed XML says; bytes as they are, not in base64. */
struct XmlSignatureItems {
  /** The canonical form of what the first reference names. */
  Bytes original;
  /** Its digest as the document states it. */
  Bytes digest;
  Bytes signature;
  /** The signer's certificate, in DER. */
  Bytes certificate;
  /** Algorithms by their URIs. */
  std::string digest_algorithm;
  std::string signature_algorithm;
};

/**
 * Reads the one signature (XML-DSig) of a document, and verifies nothing. Throws a TokenError or a SafError
 * for a document that is not signed in one of the forms that verify_xml_signature() knows.
 */
XmlSignatureItems read_xml_signature(ByteView document);

/**
 * Throws a TokenError or a SafError unless the document's one signature verifies with the certificate that it
 * carries, and covers the document: all of it, around an enveloped signature; the objects in it, when it is
 * the document; or every element beside it in a root that holds nothing else. Who the signer is has to be
 * found out from the certificate.
 */
void verify_xml_signature(ByteView document);

}  // namespace velm::token
