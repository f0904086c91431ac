#pragma once

#include "softtoken/providers/saf/xml_signature_reader.h"

namespace velm::token {

/**
 * Whether the signature protects everything that an application reads from the document. It is either the
 * root, with nothing but signed objects, or the last child of a root that a reference covers.
 */
bool covers_document(const XmlSignature& signature, const xmlNode* root);

}  // namespace velm::token
