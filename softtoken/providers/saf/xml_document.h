#pragma once

#include <string>

#include <libxml/tree.h>

#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/**
 * Initialises the XML libraries for one call and cleans them up at its end. Their state is process-wide, so
 * calls are serialised.
 */
class XmlLibraries {
 public:
  XmlLibraries();
  ~XmlLibraries();
  XmlLibraries(const XmlLibraries&) = delete;
};

using XmlDocument = Handle<xmlDoc, xmlFreeDoc>;

/**
 * Parses a document of XML 1.0 in UTF-8 or ISO 8859-1. Limits: 16 MiB, 256 levels, 256 attributes in an
 * element, 256 namespaces in scope, 256 KiB of different names, and what the parser searches for namespaces.
 * No external resources are loaded. Throws kSafBadLength for a larger document and kSafBadObject for any
 * other invalid one. Document type declarations are rejected, because their entities could expand without
 * limit or name files.
 */
XmlDocument parse_xml(ByteView bytes);

/** Whether a node is an element with this name in the XML signature namespace. */
bool is_signature_element(const xmlNode* node, const char* name);

/** Next node in document order within `top`; null after the last. */
const xmlNode* next_node(const xmlNode* node, const xmlNode* top);
xmlNode* next_node(xmlNode* node, const xmlNode* top);

bool is_within(const xmlNode* node, const xmlNode* top);

/** An attribute without a namespace. Throws kSafBadObject if the element has none of that name. */
std::string attribute(xmlNode* element, const char* name);

std::string text_in(xmlNode* element);

}  // namespace velm::token
