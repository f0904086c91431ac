#include "softtoken/providers/saf/xml_signature.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <xmlsec/xmlsec.h>
#include <xmlsec/nodeset.h>
#include <xmlsec/transforms.h>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/xml_document.h"

namespace velm::token {

using namespace protocol;

namespace {

using NodeSet = Handle<xmlSecNodeSet, xmlSecNodeSetDestroy>;
using Transforms = Handle<xmlSecTransformCtx, xmlSecTransformCtxDestroy>;

constexpr size_t kMaxReferences = 16;
constexpr const char* kEnveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";

struct Algorithm {
  std::string_view uri;
  DigestId digest;
};

// SM2 and SM3 have no registered URIs, so their object identifiers are used.
constexpr Algorithm kDigests[] = {
    {"http://www.w3.org/2000/09/xmldsig#sha1", DigestId::sha1},
    {"http://www.w3.org/2001/04/xmlenc#sha256", DigestId::sha256},
    {"urn:oid:1.2.156.10197.1.401", DigestId::sm3},
};
constexpr Algorithm kSignatures[] = {
    {"http://www.w3.org/2000/09/xmldsig#rsa-sha1", DigestId::sha1},
    {"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256", DigestId::sha256},
    {"urn:oid:1.2.156.10197.1.501", DigestId::sm3},
};

DigestId digest_for(std::span<const Algorithm> algorithms, std::string_view uri) {
  const auto found = std::ranges::find(algorithms, uri, &Algorithm::uri);
  require_saf(found != algorithms.end(), kSafAlgorithm);
  return found->digest;
}

struct Reference {
  xmlNode* target;
  bool whole_document;
  std::vector<xmlNode*> transforms;
  std::string digest_algorithm;
  Bytes digest;
};

struct Signature {
  xmlNode* node;
  xmlNode* signed_info;
  xmlNode* canonicalization;
  std::string algorithm;
  std::vector<Reference> references;
  Bytes value;
  Bytes certificate;
};

bool is_filler(const xmlNode* node) { return node->type == XML_COMMENT_NODE || xmlIsBlankNode(node) != 0; }

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

Reference read_reference(xmlNode* node, xmlNode* root, xmlNode* signature) {
  const std::string uri = attribute(node, "URI");
  Reference reference{};
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

// The first certificate is the signer's. Others of its chain may follow.
Bytes certificate_in(Elements& signature) {
  require_saf(signature.at("KeyInfo"), kSafCertificateNotFound);
  xmlNode* key_info = signature.take("KeyInfo");
  for (xmlNode* node = key_info; node != nullptr; node = next_node(node, key_info)) {
    if (is_signature_element(node, "X509Certificate")) return bytes_in(node);
  }
  throw SafError(kSafCertificateNotFound);
}

Signature read_signature(xmlNode* root) {
  Signature signature{};
  signature.node = find_signature(root);
  Elements elements(signature.node);
  signature.signed_info = elements.take("SignedInfo");
  signature.value = bytes_in(elements.take("SignatureValue"));
  signature.certificate = certificate_in(elements);
  while (!elements.at_end()) elements.take("Object");

  Elements signed_info(signature.signed_info);
  signature.canonicalization = signed_info.take("CanonicalizationMethod");
  signature.algorithm = attribute(signed_info.take("SignatureMethod"), "Algorithm");
  do {
    require_saf(signature.references.size() < kMaxReferences, kSafNotSupported);
    signature.references.push_back(read_reference(signed_info.take("Reference"), root, signature.node));
  } while (!signed_info.at_end());
  return signature;
}

// Returns whether every element from `first` on, except the signature, is the target of a reference, and
// there is at least one.
bool all_covered(xmlNode* first, const Signature& signature) {
  size_t count = 0;
  for (xmlNode* node = first; node != nullptr; node = node->next) {
    if (node == signature.node || is_filler(node)) continue;
    if (std::ranges::find(signature.references, node, &Reference::target) == signature.references.end())
      return false;
    ++count;
  }
  return count > 0;
}

bool covers_document(const Signature& signature, xmlNode* root) {
  const auto& references = signature.references;
  if (std::ranges::any_of(references, &Reference::whole_document)) return true;
  // Only comments and processing instructions can be siblings of the root element.
  for (xmlNode* node = root->doc->children; node != nullptr; node = node->next) {
    if (node->type == XML_PI_NODE) return false;
  }
  if (std::ranges::find(references, root, &Reference::target) != references.end()) return true;
  if (signature.node == root) {
    xmlNode* object = root->children;
    while (object != nullptr && !is_signature_element(object, "Object")) object = object->next;
    return all_covered(object, signature);
  }
  return signature.node->parent == root && root->properties == nullptr &&
         all_covered(root->children, signature);
}

Transforms make_transforms() {
  Transforms transforms(xmlSecTransformCtxCreate());
  if (!transforms) throw std::bad_alloc();
  for (const xmlSecTransformId id :
       {xmlSecTransformEnvelopedId, xmlSecTransformInclC14NId, xmlSecTransformInclC14NWithCommentsId,
        xmlSecTransformInclC14N11Id, xmlSecTransformInclC14N11WithCommentsId, xmlSecTransformExclC14NId,
        xmlSecTransformExclC14NWithCommentsId}) {
    if (xmlSecPtrListAdd(&transforms->enabledTransforms, const_cast<void*>(static_cast<const void*>(id))) < 0)
      throw std::bad_alloc();
  }
  return transforms;
}

void add_transform(xmlSecTransformCtx* transforms, xmlNode* node, xmlSecTransformUsage usage) {
  require_saf(xmlSecTransformCtxNodeRead(transforms, node, usage) != nullptr, kSafAlgorithm);
}

// Applies the transforms. A node set that no transform converts to bytes is output in inclusive canonical
// form.
Bytes bytes_of(xmlSecTransformCtx* transforms, const NodeSet& nodes) {
  if (!nodes) throw std::bad_alloc();
  require_saf(xmlSecTransformCtxXmlExecute(transforms, nodes.get()) == 0 && transforms->result != nullptr,
              kSafBadObject);
  const uint8_t* bytes = xmlSecBufferGetData(transforms->result);
  return {bytes, bytes + xmlSecBufferGetSize(transforms->result)};
}

Bytes signed_bytes(const Signature& signature) {
  const Transforms transforms = make_transforms();
  add_transform(transforms.get(), signature.canonicalization, xmlSecTransformUsageC14NMethod);
  return bytes_of(transforms.get(),
                  NodeSet(xmlSecNodeSetGetChildren(signature.node->doc, signature.signed_info, 1, 0)));
}

// References exclude comments.
Bytes referenced_bytes(const Reference& reference) {
  const Transforms transforms = make_transforms();
  for (xmlNode* node : reference.transforms)
    add_transform(transforms.get(), node, xmlSecTransformUsageDSigTransform);
  xmlNode* top = reference.whole_document ? nullptr : reference.target;
  return bytes_of(transforms.get(), NodeSet(xmlSecNodeSetGetChildren(reference.target->doc, top, 0, 0)));
}

}  // namespace

XmlSignatureItems read_xml_signature(ByteView document) {
  const XmlLibraries libraries;
  const XmlDocument parsed = parse_xml(document);
  Signature signature = read_signature(xmlDocGetRootElement(parsed.get()));
  Reference& first = signature.references.front();
  Bytes original = referenced_bytes(first);
  return {.original = std::move(original),
          .digest = std::move(first.digest),
          .signature = std::move(signature.value),
          .certificate = std::move(signature.certificate),
          .digest_algorithm = std::move(first.digest_algorithm),
          .signature_algorithm = std::move(signature.algorithm)};
}

void verify_xml_signature(ByteView document) {
  const XmlLibraries libraries;
  const XmlDocument parsed = parse_xml(document);
  xmlNode* root = xmlDocGetRootElement(parsed.get());
  const Signature signature = read_signature(root);
  require_saf(covers_document(signature, root), kSafBadObject);

  const Key key = key_of(parse_certificate(signature.certificate).get());
  verify_data(key.get(), digest_for(kSignatures, signature.algorithm), signed_bytes(signature),
              signature.value);
  for (const Reference& reference : signature.references) {
    const DigestId digest = digest_for(kDigests, reference.digest_algorithm);
    require_saf(hash(digest, referenced_bytes(reference)) == reference.digest, kSafHashNotEqual);
  }
}

}  // namespace velm::token
