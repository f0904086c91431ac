// Random documents with random references, all with right digests and a right signature: they verify exactly
// if the rule of what a signature must cover, written here a second time and simply, allows them.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/signed_xml.h"
#include "softtoken/tests/providers/xml_tree.h"

namespace velm::token {
namespace {

constexpr const char* kEnveloped = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr const char* kExclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";

uint32_t verify(const std::string& document) {
  return SAF_Ext_XMLVerify(nullptr, 0, as_bytes(document).data(), size_of(as_bytes(document)));
}

// Exclusive canonicalization of SignedInfo, which does not inherit the namespaces around it.
const XmlSigner& signer() {
  static const XmlSigner by = [] {
    XmlSigner rsa = xml_signers()[2];
    rsa.canonicalization_uri = kExclusive;
    return rsa;
  }();
  return by;
}

class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}

  size_t below(size_t limit) { return engine_() % limit; }
  bool one_in(size_t limit) { return below(limit) == 0; }
  template <typename List>
  const auto& one_of(const List& list) {
    return list[below(std::size(list))];
  }

 private:
  std::mt19937 engine_;
};

/** A reference of a signature, with the canonical form of what it refers to. */
struct Reference {
  std::string id;  // of the target; empty for the document
  bool enveloped;

  std::string written(const std::string& canonical) const {
    return xml_reference(signer(), id.empty() ? "" : "#" + id, canonical, enveloped ? kXmlEnveloped : "");
  }
};

/** What a random document consists of. Identifiers: "root", "0" to "3" for parts, "o0" to "o2" for objects.
 */
struct Plan {
  bool enveloping;      // the signature is the root
  std::string root_id;  // "root", or "0" like a part
  size_t parts;         // children of the root
  bool divided;         // a comment divides the text of the first part
  size_t behind;        // how many parts are behind the signature
  bool inside;          // the signature is in the last part before it
  size_t objects;       // signed objects in the signature
  bool instruction;     // beside the root
  std::vector<Reference> references;
};

Plan random_plan(Random& random) {
  Plan plan{};
  plan.enveloping = random.one_in(4);
  plan.root_id = random.one_in(12) ? "0" : "root";
  plan.parts = plan.enveloping ? 0 : random.below(4);
  plan.divided = plan.parts > 0 && random.one_in(12);
  plan.behind = plan.parts > 0 && random.one_in(8) ? 1 : 0;
  plan.inside = plan.parts > plan.behind && random.one_in(10);
  plan.objects = plan.enveloping || random.one_in(3) ? random.below(4) : 0;
  plan.instruction = random.one_in(8);

  // Mostly what the rule demands, with some changes.
  if (!plan.enveloping) plan.references.push_back({random.one_in(2) ? "" : plan.root_id, true});
  for (size_t i = 0; i < plan.objects; ++i) plan.references.push_back({"o" + std::to_string(i), false});
  for (size_t i = 0; i < plan.parts; ++i) {
    if (random.one_in(3)) plan.references.push_back({std::to_string(i), false});
  }
  for (Reference& each : plan.references) {
    if (random.one_in(20)) each.enveloped = !each.enveloped;
  }
  if (!plan.references.empty()) {
    if (random.one_in(8)) plan.references.erase(plan.references.begin());
    if (random.one_in(8) && !plan.references.empty())
      std::swap(plan.references.front(), plan.references[random.below(plan.references.size())]);
    if (random.one_in(12) && !plan.references.empty())
      plan.references.push_back(Reference(random.one_of(plan.references)));
  }
  if (random.one_in(16)) plan.references.push_back({"nothing", false});
  return plan;
}

std::string object(size_t number, const std::string& name_space) {
  const std::string id = "Id=\"o" + std::to_string(number) + "\"";
  return xml_element("Object", "object " + std::to_string(number), name_space + id);
}

std::string part(const Plan& plan, size_t number, const std::string& more = "", bool canonical = false) {
  const std::string divider = number == 0 && plan.divided && !canonical ? "<!-- -->" : "";
  return xml_element("part", "text" + divider + " of part" + more, "Id=\"" + std::to_string(number) + "\"");
}

/** The root with the signature at its place; nothing for what the transform takes out. */
std::string root(const Plan& plan, const std::string& signature, bool canonical = false) {
  std::string content;
  const size_t before = plan.parts - plan.behind;
  for (size_t i = 0; i < before; ++i)
    content += part(plan, i, plan.inside && i + 1 == before ? signature : "", canonical);
  if (!plan.inside) content += signature;
  for (size_t i = before; i < plan.parts; ++i) content += part(plan, i, "", canonical);
  return xml_element("root", content, "Id=\"" + plan.root_id + "\"");
}

bool contains_signature(const Plan& plan, const std::string& id) {
  if (plan.enveloping) return id.empty();
  return id.empty() || id == plan.root_id ||
         (plan.inside && id == std::to_string(plan.parts - plan.behind - 1));
}

std::string canonical_form(const Plan& plan, const Reference& reference) {
  const std::string& id = reference.id;
  if (id.starts_with("o") && id.size() == 2)
    return object(static_cast<size_t>(id[1] - '0'), "xmlns=\"" + std::string(kXmlSignatureNamespace) + "\" ");
  if (id.size() == 1 && id != plan.root_id) return part(plan, static_cast<size_t>(id[0] - '0'), "", true);
  const std::string instruction = plan.instruction && id.empty() ? "<?beside it?>\n" : "";
  return instruction + (plan.enveloping ? "" : root(plan, "", true));
}

std::string document(const Plan& plan) {
  std::string references;
  for (const Reference& each : plan.references) references += each.written(canonical_form(plan, each));
  std::string objects;
  for (size_t i = 0; i < plan.objects; ++i) objects += object(i, "");
  const std::string signature = xml_signature(signer(), references, xml_key_info(signer()), objects);
  const std::string instruction = plan.instruction ? "<?beside it?>" : "";
  return instruction + (plan.enveloping ? signature : root(plan, signature));
}

/** The rule, one sentence after the other. */
bool is_allowed(const Plan& plan) {
  std::vector<std::string> targets;
  std::vector<std::string> objects;
  for (const Reference& each : plan.references) {
    if (each.id == "nothing") return false;                                     // names an element
    if (each.id == "0" && plan.root_id == "0" && plan.parts > 0) return false;  // and only one
    if (each.enveloped != contains_signature(plan, each.id)) return false;
    if (plan.enveloping && each.id.empty()) return false;  // not the signature itself
    targets.push_back(each.id == plan.root_id ? "" : each.id);
    if (each.id.starts_with("o")) objects.push_back(each.id);
  }
  std::vector<std::string> wanted;
  for (size_t i = 0; i < plan.objects; ++i) wanted.push_back("o" + std::to_string(i));
  std::ranges::sort(targets);
  if (targets.empty() || std::ranges::adjacent_find(targets) != targets.end()) return false;
  if (objects != wanted) return false;  // all objects, in their order
  if (plan.instruction && !std::ranges::count(plan.references, "", &Reference::id)) return false;
  if (plan.divided) return false;
  if (plan.enveloping) return plan.objects > 0;
  return targets.front().empty() && !plan.inside && plan.behind == 0;
}

TEST(XmlCoverRule, RandomDocumentsVerifyExactlyIfItAllows) {
  Random random(1);
  size_t allowed = 0;
  for (int turn = 0; turn < 1500; ++turn) {
    const Plan plan = random_plan(random);
    const bool expected = is_allowed(plan);
    const std::string text = document(plan);
    EXPECT_EQ(verify(text) == kSafSuccess, expected) << text;
    if (expected) ++allowed;
  }
  EXPECT_GT(allowed, 300u);
  EXPECT_LT(allowed, 1200u);
}

/** An element of a document with prefixes, of which each declaration has its own name. */
struct Named {
  std::string prefix;  // of its name; empty for none
  std::map<std::string, std::string> declared;
  std::string value;
  std::string text;
  std::vector<Named> children;
};

constexpr std::string_view kPrefixes[] = {"p", "q", "p-1"};
constexpr std::string_view kValues[] = {"p:a",   "q:b", "x p:a",   "p",       "p :",        "xp:a",
                                        "z:q:c", "",    "p-1:a q", "z:a p:b", "(q:a,p-1:b)"};

Named random_element(Random& random, std::map<std::string, std::string> scope, int& declarations, int depth) {
  Named element;
  for (const std::string_view prefix : kPrefixes) {
    if (!random.one_in(depth == 0 ? 2 : 5)) continue;
    const std::string name = "urn:" + std::to_string(declarations++);
    element.declared[std::string(prefix)] = scope[std::string(prefix)] = name;
  }
  if (!scope.empty() && random.one_in(2))
    element.prefix = std::next(scope.begin(), static_cast<ptrdiff_t>(random.below(scope.size())))->first;
  if (random.one_in(4)) element.value = random.one_of(kValues);
  if (random.one_in(4)) element.text = random.one_of(kValues);
  for (size_t i = depth < 3 ? random.below(3) : 0; i > 0; --i)
    element.children.push_back(random_element(random, scope, declarations, depth + 1));
  return element;
}

/** Writes an element with the declarations that `declarations_of` selects. */
template <typename Select>
std::string written(const Named& element, std::map<std::string, std::string> scope,
                    std::map<std::string, std::string> rendered, const Select& declarations_of,
                    const std::string& more = "") {
  for (const auto& [prefix, name] : element.declared) scope[prefix] = name;
  std::string attributes;
  for (const auto& [prefix, name] : declarations_of(element, scope, rendered)) {
    attributes += (attributes.empty() ? "" : " ") + ("xmlns:" + prefix + "=\"" + name + "\"");
    rendered[prefix] = name;
  }
  if (!element.value.empty()) attributes += (attributes.empty() ? "" : " ") + ("v=\"" + element.value + "\"");
  std::string content = element.text;
  for (const Named& child : element.children) content += written(child, scope, rendered, declarations_of);
  const std::string name = (element.prefix.empty() ? "" : element.prefix + ":") + "e";
  return xml_element(name, content + more, attributes);
}

using Scope = std::map<std::string, std::string>;

/** Exclusive canonicalization: the declarations that names use, and those listed. */
struct Exclusive {
  std::vector<std::string> listed;

  Scope operator()(const Named& element, const Scope& scope, const Scope& rendered) const {
    Scope selected;
    for (const auto& [prefix, name] : scope) {
      const bool used = element.prefix == prefix || std::ranges::count(listed, prefix) != 0;
      const auto before = rendered.find(prefix);
      if (used && (before == rendered.end() || before->second != name)) selected[prefix] = name;
    }
    return selected;
  }
};

bool uses_prefix(std::string_view value, std::string_view prefix) {
  const auto is_name = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '-'; };
  for (size_t at = value.find(prefix); at != std::string_view::npos; at = value.find(prefix, at + 1)) {
    const size_t end = at + prefix.size();
    if ((at == 0 || !is_name(value[at - 1])) && end < value.size() && value[end] == ':') return true;
  }
  return false;
}

/** Whether every prefix in a value has the same meaning in the canonical form, where a reader finds it. */
bool keeps_meaning(const Named& element, Scope scope, Scope rendered, const Exclusive& canonical) {
  for (const auto& [prefix, name] : element.declared) scope[prefix] = name;
  for (const auto& [prefix, name] : canonical(element, scope, rendered)) rendered[prefix] = name;
  for (const auto& [prefix, name] : scope) {
    const bool used = uses_prefix(element.value, prefix) || uses_prefix(element.text, prefix);
    if (used && (!rendered.contains(prefix) || rendered.at(prefix) != name)) return false;
  }
  return std::ranges::all_of(
      element.children, [&](const Named& child) { return keeps_meaning(child, scope, rendered, canonical); });
}

TEST(XmlCoverRule, RandomPrefixesInValuesAreCoveredIfTheirMeaningIs) {
  Random random(2);
  const auto as_declared = [](const Named& element, const Scope&, const Scope&) { return element.declared; };
  size_t allowed = 0;
  for (int turn = 0; turn < 1500; ++turn) {
    int declarations = 0;
    const Named element = random_element(random, {}, declarations, 0);
    Exclusive canonical;
    std::string list;
    for (const std::string_view prefix : kPrefixes) {
      if (!random.one_in(5)) continue;
      canonical.listed.emplace_back(prefix);
      list += (list.empty() ? "" : " ") + std::string(prefix);
    }
    const std::string inclusive = xml_element(
        "InclusiveNamespaces", "", "xmlns=\"" + std::string(kExclusive) + "\" PrefixList=\"" + list + "\"");
    const std::string transforms =
        xml_element("Transforms", xml_method("Transform", kEnveloped) +
                                      xml_element("Transform", list.empty() ? "" : inclusive,
                                                  "Algorithm=\"" + std::string(kExclusive) + "\""));
    const std::string signature =
        xml_signature(signer(), xml_reference(signer(), "", written(element, {}, {}, canonical), transforms));
    const std::string text = written(element, {}, {}, as_declared, signature);
    const bool expected = keeps_meaning(element, {}, {}, canonical);
    EXPECT_EQ(verify(text), expected ? kSafSuccess : kSafBadObject) << text;
    if (expected) ++allowed;
  }
  EXPECT_GT(allowed, 300u);
  EXPECT_LT(allowed, 1200u);
}

// The name of the root uses the prefix, but the reference to the object does not cover the root.
TEST(XmlCoverRule, PrefixesOfAnObjectAreCoveredInIt) {
  const std::string exclusive = xml_method("Transform", kExclusive);
  const std::string to_root = xml_element("Transforms", xml_method("Transform", kEnveloped) + exclusive);
  const std::string to_object = xml_element("Transforms", exclusive);
  const std::string root = "<p:root xmlns:p=\"urn:p\"></p:root>";
  const auto code_of = [&](const std::string& content, const std::string& canonical_content) {
    const std::string canonical = xml_element(
        "Object", canonical_content, "xmlns=\"" + std::string(kXmlSignatureNamespace) + "\" Id=\"o\"");
    const std::string references =
        xml_reference(signer(), "", root, to_root) + xml_reference(signer(), "#o", canonical, to_object);
    const std::string object_in_it = xml_element("Object", content, "Id=\"o\"");
    std::string text = root;
    return verify(text.insert(text.find("</"),
                              xml_signature(signer(), references, xml_key_info(signer()), object_in_it)));
  };
  EXPECT_EQ(code_of("<e v=\"p:a\"></e>", "<e v=\"p:a\"></e>"), kSafBadObject);
  EXPECT_EQ(code_of("<p:e v=\"p:a\"></p:e>", "<p:e xmlns:p=\"urn:p\" v=\"p:a\"></p:e>"), kSafSuccess);
}

}  // namespace
}  // namespace velm::token
