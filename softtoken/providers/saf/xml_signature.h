#pragma once

#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

/** Contents of an XML signature. All bytes are decoded from base64. */
struct XmlSignatureItems {
  /** Canonical form of the first reference's target. */
  Bytes original;
  /** Digest of the first reference, as stored in the document. */
  Bytes digest;
  Bytes signature;
  /** The signer's certificate in DER. */
  Bytes certificate;
  /** Algorithm URIs. */
  std::string digest_algorithm;
  std::string signature_algorithm;
};

/**
 * Reads the only XML-DSig signature of a document without verifying it. Throws TokenError or SafError for any
 * form that verify_xml_signature() does not support.
 */
XmlSignatureItems read_xml_signature(ByteView document);

/**
 * Throws TokenError or SafError unless the document's only signature verifies with the certificate in it and
 * covers the document. Accepted forms: a signature as the last child of the root, with an enveloped reference
 * to the root or the whole document; or a signature as the root, with references to all its objects in their
 * order. Callers must check the certificate themselves to trust the signer.
 */
void verify_xml_signature(ByteView document);

}  // namespace velm::token
