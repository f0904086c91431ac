#include "softtoken/providers/saf/xml_value_prefixes.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

namespace velm::token {

namespace {

using Prefixes = std::set<std::string, std::less<>>;

constexpr std::string_view kExclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";

std::string_view text_of(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

bool is_name_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
         c == '.' || static_cast<unsigned char>(c) >= 0x80;
}

// Adds the declared prefixes that a value uses. A name in it ends with a colon where a prefix does.
void add_prefixes(std::string_view value, const Prefixes& declared, Prefixes& used) {
  for (size_t end = value.find(':'); end != std::string_view::npos; end = value.find(':', end + 1)) {
    size_t start = end;
    while (start > 0 && is_name_character(value[start - 1])) --start;
    const std::string_view prefix = value.substr(start, end - start);
    if (declared.contains(prefix)) used.emplace(prefix);
  }
}

// CDATA sections can divide a name, so the texts around them are joined.
std::string joined_texts(const xmlNode* node) {
  std::string joined;
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE || node->type == XML_PI_NODE) joined += ' ';
    if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) joined += text_of(node->content);
  }
  return joined;
}

Prefixes prefixes_in_values(const xmlNode* element, const Prefixes& declared) {
  Prefixes used;
  add_prefixes(joined_texts(element->children), declared, used);
  for (const xmlAttr* each = element->properties; each != nullptr; each = each->next)
    add_prefixes(joined_texts(each->children), declared, used);
  return used;
}

bool uses(const xmlNode* element, const xmlNs* name_space) {
  if (element->ns == name_space) return true;
  for (const xmlAttr* each = element->properties; each != nullptr; each = each->next) {
    if (each->ns == name_space) return true;
  }
  return false;
}

// Whether the element, or one around it in the target, uses the prefix in a name, so that its declaration is
// in the canonical form. The search ends at `top`.
bool is_covered(const std::string& prefix, const xmlNode* element, const xmlNode* top) {
  const xmlNs* declaration = xmlSearchNs(element->doc, const_cast<xmlNode*>(element),
                                         reinterpret_cast<const xmlChar*>(prefix.c_str()));
  if (declaration == nullptr) return true;
  for (; !uses(element, declaration); element = element->parent) {
    if (element == top) return false;
  }
  return true;
}

Prefixes declared_prefixes(const xmlNode* root) {
  Prefixes declared;
  for (const xmlNode* node = root; node != nullptr; node = next_node(node, root)) {
    if (node->type != XML_ELEMENT_NODE) continue;
    for (const xmlNs* each = node->nsDef; each != nullptr; each = each->next) {
      if (each->prefix != nullptr) declared.emplace(text_of(each->prefix));
    }
  }
  return declared;
}

// The declarations of these prefixes are treated as by inclusive canonicalization.
void remove_listed(xmlNode* transform, Prefixes& declared) {
  for (xmlNode* node = transform->children; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    const std::string list = attribute(node, "PrefixList");
    for (size_t start = 0; start < list.size();) {
      const size_t end = std::min(list.find(' ', start), list.size());
      declared.erase(list.substr(start, end - start));
      start = end + 1;
    }
  }
}

}  // namespace

bool covers_prefixes_in_values(const XmlReference& reference, const xmlNode* signature) {
  if (reference.transforms.empty()) return true;
  xmlNode* transform = reference.transforms.back();
  if (!attribute(transform, "Algorithm").starts_with(kExclusive)) return true;

  Prefixes declared = declared_prefixes(xmlDocGetRootElement(reference.target->doc));
  remove_listed(transform, declared);
  const xmlNode* top = reference.target;
  const bool around_signature = is_within(signature, top);
  for (const xmlNode* node = top; node != nullptr; node = next_node(node, top)) {
    if (node->type != XML_ELEMENT_NODE || (around_signature && is_within(node, signature))) continue;
    for (const std::string& prefix : prefixes_in_values(node, declared)) {
      if (!is_covered(prefix, node, top)) return false;
    }
  }
  return true;
}

}  // namespace velm::token
