#pragma once

#include <string>
#include <vector>

#include "softtoken/providers/saf/xml_document.h"

namespace velm::token {

/** A reference of a signature: an element, or all of the document. */
struct XmlReference {
  xmlNode* target;
  bool whole_document;
  std::vector<xmlNode*> transforms;
  std::string digest_algorithm;
  Bytes digest;
};

/** The only signature of a document. All bytes are decoded from base64. */
struct XmlSignature {
  xmlNode* node;
  xmlNode* signed_info;
  xmlNode* canonicalization;
  xmlNode* value_element;
  xmlNode* key_info;
  std::vector<xmlNode*> objects;
  std::string algorithm;
  std::vector<XmlReference> references;
  Bytes value;
  /** The first certificate, in DER. */
  Bytes certificate;

  bool refers_to(const xmlNode* node) const;
};

/** Reads the signature without verifying it. Throws TokenError or SafError for any unsupported form. */
XmlSignature read_signature(xmlNode* root);

/** Whether a node is a comment or white space. */
bool is_filler(const xmlNode* node);

}  // namespace velm::token
