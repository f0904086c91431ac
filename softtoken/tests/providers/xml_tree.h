#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velm::token {

/**
 * An element, or a text without a name, of a document in canonical form. Such a document is read without an
 * XML library, so that tests can change it in ways that a library would not write.
 */
struct XmlPiece {
  std::string name;
  std::string text;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::vector<XmlPiece> children;

  bool operator==(const XmlPiece&) const = default;

  bool is_element() const { return !name.empty(); }

  static XmlPiece of_text(std::string text) { return {{}, std::move(text), {}, {}}; }

  /** The element at the start of `rest`, which is left with what follows. */
  static XmlPiece read(std::string_view& rest) {
    XmlPiece piece;
    rest.remove_prefix(1);
    piece.name = taken_until(rest, " >");
    while (rest.front() == ' ') {
      rest.remove_prefix(1);
      std::string attribute = taken_until(rest, "=");
      rest.remove_prefix(2);
      piece.attributes.emplace_back(std::move(attribute), taken_until(rest, "\""));
      rest.remove_prefix(1);
    }
    rest.remove_prefix(1);
    while (!rest.starts_with("</")) {
      piece.children.push_back(rest.front() == '<' ? read(rest) : of_text(taken_until(rest, "<")));
    }
    rest.remove_prefix(piece.name.size() + 3);
    return piece;
  }

  static XmlPiece document(std::string_view text) { return read(text); }

  std::string str() const {
    if (!is_element()) return text;
    std::string all = "<" + name;
    for (const auto& [attribute, value] : attributes) all += " " + attribute + "=\"" + value + "\"";
    all += ">";
    for (const XmlPiece& child : children) all += child.str();
    return all + "</" + name + ">";
  }

  /** Calls `visit` with this element and all elements in it. */
  template <typename Visit>
  void for_each_element(const Visit& visit) {
    if (!is_element()) return;
    visit(*this);
    for (XmlPiece& child : children) child.for_each_element(visit);
  }

 private:
  static std::string taken_until(std::string_view& rest, std::string_view ends) {
    const std::string taken(rest.substr(0, rest.find_first_of(ends)));
    rest.remove_prefix(taken.size());
    return taken;
  }
};

}  // namespace velm::token
