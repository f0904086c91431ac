#include "softtoken/modules/xml_document.h"

#include <pthread.h>

#include <new>

#include <libxml/parser.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/errors.h>
#include <xmlsec/transforms.h>

#include "softtoken/modules/saf_call.h"

namespace velm::token {
namespace {

using Parser = Handle<xmlParserCtxt, xmlFreeParserCtxt>;

constexpr size_t kMaxDocument = 32 * 1024 * 1024;
constexpr const char* kSignatureNamespace = "http://www.w3.org/2000/09/xmldsig#";

// Needs no code to be ready and none when the module is unloaded, which std::mutex does on Windows.
constinit pthread_mutex_t g_libraries = PTHREAD_MUTEX_INITIALIZER;

const xmlChar* xml_text(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string taken_text(xmlChar* text) {
  const Handle<xmlChar, [](xmlChar* memory) { xmlFree(memory); }> owner(text);
  if (text == nullptr) throw std::bad_alloc();
  return reinterpret_cast<const char*>(text);
}

void close_libraries() {
  xmlSecTransformIdsShutdown();
  xmlCleanupParser();
  pthread_mutex_unlock(&g_libraries);
}

// Takes the place of the handler that begins a document type, and ends the reading there.
void refuse_document_type(void* parser, const xmlChar*, const xmlChar*, const xmlChar*) {
  auto* context = static_cast<xmlParserCtxt*>(parser);
  xmlStopParser(context);
  context->wellFormed = 0;
}

// A result code says what went wrong; nothing is written to the process's error stream.
void forget_message(void*, const char*, ...) {}

}  // namespace

XmlLibraries::XmlLibraries() {
  pthread_mutex_lock(&g_libraries);
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
  const Parser parser(xmlNewParserCtxt());
  if (!parser) throw std::bad_alloc();
  parser->sax->internalSubset = refuse_document_type;
  XmlDocument document(xmlCtxtReadMemory(parser.get(), reinterpret_cast<const char*>(bytes.data()),
                                         static_cast<int>(bytes.size()), nullptr, nullptr, XML_PARSE_NONET));
  if (parser->errNo == XML_ERR_NO_MEMORY) throw std::bad_alloc();
  require_saf(document != nullptr && xmlDocGetRootElement(document.get()) != nullptr, kSafBadObject);
  return document;
}

bool is_signature_element(const xmlNode* node, const char* name) {
  return node != nullptr && node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
         xmlStrEqual(node->name, xml_text(name)) != 0 &&
         xmlStrEqual(node->ns->href, xml_text(kSignatureNamespace)) != 0;
}

xmlNode* next_node(xmlNode* node, const xmlNode* top) {
  if (node->type == XML_ELEMENT_NODE && node->children != nullptr) return node->children;
  while (node != top && node->next == nullptr) node = node->parent;
  return node == top ? nullptr : node->next;
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
