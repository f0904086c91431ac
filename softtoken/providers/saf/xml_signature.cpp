#include "softtoken/providers/saf/xml_signature.h"

#include <algorithm>
#include <utility>

#include <xmlsec/xmlsec.h>
#include <xmlsec/nodeset.h>
#include <xmlsec/transforms.h>

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/signing.h"
#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/xml_coverage.h"

namespace velm::token {

using namespace protocol;

namespace {

using NodeSet = Handle<xmlSecNodeSet, xmlSecNodeSetDestroy>;
using Transforms = Handle<xmlSecTransformCtx, xmlSecTransformCtxDestroy>;

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

Bytes signed_bytes(const XmlSignature& signature) {
  const Transforms transforms = make_transforms();
  add_transform(transforms.get(), signature.canonicalization, xmlSecTransformUsageC14NMethod);
  return bytes_of(transforms.get(),
                  NodeSet(xmlSecNodeSetGetChildren(signature.node->doc, signature.signed_info, 1, 0)));
}

// References exclude comments.
Bytes referenced_bytes(const XmlReference& reference) {
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
  XmlSignature signature = read_signature(xmlDocGetRootElement(parsed.get()));
  XmlReference& first = signature.references.front();
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
  const XmlSignature signature = read_signature(root);
  require_saf(covers_document(signature, root), kSafBadObject);

  const Key key = key_of(parse_certificate(signature.certificate).get());
  verify_data(key.get(), digest_for(kSignatures, signature.algorithm), signed_bytes(signature),
              signature.value);
  for (const XmlReference& reference : signature.references) {
    const DigestId digest = digest_for(kDigests, reference.digest_algorithm);
    require_saf(hash(digest, referenced_bytes(reference)) == reference.digest, kSafHashNotEqual);
  }
}

}  // namespace velm::token
