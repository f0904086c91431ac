#include "softtoken/providers/saf/xml_work.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "softtoken/providers/saf/saf_call.h"
#include "softtoken/providers/saf/xml_document.h"

namespace velm::token {

using namespace protocol;

namespace {

// The unit of work is the comparison of one byte. Finding out whether a node belongs to a node set takes this
// many units for every level above it.
constexpr uint64_t kLevel = 16;
constexpr uint64_t kMaxWork = 600'000'000;

std::string_view text_of(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

// Prefixes in the lists of exclusive canonicalizations. Each is searched for at every element.
uint64_t listed_prefixes(const xmlNode* signed_info) {
  uint64_t count = 0;
  for (const xmlNode* node = signed_info; node != nullptr; node = next_node(node, signed_info)) {
    if (node->type != XML_ELEMENT_NODE) continue;
    for (const xmlAttr* each = node->properties; each != nullptr; each = each->next) {
      if (text_of(each->name) != "PrefixList" || each->children == nullptr) continue;
      count += 1 + static_cast<uint64_t>(std::ranges::count(text_of(each->children->content), ' '));
    }
  }
  return count;
}

/** Adds up the work of one canonicalization: each name of an element is compared with all above it. */
class Work {
 public:
  Work(uint64_t limit, uint64_t listed, uint64_t level) : left_(limit), listed_(listed), level_(level) {}

  // `path` is the size of the names above the node, and `declarations` the number of namespaces in scope.
  void add(const xmlNode* node, uint64_t path, uint64_t declarations) {
    path += level_;
    if (node->type != XML_ELEMENT_NODE) return spend(path);
    for (const xmlNs* each = node->nsDef; each != nullptr; each = each->next) {
      ++declarations;
      path += 1 + text_of(each->prefix).size();
    }
    uint64_t attributes = 0;
    uint64_t attribute_names = 0;
    for (const xmlAttr* each = node->properties; each != nullptr; each = each->next) {
      ++attributes;
      attribute_names += text_of(each->name).size();
      if (each->ns != nullptr) attribute_names += text_of(each->ns->href).size();
    }
    path += attributes;
    spend((1 + attributes + declarations + listed_) * (path + attribute_names));
    for (const xmlNode* child = node->children; child != nullptr; child = child->next)
      add(child, path, declarations);
  }

 private:
  void spend(uint64_t units) {
    require_saf(units <= left_, kSafNotSupported);
    left_ -= units;
  }

  uint64_t left_;
  uint64_t listed_;
  uint64_t level_;
};

}  // namespace

void require_bounded_work(const xmlDoc* document, const xmlNode* signed_info, size_t passes) {
  // A node set of the whole document is the list of the root and of all nodes beside it.
  uint64_t level = kLevel;
  for (const xmlNode* each = document->children; each != nullptr; each = each->next) ++level;
  const uint64_t listed = listed_prefixes(signed_info);
  Work work(kMaxWork / passes, listed, level + listed);
  for (const xmlNode* each = document->children; each != nullptr; each = each->next) work.add(each, 0, 0);
}

}  // namespace velm::token
