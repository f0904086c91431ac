#pragma once

#include <string>

#include <libxml/tree.h>

#include "softtoken/crypto/openssl_handles.h"

namespace velm::token {

/**
 * The XML libraries, ready for one call. What they keep is the whole process's and belongs to one call at a
 * time; when the call ends nothing of it is left.
 */
class XmlLibraries {
 public:
  XmlLibraries();
  ~XmlLibraries();
  XmlLibraries(const XmlLibraries&) = delete;
};

using XmlDocument = Handle<xmlDoc, xmlFreeDoc>;

/**
 * A document from its bytes, in UTF-8 or ISO 8859-1: at most 16 MiB, 256 elements deep, with 256 attributes
 * in an element, 256 namespaces at one place and 10 MB in one text; nothing beside these bytes is read.
 * Throws the code for a bad length for a larger document, and the code for a bad object for any other, as for
 * one with a document type, whose entities could grow without bound or name files.
 */
XmlDocument parse_xml(ByteView bytes);

/** Whether a node is an element of this name in the namespace of XML signatures. */
bool is_signature_element(const xmlNode* node, const char* name);

/** The node after this one in the order of the document, within `top`; null after the last. */
xmlNode* next_node(xmlNode* node, const xmlNode* top);

bool is_within(const xmlNode* node, const xmlNode* top);

/** An attribute without a namespace; the code for a bad object when the element has none. */
std::string attribute(xmlNode* element, const char* name);

/** The text in an element. */
std::string text_in(xmlNode* element);

}  // namespace velm::token
