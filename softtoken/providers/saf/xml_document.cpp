#include "softtoken/providers/saf/xml_document.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include <xmlsec/xmlsec.h>
#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/parser.h>
#include <libxml/xmlmemory.h>
#include <xmlsec/errors.h>
#include <xmlsec/transforms.h>

#include "softtoken/providers/module_call.h"
#include "softtoken/providers/module_lock.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

using Parser = Handle<xmlParserCtxt, xmlFreeParserCtxt>;

constexpr size_t kMaxDocument = 16 * 1024 * 1024;
constexpr size_t kMaxAttributes = 256;
constexpr int kMaxNamespaces = 256;
constexpr int kMaxLevels = 256;
constexpr uint64_t kMaxSearched = 100'000'000;
// The parser keeps each name once, in a hash table that does not grow with their number.
constexpr size_t kMaxNames = 256 * 1024;
constexpr const char* kSignatureNamespace = "http://www.w3.org/2000/09/xmldsig#";

// Serialises calls that use the XML libraries.
constinit ModuleLock g_libraries;

void* xml_malloc(size_t size) { return noted_allocation(std::malloc(size), size); }
void* xml_realloc(void* memory, size_t size) { return noted_allocation(std::realloc(memory, size), size); }
char* xml_strdup(const char* text) {
  const size_t size = std::strlen(text) + 1;
  void* copy = xml_malloc(size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

const xmlChar* xml_text(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string taken_text(xmlChar* text) {
  const Handle<xmlChar, [](xmlChar* memory) { xmlFree(memory); }> owner(text);
  if (text == nullptr) throw std::bad_alloc();
  return reinterpret_cast<const char*>(text);
}

void close_libraries() {
  xmlSecTransformIdsShutdown();
  xmlCleanupParser();
  g_libraries.unlock();
}

void refuse(xmlParserCtxt* parser) {
  xmlStopParser(parser);
  parser->wellFormed = 0;
}

// Replaces the handler for the start of a document type declaration and stops the parser there.
void refuse_document_type(void* parser, const xmlChar*, const xmlChar*, const xmlChar*) {
  refuse(static_cast<xmlParserCtxt*>(parser));
}

// The parser searches the elements and namespaces around an element for the prefixes of its names. `nsNr` is
// twice the number of namespaces in scope, because two words are stored for each. `_private` points to a
// count of what was searched.
void start_element(void* parser, const xmlChar* name, const xmlChar* prefix, const xmlChar* name_space,
                   int namespace_count, const xmlChar** namespaces, int attribute_count, int default_count,
                   const xmlChar** attributes) {
  auto* context = static_cast<xmlParserCtxt*>(parser);
  auto& searched = *static_cast<uint64_t*>(context->_private);
  searched += (1 + static_cast<uint64_t>(attribute_count)) *
              static_cast<uint64_t>(context->nodeNr + context->nsNr / 2);
  if (context->nodeNr >= kMaxLevels || context->nsNr > 2 * kMaxNamespaces || searched > kMaxSearched)
    return refuse(context);
  xmlSAX2StartElementNs(parser, name, prefix, name_space, namespace_count, namespaces, attribute_count,
                        default_count, attributes);
}

bool is_blank(uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// The parser compares every attribute of an element with every other, so their number is limited. Attribute
// values are quoted, and a tag contains no other '<'. Each '<' restarts the count, so that text before a tag
// cannot hide it.
bool has_crowded_element(ByteView document) {
  enum { outside, in_tag, in_value } place = outside;
  size_t count = 0;
  uint8_t quote = 0;
  uint8_t before = 0;
  for (const uint8_t c : document) {
    if (is_blank(c)) continue;
    if (c == '<') {
      place = in_tag;
      count = 0;
    } else if (place == in_value) {
      if (c == quote) place = in_tag;
    } else if (place == in_tag && before == '=' && (c == '"' || c == '\'')) {
      if (++count > kMaxAttributes) return true;
      place = in_value;
      quote = c;
    } else if (c == '>' || (before == '<' && (c == '!' || c == '?'))) {
      place = outside;
    }
    before = c;
  }
  return false;
}

// Result codes report errors; the libraries must not write to stderr.
void forget_message(void*, const char*, ...) {}

}  // namespace

XmlLibraries::XmlLibraries() {
  g_libraries.lock();
  xmlMemSetup(std::free, xml_malloc, xml_realloc, xml_strdup);
  xmlInitParser();
  xmlSetGenericErrorFunc(nullptr, forget_message);
  xmlSecErrorsSetCallback(nullptr);
  if (xmlSecTransformIdsInit() < 0) {
    close_libraries();
    throw std::bad_alloc();
  }
}

XmlLibraries::~XmlLibraries() { close_libraries(); }

XmlDocument parse_xml(ByteView bytes) {
  require_saf(bytes.size() <= kMaxDocument, kSafBadLength);
  // Only encodings in which '<' is a single byte: wider encodings contain zero bytes.
  require_saf(std::ranges::find(bytes, 0) == bytes.end() && !has_crowded_element(bytes), kSafBadObject);
  const Parser parser(xmlNewParserCtxt());
  if (!parser) throw std::bad_alloc();
  xmlDictSetLimit(parser->dict, kMaxNames);
  uint64_t searched = 0;
  parser->_private = &searched;
  parser->sax->internalSubset = refuse_document_type;
  parser->sax->startElementNs = start_element;
  // XML_PARSE_COMPACT: short texts are not kept among the names.
  XmlDocument document(xmlCtxtReadMemory(parser.get(), reinterpret_cast<const char*>(bytes.data()),
                                         static_cast<int>(bytes.size()), nullptr, nullptr,
                                         XML_PARSE_NONET | XML_PARSE_COMPACT));
  if (parser->errNo == XML_ERR_NO_MEMORY) throw std::bad_alloc();
  require_saf(document != nullptr && xmlDocGetRootElement(document.get()) != nullptr, kSafBadObject);
  // Parsers of version 1.1 convert more characters to line ends.
  require_saf(xmlStrEqual(document->version, xml_text("1.0")) != 0, kSafBadObject);
  return document;
}

bool is_signature_element(const xmlNode* node, const char* name) {
  return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
         xmlStrEqual(node->name, xml_text(name)) != 0 &&
         xmlStrEqual(node->ns->href, xml_text(kSignatureNamespace)) != 0;
}

const xmlNode* next_node(const xmlNode* node, const xmlNode* top) {
  if (node->type == XML_ELEMENT_NODE && node->children != nullptr) return node->children;
  while (node != top && node->next == nullptr) node = node->parent;
  return node == top ? nullptr : node->next;
}

xmlNode* next_node(xmlNode* node, const xmlNode* top) {
  return const_cast<xmlNode*>(next_node(static_cast<const xmlNode*>(node), top));
}

bool is_within(const xmlNode* node, const xmlNode* top) {
  while (node != nullptr && node != top) node = node->parent;
  return node != nullptr;
}

std::string attribute(xmlNode* element, const char* name) {
  require_saf(xmlHasNsProp(element, xml_text(name), nullptr) != nullptr, kSafBadObject);
  return taken_text(xmlGetNoNsProp(element, xml_text(name)));
}

std::string text_in(xmlNode* element) { return taken_text(xmlNodeGetContent(element)); }

}  // namespace velm::token
