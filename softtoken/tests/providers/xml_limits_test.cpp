// Documents that are made to take long: verifying, reading and refusing them takes less than a second of
// processor time.
#include <gtest/gtest.h>

#include <ctime>
#include <functional>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/signed_xml.h"

namespace velm::token {
namespace {

constexpr size_t kLargest = 400'000;
constexpr int kLevels = 250;
// An optimised build without sanitizers needs less than 1.
constexpr double kMostSeconds = 5;
constexpr const char* kExclusive = "http://www.w3.org/2001/10/xml-exc-c14n#";

const XmlSigner& rsa() {
  static const XmlSigner signer = xml_signers()[1];
  return signer;
}

double processor_seconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct Outcome {
  uint32_t verified;
  uint32_t read;
  double seconds;
};

Outcome outcome_of(const std::string& document) {
  const uint8_t* bytes = as_bytes(document).data();
  const uint32_t size = size_of(as_bytes(document));
  uint32_t lengths[6] = {};
  const double start = processor_seconds();
  const uint32_t verified = SAF_Ext_XMLVerify(nullptr, 0, bytes, size);
  const uint32_t read =
      SAF_Ext_XMLParse(nullptr, 0, bytes, size, nullptr, &lengths[0], nullptr, &lengths[1], nullptr,
                       &lengths[2], nullptr, &lengths[3], nullptr, &lengths[4], nullptr, &lengths[5]);
  return {verified, read, processor_seconds() - start};
}

std::string repeated(const std::string& text, size_t count) {
  std::string all;
  for (size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string filled(const std::string& text, size_t size) {
  return repeated(text, std::max<size_t>(size / text.size(), 1));
}

// The text with 0, 1 ... in the place of '%'.
std::string numbered(const std::string& text, int count) {
  std::string all;
  const size_t at = text.find('%');
  for (int i = 0; i < count; ++i) all += text.substr(0, at) + std::to_string(1000 + i) + text.substr(at + 1);
  return all;
}

std::string nested(const std::string& tag, const std::string& content) {
  return repeated("<" + tag + ">", kLevels) + content +
         repeated("</" + tag.substr(0, tag.find(' ')) + ">", kLevels);
}

// An enveloped signature that does not verify.
std::string signed_root(const std::string& attributes, const std::string& content,
                        const std::string& canonicalization = "", const std::string& prefixes = "") {
  std::string transforms = xml_method("Transform", "http://www.w3.org/2000/09/xmldsig#enveloped-signature");
  if (!canonicalization.empty()) {
    const std::string list = xml_element(
        "InclusiveNamespaces", "", "xmlns=\"" + canonicalization + "\" PrefixList=\"" + prefixes + "\"");
    transforms +=
        xml_element("Transform", prefixes.empty() ? "" : list, "Algorithm=\"" + canonicalization + "\"");
  }
  return "<r" + attributes + ">" + content +
         xml_signature(rsa(), xml_reference(rsa(), "", "", xml_element("Transforms", transforms))) + "</r>";
}

// A kind of document, by the number of bytes that it is filled with.
struct Kind {
  const char* name;
  uint32_t code_of_largest;
  std::function<std::string(size_t)> document;
};

std::vector<Kind> slow_kinds() {
  const std::string names = numbered(" xmlns:n%='urn:n'", kLevels);
  return {
      {"elements", kSafHashNotEqual, [](size_t size) { return signed_root("", filled("<b/>", size)); }},
      {"deep elements", kSafNotSupported,
       [](size_t size) { return signed_root("", nested("a", filled("<b/>", size))); }},
      {"deep instructions", kSafNotSupported,
       [](size_t size) { return signed_root("", nested("a", filled("<?b?>", size))); }},
      {"deep comments", kSafHashNotEqual,
       [](size_t size) { return signed_root("", nested("a", filled("<!---->", size))); }},
      {"deep texts", kSafHashNotEqual,
       [](size_t size) { return signed_root("", nested("a", filled("<![CDATA[]]>t", size))); }},
      {"instructions beside the root", kSafNotSupported,
       [](size_t size) { return filled("<?b?>", size) + signed_root("", ""); }},
      {"comments beside the root", kSafNotSupported,
       [](size_t size) { return filled("<!---->", size) + signed_root("", ""); }},
      {"namespaces", kSafNotSupported, [=](size_t size) { return signed_root(names, filled("<b/>", size)); }},
      {"deep elements with namespaces", kSafNotSupported,
       [=](size_t size) { return signed_root(names, nested("a", filled("<b/>", size))); }},
      {"the same, exclusive", kSafNotSupported,
       [=](size_t size) { return signed_root(names, nested("a", filled("<b/>", size)), kExclusive); }},
      {"deep attributes with prefixes", kSafNotSupported,
       [=](size_t size) {
         return signed_root(names, nested("a", filled("<b n1249:a=''/>", size)), kExclusive);
       }},
      {"deep elements with prefixes", kSafNotSupported,
       [=](size_t size) { return signed_root(names, nested("a", filled("<n1249:b/>", size))); }},
      {"a default namespace, deep", kSafNotSupported,
       [=](size_t size) { return signed_root(" xmlns='urn:d'" + names, nested("a", filled("<b/>", size))); }},
      {"deep declarations", kSafNotSupported,
       [](size_t size) { return signed_root("", nested("a xmlns:a='urn:a'", filled("<b/>", size))); }},
      {"long prefixes", kSafNotSupported,
       [](size_t size) {
         const std::string prefix(size / 1000, 'p');
         return signed_root(numbered(" xmlns:" + prefix + "%='urn:n'", kLevels), filled("<b/>", size / 2));
       }},
      {"listed prefixes", kSafNotSupported,
       [=](size_t size) {
         return signed_root(names, nested("a", filled("<b/>", size / 2)), kExclusive,
                            filled("n1249 ", size / 2));
       }},
      {"unknown listed prefixes", kSafNotSupported,
       [=](size_t size) {
         return signed_root(names, nested("a", filled("<b/>", size / 2)), kExclusive, filled("z ", size / 2));
       }},
      {"attributes", kSafHashNotEqual,
       [](size_t size) { return signed_root("", filled("<b" + numbered(" a%=''", kLevels) + "/>", size)); }},
      {"deep attributes", kSafHashNotEqual,
       [](size_t size) {
         return signed_root("", nested("a", filled("<b" + numbered(" a%=''", kLevels) + "/>", size)));
       }},
      {"attributes with long names", kSafHashNotEqual,
       [](size_t size) {
         return signed_root(
             "", filled("<b" + numbered(" " + std::string(600, 'a') + "%=''", kLevels) + "/>", size));
       }},
      {"attributes of two namespaces with long names", kSafNotSupported,
       [](size_t size) {
         const std::string name = "urn:" + std::string(size / 4, 'n');
         return signed_root(
             " xmlns:p='" + name + "' xmlns:q='" + name + "q'",
             filled("<b" + numbered(" p:b%=''", 120) + numbered(" q:b%=''", 120) + "/>", size / 2));
       }},
      {"attributes at every level", kSafNotSupported,
       [](size_t size) {
         return signed_root(
             " xmlns:p='urn:p' xmlns:q='urn:q'",
             nested("a" + numbered(" p:a%=''", static_cast<int>(size / 8000)), filled("<q:b/>", size / 2)),
             kExclusive);
       }},
      {"identifiers", kSafHashNotEqual,
       [](size_t size) { return signed_root("", filled("<b Id=''/>", size)); }},
      {"values of a namespace xml", kSafHashNotEqual,
       [](size_t size) {
         return signed_root("", nested("a xml:base='urn:a/b'", filled("<b xml:lang='a'/>", size)));
       }},
      {"references", kSafSuccess,
       [](size_t size) {
         std::string inner = filled("<b></b>", size);
         std::string references;
         for (int i = 0; i < 15; ++i) {
           const std::string id = "i" + std::to_string(i);
           inner = "<a Id=\"" + id + "\">" + inner + "</a>";
           references += xml_reference(rsa(), "#" + id, inner);
         }
         references += xml_reference(rsa(), "", "<r>" + inner + "</r>", kXmlEnveloped);
         return "<r>" + inner + xml_signature(rsa(), references) + "</r>";
       }},
  };
}

TEST(XmlLimits, SlowDocumentsAreRefusedInTime) {
  for (const auto& [name, code, document] : slow_kinds()) {
    SCOPED_TRACE(name);
    const Outcome outcome = outcome_of(document(kLargest));
    EXPECT_EQ(outcome.verified, code);
    EXPECT_LT(outcome.seconds, kMostSeconds);
  }
}

// These documents take more than half of the work that is allowed.
TEST(XmlLimits, DocumentsBelowTheLimitsAreReadInTime) {
  for (const auto& [name, code, document] : slow_kinds()) {
    SCOPED_TRACE(name);
    size_t size = kLargest;
    Outcome outcome = outcome_of(document(size));
    while (outcome.read == kSafNotSupported && size > 1) outcome = outcome_of(document(size /= 2));
    EXPECT_LT(outcome.seconds, kMostSeconds);
  }
}

// The parser searches everything around an element for its prefix.
TEST(XmlLimits, LargeDocumentsAreParsedInTime) {
  const std::string names = numbered(" xmlns:n%='urn:n'", kLevels);
  for (const char* element : {"<n1249:b/>", "<b n1249:a=''/>"}) {
    const Outcome outcome = outcome_of(signed_root(names, nested("a", filled(element, 16'000'000))));
    EXPECT_EQ(outcome.verified, kSafBadObject);
    EXPECT_LT(outcome.seconds, kMostSeconds);
  }
}

TEST(XmlLimits, LargeOrdinaryDocumentsVerify) {
  XmlSigner by = rsa();
  by.canonicalization_uri = kExclusive;  // SignedInfo does not inherit the namespaces
  const std::string start =
      "<order xmlns=\"urn:order\" xmlns:a=\"urn:a\" xmlns:b=\"urn:b\">" +
      filled("<item number=\"7\"><name>seal</name><price unit=\"CNY\">3</price></item>", 12'000'000);
  const std::string end = "</order>";
  const std::string signature = xml_signature(by, xml_reference(by, "", start + end, kXmlEnveloped));
  EXPECT_EQ(outcome_of(start + signature + end).verified, kSafSuccess);
}

// One canonicalization of this document is allowed, seventeen are not.
TEST(XmlLimits, ManyReferencesShareTheWork) {
  for (const auto& [count, code] : {std::pair{1, kSafHashNotEqual}, {15, kSafNotSupported}}) {
    std::string inner = nested("a", filled("<b/>", 80'000));
    std::string references;
    for (int i = 0; i < count; ++i) {
      const std::string id = "i" + std::to_string(i);
      inner += "<c Id=\"" + id + "\"/>";
      references += xml_reference(rsa(), "#" + id, "");
    }
    references += xml_reference(rsa(), "", "", kXmlEnveloped);
    const Outcome outcome = outcome_of("<r>" + inner + xml_signature(rsa(), references) + "</r>");
    EXPECT_EQ(outcome.verified, code) << count;
    EXPECT_LT(outcome.seconds, kMostSeconds);
  }
}

// The same text around short names, of which this many are different.
std::string different_names(const std::string& before, const std::string& behind, size_t names, size_t size) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  std::string all;
  for (size_t number = 0; all.size() < size; ++number) {
    all += before;
    for (size_t rest = number % names + kLetters.size(); rest > 0; rest /= kLetters.size())
      all += kLetters[rest % kLetters.size()];
    all += behind;
  }
  return all;
}

// The parser looks every name up among all of them, and values are searched for every declared prefix.
TEST(XmlLimits, DocumentsOfManyNamesAreRefusedInTime) {
  constexpr size_t kSize = 2'000'000;
  constexpr size_t kMany = 1'000'000;
  constexpr size_t kFew = 60'000;
  const auto signed_content = [](const std::string& content) { return signed_root("", content, kExclusive); };
  const std::string prefixes = different_names("<b xmlns:", "='urn:u'/>", kFew, 1'000'000);
  const struct {
    const char* name;
    uint32_t code;
    std::string document;
  } cases[] = {
      {"elements", kSafBadObject, signed_content(different_names("<", "/>", kMany, kSize))},
      {"attributes", kSafBadObject, signed_content(different_names("<b ", "=''/>", kMany, kSize))},
      {"prefixes", kSafBadObject, signed_content(different_names("<b xmlns:", "='urn:u'/>", kMany, kSize))},
      {"namespaces", kSafBadObject, signed_content(different_names("<b xmlns='urn:", "'/>", kMany, kSize))},
      {"instructions", kSafBadObject, signed_content(different_names("<?", "?>", kMany, kSize))},
      {"few elements", kSafHashNotEqual, signed_content(different_names("<", "/>", kFew, kSize / 2))},
      {"texts", kSafHashNotEqual, signed_content(different_names("<b>", "</b>", kMany, kSize))},
      {"values", kSafHashNotEqual, signed_content(different_names("<b a='", "'/>", kMany, kSize))},
      {"values with prefixes", kSafHashNotEqual,
       signed_content(prefixes + different_names("", ":", kFew, kSize))},
      {"values with other prefixes", kSafHashNotEqual,
       signed_content(prefixes + different_names("1", ":", kMany, kSize))},
      {"deep values with prefixes", kSafHashNotEqual,
       signed_content(prefixes + nested("a", different_names("", ":", kFew, kSize)))},
  };
  for (const auto& [name, code, document] : cases) {
    SCOPED_TRACE(name);
    const Outcome outcome = outcome_of(document);
    ASSERT_EQ(outcome.verified, code);
    ASSERT_LT(outcome.seconds, kMostSeconds);
  }
}

}  // namespace
}  // namespace velm::token
