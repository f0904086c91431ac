#include "softtoken/providers/saf/xml_coverage.h"

#include <algorithm>

#include "softtoken/providers/saf/xml_value_prefixes.h"

namespace velm::token {

namespace {

bool is_text(const xmlNode* node) {
  return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

bool holds_only_text(const xmlNode* element) {
  for (const xmlNode* node = element->children; node != nullptr; node = node->next) {
    if (!is_text(node) && node->type != XML_COMMENT_NODE) return false;
  }
  return element->properties == nullptr;
}

// Returns the only child of an element that has no attributes and nothing else in it, or null.
const xmlNode* only_child(const xmlNode* element) {
  const xmlNode* found = nullptr;
  for (const xmlNode* node = element->children; node != nullptr; node = node->next) {
    if (is_filler(node)) continue;
    if (found != nullptr) return nullptr;
    found = node;
  }
  return element->properties == nullptr ? found : nullptr;
}

// The certificate identifies the signer. Anything else, like a name or a second certificate, must be signed.
bool names_the_signer(const xmlNode* key_info) {
  const xmlNode* data = only_child(key_info);
  if (!is_signature_element(data, "X509Data")) return false;
  const xmlNode* certificate = only_child(data);
  return is_signature_element(certificate, "X509Certificate") && holds_only_text(certificate);
}

// References in the order of the objects, so that the order is signed.
bool covers_objects(const XmlSignature& signature) {
  std::vector<xmlNode*> referenced;
  for (const XmlReference& reference : signature.references) {
    if (std::ranges::find(signature.objects, reference.target) != signature.objects.end())
      referenced.push_back(reference.target);
  }
  return referenced == signature.objects;
}

// The enveloped-signature transform leaves out the signature, so its own content is checked here.
bool covers_itself(const XmlSignature& signature) {
  return signature.node->properties == nullptr && holds_only_text(signature.value_element) &&
         (signature.refers_to(signature.key_info) || names_the_signer(signature.key_info)) &&
         covers_objects(signature);
}

bool is_last(const xmlNode* node) {
  for (node = node->next; node != nullptr; node = node->next) {
    if (!is_filler(node)) return false;
  }
  return true;
}

bool covers_root(const XmlSignature& signature, const xmlNode* root) {
  if (signature.node == root) return !signature.objects.empty();
  return signature.refers_to(root) && signature.node->parent == root && is_last(signature.node);
}

// Only a reference to the whole document covers processing instructions beside the root.
bool covers_instructions(const XmlSignature& signature, const xmlDoc* document) {
  if (std::ranges::any_of(signature.references, &XmlReference::whole_document)) return true;
  for (const xmlNode* node = document->children; node != nullptr; node = node->next) {
    if (node->type == XML_PI_NODE) return false;
  }
  return true;
}

// Comments and the signature are not covered. Between two texts they would hide the second from applications
// that read only the first. White space may be divided.
bool has_divided_text(const xmlNode* parent, const xmlNode* signature) {
  bool in_text = false;
  bool divided = false;
  bool blank = true;
  for (const xmlNode* node = parent->children; node != nullptr; node = node->next) {
    if (is_text(node)) {
      in_text = true;
      blank = blank && xmlIsBlankNode(node) != 0;
      if (divided && !blank) return true;
    } else if (node->type == XML_COMMENT_NODE || node == signature) {
      divided = in_text;
    } else {
      in_text = divided = false;
      blank = true;
    }
  }
  return false;
}

bool has_divided_text_below(const xmlNode* root, const xmlNode* signature) {
  for (const xmlNode* node = root; node != nullptr; node = next_node(node, root)) {
    if (node->type == XML_ELEMENT_NODE && has_divided_text(node, signature)) return true;
  }
  return false;
}

// The references that covers_root() and covers_itself() require.
bool covers_values(const XmlSignature& signature, const xmlNode* root) {
  return std::ranges::all_of(signature.references, [&](const XmlReference& reference) {
    const bool required = reference.target == root || reference.target->parent == signature.node;
    return !required || covers_prefixes_in_values(reference, signature.node);
  });
}

}  // namespace

bool covers_document(const XmlSignature& signature, const xmlNode* root) {
  return covers_root(signature, root) && covers_itself(signature) &&
         covers_instructions(signature, root->doc) && !has_divided_text_below(root, signature.node) &&
         covers_values(signature, root);
}

}  // namespace velm::token
