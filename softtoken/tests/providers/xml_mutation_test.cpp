// Changes signed documents everywhere and in every way: whatever changes what an application reads is
// refused.
#include <gtest/gtest.h>

#include <functional>

#include "provider_abi/velm_client_saf.h"
#include "softtoken/tests/providers/expected_codes.h"
#include "softtoken/tests/providers/signed_xml.h"
#include "softtoken/tests/providers/xml_tree.h"

namespace velm::token {
namespace {

uint32_t verify(const std::string& document) {
  return SAF_Ext_XMLVerify(nullptr, 0, as_bytes(document).data(), size_of(as_bytes(document)));
}

// A reference covers KeyInfo, so that it may contain more than the certificate.
std::string xml_with_signed_key_info(const XmlSigner& by) {
  const std::string certificate = xml_element("X509Certificate", base64_encode(by.signer.certificate));
  const std::string content = xml_element("KeyName", "Sample") + xml_element("X509Data", certificate);
  const std::string canonical =
      xml_element("KeyInfo", content, "xmlns=\"" + std::string(kXmlSignatureNamespace) + "\" Id=\"key\"");
  const std::string start = "<root><text>signed</text>";
  return start +
         xml_signature(
             by,
             xml_reference(by, "", start + "</root>", kXmlEnveloped) + xml_reference(by, "#key", canonical),
             xml_element("KeyInfo", content, "Id=\"key\"")) +
         "</root>";
}

// Two signed objects, in the order of their references.
std::string xml_of_objects(const XmlSigner& by) {
  std::string objects;
  std::string references;
  for (const std::string id : {"first", "second"}) {
    const std::string content = "<text xmlns=\"\">" + id + "</text>";
    objects += xml_element("Object", content, "Id=\"" + id + "\"");
    references +=
        xml_reference(by, "#" + id,
                      xml_element("Object", content,
                                  "xmlns=\"" + std::string(kXmlSignatureNamespace) + "\" Id=\"" + id + "\""));
  }
  return xml_signature(by, references, xml_key_info(by), objects);
}

/** All forms, signed with both canonicalizations of SignedInfo. */
std::vector<std::string> signed_documents() {
  std::vector<std::string> documents;
  XmlSigner by = xml_signers()[1];
  for (const char* canonicalization :
       {"http://www.w3.org/TR/2001/REC-xml-c14n-20010315", "http://www.w3.org/2001/10/xml-exc-c14n#"}) {
    by.canonicalization_uri = canonicalization;
    for (const auto& form :
         {enveloped_xml, enveloping_xml, detached_xml, xml_with_signed_key_info, xml_of_objects})
      documents.push_back(form(by));
  }
  return documents;
}

using Change = std::function<void(XmlPiece& element)>;

/** Applies a change to each element of each signed document in turn, and requires that it is refused. */
void expect_refused_everywhere(const Change& change) {
  for (const std::string& document : signed_documents()) {
    const XmlPiece original = XmlPiece::document(document);
    ASSERT_EQ(original.str(), document);
    ASSERT_EQ(verify(document), kSafSuccess);
    size_t elements = 0;
    XmlPiece(original).for_each_element([&](const XmlPiece&) { ++elements; });
    for (size_t i = 0; i < elements; ++i) {
      XmlPiece changed = original;
      std::vector<XmlPiece*> all;
      changed.for_each_element([&](XmlPiece& element) { all.push_back(&element); });
      change(*all[i]);
      if (changed == original) continue;
      EXPECT_NE(verify(changed.str()), kSafSuccess) << changed.str();
    }
  }
}

/** Applies a change to each position between the children of each element. `change` may ignore a position. */
void expect_refused_at_every_position(const std::function<void(XmlPiece& element, size_t position)>& change) {
  constexpr size_t kMostChildren = 8;
  for (size_t position = 0; position <= kMostChildren; ++position) {
    expect_refused_everywhere([&](XmlPiece& element) {
      ASSERT_LE(element.children.size(), kMostChildren);
      if (position <= element.children.size()) change(element, position);
    });
  }
}

TEST(XmlMutation, RenamedElementsAreRefused) {
  expect_refused_everywhere([](XmlPiece& element) { element.name = "renamed"; });
  expect_refused_everywhere([](XmlPiece& element) {
    std::erase_if(element.attributes, [](const auto& each) { return each.first == "xmlns"; });
    element.attributes.emplace_back("xmlns", "urn:other");
  });
  expect_refused_everywhere([](XmlPiece& element) {
    element.attributes.emplace_back("xmlns:other", "urn:other");
    element.name = "other:" + element.name;
  });
}

TEST(XmlMutation, AddedAttributesAreRefused) {
  for (const auto& [name, value] : {std::pair{"added", "1"},
                                    {"Id", "added"},
                                    {"ID", "added"},
                                    {"id", "added"},
                                    {"xml:id", "added"},
                                    {"xml:lang", "de"},
                                    {"xml:space", "preserve"},
                                    {"xml:base", "urn:added"},
                                    {"Algorithm", "added"},
                                    {"URI", "added"}}) {
    expect_refused_everywhere([&](XmlPiece& element) { element.attributes.emplace_back(name, value); });
  }
}

TEST(XmlMutation, ChangedAttributesAreRefused) {
  for (size_t i = 0; i < 3; ++i) {
    const auto change_attribute = [&](const std::function<void(XmlPiece&)>& change) {
      expect_refused_everywhere([&](XmlPiece& element) {
        if (i < element.attributes.size()) change(element);
      });
    };
    change_attribute([&](XmlPiece& element) { element.attributes[i].second += "x"; });
    change_attribute([&](XmlPiece& element) { element.attributes[i].first = "renamed"; });
    change_attribute([&](XmlPiece& element) {
      element.attributes.erase(element.attributes.begin() + static_cast<ptrdiff_t>(i));
    });
  }
}

TEST(XmlMutation, AddedNodesAreRefused) {
  const XmlSigner by = xml_signers()[1];
  for (const std::string& added :
       {std::string("added"), std::string("A"), std::string("<![CDATA[added]]>"), std::string("<?added to?>"),
        std::string("<added></added>"), std::string("<added xmlns=\"\"></added>"),
        std::string("<Object></Object>"), std::string("<Object>added</Object>"),
        std::string("<KeyInfo></KeyInfo>"), std::string("<KeyName>added</KeyName>"),
        std::string("<X509Data></X509Data>"), std::string("<X509SubjectName>CN=added</X509SubjectName>"),
        std::string("<SignatureProperties>added</SignatureProperties>"), xml_key_info(by),
        xml_element("X509Certificate", base64_encode(rsa_1024_signer().certificate)),
        xml_element("X509Certificate", base64_encode(by.signer.certificate)), xml_signature(by, "")}) {
    expect_refused_at_every_position([&](XmlPiece& element, size_t position) {
      element.children.insert(element.children.begin() + static_cast<ptrdiff_t>(position),
                              XmlPiece::of_text(added));
    });
  }
}

TEST(XmlMutation, RemovedRepeatedAndReorderedNodesAreRefused) {
  expect_refused_at_every_position([](XmlPiece& element, size_t position) {
    if (position < element.children.size())
      element.children.erase(element.children.begin() + static_cast<ptrdiff_t>(position));
  });
  expect_refused_at_every_position([](XmlPiece& element, size_t position) {
    if (position < element.children.size()) {
      const XmlPiece child = element.children[position];
      element.children.insert(element.children.begin() + static_cast<ptrdiff_t>(position), child);
    }
  });
  expect_refused_at_every_position([](XmlPiece& element, size_t position) {
    if (position + 1 < element.children.size())
      std::swap(element.children[position], element.children[position + 1]);
  });
}

// Moves each node to every other place.
TEST(XmlMutation, MovedNodesAreRefused) {
  for (const std::string& document : signed_documents()) {
    const XmlPiece original = XmlPiece::document(document);
    const auto elements_of = [](XmlPiece& root) {
      std::vector<XmlPiece*> all;
      root.for_each_element([&](XmlPiece& element) { all.push_back(&element); });
      return all;
    };
    XmlPiece counted = original;
    for (size_t from = 0; from < elements_of(counted).size(); ++from) {
      for (size_t child = 0; child < elements_of(counted)[from]->children.size(); ++child) {
        XmlPiece without = original;
        auto& siblings = elements_of(without)[from]->children;
        const XmlPiece moved = siblings[child];
        siblings.erase(siblings.begin() + static_cast<ptrdiff_t>(child));
        for (size_t to = 0; to < elements_of(without).size(); ++to) {
          for (size_t position = 0; position <= elements_of(without)[to]->children.size(); ++position) {
            XmlPiece changed = without;
            auto& target = elements_of(changed)[to]->children;
            target.insert(target.begin() + static_cast<ptrdiff_t>(position), moved);
            if (changed == original) continue;
            EXPECT_NE(verify(changed.str()), kSafSuccess) << changed.str();
          }
        }
      }
    }
  }
}

// The second half of a divided text is hidden from applications that read only the first node.
TEST(XmlMutation, ChangedAndDividedTextsAreRefused) {
  const auto change_text = [](const std::function<std::string(const std::string&)>& changed) {
    expect_refused_at_every_position([&](XmlPiece& element, size_t position) {
      if (position >= element.children.size() || element.children[position].is_element()) return;
      element.children[position].text = changed(element.children[position].text);
    });
  };
  change_text([](const std::string& text) { return text + "A"; });
  change_text([](const std::string& text) { return text.substr(1); });
  change_text([](const std::string&) { return "AAAA"; });
  for (const std::string divider : {"<!-- added -->", "<!----><!---->", "<?added to?>", "<added></added>"})
    change_text([&](const std::string& text) { return text.substr(0, 2) + divider + text.substr(2); });
}

TEST(XmlMutation, AddedBesideTheRootIsRefused) {
  const auto start_of = [](const std::string& document) {
    return document.substr(0, document.find('>') + 1);
  };
  for (const std::string& document : signed_documents()) {
    const std::string name = XmlPiece::document(document).name;
    for (const std::string& changed :
         {"<?added to?>" + document, document + "<?added to?>", "added" + document, document + "added",
          document + "<added></added>", "<added>" + document + "</added>",
          start_of(document) + document + "</" + name + ">", "<?xml version=\"1.1\"?>" + document,
          "<?xml version=\"1.5\"?>" + document, "<!DOCTYPE " + name + ">" + document}) {
      EXPECT_NE(verify(changed), kSafSuccess) << changed;
    }
    EXPECT_EQ(verify("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n" + document),
              kSafSuccess);
  }
}

// Comments and white space in the signature itself, and comments elsewhere, change nothing.
TEST(XmlMutation, CommentsBetweenElementsAreAccepted) {
  for (const std::string& document : signed_documents()) {
    for (size_t at = document.find('<'); at != std::string::npos; at = document.find('<', at + 1)) {
      std::string changed = document;
      changed.insert(at, "<!-- added -->");
      EXPECT_EQ(verify(changed), kSafSuccess) << changed;
    }
  }
}

}  // namespace
}  // namespace velm::token
