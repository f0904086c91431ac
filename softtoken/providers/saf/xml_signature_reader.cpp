#include "softtoken/providers/saf/xml_signature_reader.h"

#include <algorithm>
#include <utility>

#include "softtoken/crypto/base64.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/xml_work.h"

namespace velm::token {

using namespace protocol;

namespace {

constexpr size_t kMaxReferences = 16;
constexpr const char* kEnveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";

/** Iterates over child elements, which have a fixed order and no text between them. */
class Elements {
 public:
  explicit Elements(const xmlNode* parent) : next_(without_filler(parent->children)) {}

  bool at(const char* name) const { return is_signature_element(next_, name); }
  bool at_end() const { return next_ == nullptr; }
  xmlNode* take(const char* name) {
    require_saf(at(name), kSafBadObject);
    return std::exchange(next_, without_filler(next_->next));
  }

 private:
  static xmlNode* without_filler(xmlNode* node) {
    while (node != nullptr && is_filler(node)) node = node->next;
    return node;
  }

  xmlNode* next_;
};

// Decodes canonical base64. White space is skipped.
Bytes bytes_in(xmlNode* element) {
  std::string text = text_in(element);
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
  const auto bytes = base64_decode(text);
  require_saf(bytes.has_value() && base64_encode(*bytes) == text, kSafBadObject);
  return *bytes;
}

xmlNode* find_signature(xmlNode* root) {
  xmlNode* found = nullptr;
  for (xmlNode* node = root; node != nullptr; node = next_node(node, root)) {
    if (!is_signature_element(node, "Signature")) continue;
    require_saf(found == nullptr, kSafBadObject);
    found = node;
  }
  require_saf(found != nullptr, kSafObjectNotFound);
  return found;
}

// Returns the only element with an identifier. All spellings of the attribute are checked, so that another
// parser finds the same element.
xmlNode* element_with_id(xmlNode* root, const std::string& id) {
  xmlNode* found = nullptr;
  for (xmlNode* node = root; node != nullptr; node = next_node(node, root)) {
    if (node->type != XML_ELEMENT_NODE) continue;
    for (xmlAttr* each = node->properties; each != nullptr; each = each->next) {
      const std::string_view name = reinterpret_cast<const char*>(each->name);
      if (name != "Id" && name != "ID" && name != "id") continue;
      if (text_in(reinterpret_cast<xmlNode*>(each)) != id) continue;
      require_saf(found == nullptr, kSafBadObject);
      found = node;
    }
  }
  require_saf(found != nullptr, kSafObjectNotFound);
  return found;
}

// A reference is "" for the document, or "#" and an identifier for an element.
xmlNode* target_of(const std::string& uri, xmlNode* root) {
  if (uri.empty()) return root;
  require_saf(uri[0] == '#' && uri.size() > 1 && uri.find('(') == std::string::npos, kSafNotSupported);
  return element_with_id(root, uri.substr(1));
}

// The enveloped-signature transform comes first, and is required exactly when the target contains the
// signature. A canonicalization may follow.
std::vector<xmlNode*> transforms_in(Elements& elements, bool around_signature) {
  std::vector<xmlNode*> transforms;
  bool enveloped = false;
  if (elements.at("Transforms")) {
    for (Elements each(elements.take("Transforms")); !each.at_end();) {
      transforms.push_back(each.take("Transform"));
      const bool takes_out = attribute(transforms.back(), "Algorithm") == kEnveloped;
      require_saf(transforms.size() == (takes_out || !enveloped ? 1u : 2u), kSafNotSupported);
      enveloped = enveloped || takes_out;
    }
  }
  require_saf(enveloped == around_signature, kSafBadObject);
  return transforms;
}

XmlReference read_reference(xmlNode* node, xmlNode* root, xmlNode* signature) {
  const std::string uri = attribute(node, "URI");
  XmlReference reference{};
  reference.target = target_of(uri, root);
  reference.whole_document = uri.empty();
  require_saf(reference.target != signature, kSafBadObject);
  Elements elements(node);
  reference.transforms = transforms_in(elements, is_within(signature, reference.target));
  reference.digest_algorithm = attribute(elements.take("DigestMethod"), "Algorithm");
  reference.digest = bytes_in(elements.take("DigestValue"));
  require_saf(elements.at_end(), kSafBadObject);
  return reference;
}

// The first certificate is the signer's.
Bytes certificate_in(xmlNode* key_info) {
  for (xmlNode* node = key_info; node != nullptr; node = next_node(node, key_info)) {
    if (is_signature_element(node, "X509Certificate")) return bytes_in(node);
  }
  throw SafError(kSafCertificateNotFound);
}

}  // namespace

bool is_filler(const xmlNode* node) { return node->type == XML_COMMENT_NODE || xmlIsBlankNode(node) != 0; }

bool XmlSignature::refers_to(const xmlNode* target) const {
  return std::ranges::find(references, target, &XmlReference::target) != references.end();
}

XmlSignature read_signature(xmlNode* root) {
  XmlSignature signature{};
  signature.node = find_signature(root);
  Elements elements(signature.node);
  signature.signed_info = elements.take("SignedInfo");
  signature.value_element = elements.take("SignatureValue");
  signature.value = bytes_in(signature.value_element);
  require_saf(elements.at("KeyInfo"), kSafCertificateNotFound);
  signature.key_info = elements.take("KeyInfo");
  signature.certificate = certificate_in(signature.key_info);
  while (!elements.at_end()) signature.objects.push_back(elements.take("Object"));

  Elements signed_info(signature.signed_info);
  signature.canonicalization = signed_info.take("CanonicalizationMethod");
  signature.algorithm = attribute(signed_info.take("SignatureMethod"), "Algorithm");
  do {
    require_saf(signature.references.size() < kMaxReferences, kSafNotSupported);
    XmlReference reference = read_reference(signed_info.take("Reference"), root, signature.node);
    require_saf(!signature.refers_to(reference.target), kSafBadObject);
    signature.references.push_back(std::move(reference));
  } while (!signed_info.at_end());
  require_bounded_work(root->doc, signature.signed_info, signature.references.size() + 1);
  return signature;
}

}  // namespace velm::token
