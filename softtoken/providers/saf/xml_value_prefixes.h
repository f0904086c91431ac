#pragma once

#include "softtoken/providers/saf/xml_signature_reader.h"

namespace velm::token {

/**
 * Whether texts and attribute values in the target of a reference use only prefixes whose declarations the
 * reference covers. Exclusive canonicalization leaves out the declaration of a prefix that no name uses, so
 * that values like `p:type` could be given another meaning.
 */
bool covers_prefixes_in_values(const XmlReference& reference, const xmlNode* signature);

}  // namespace velm::token
