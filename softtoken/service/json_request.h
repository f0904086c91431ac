#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "softtoken/service/received_text.h"

namespace velm::token {

/** Bytes that must be readable behind the text of a request: the parser reads in blocks. */
constexpr size_t kJsonPadding = 64;

/**
 * A request: one flat JSON object with at most 64 members, each literal in UTF-8 or GBK. It is parsed in
 * place; a text without escapes is a view of the request. Of several members with one name, the last counts.
 */
class JsonRequest {
 public:
  /**
   * Parses the text, which must outlive the request. `capacity` includes the padding. Throws
   * TokenError(kBadInput) for any other text, and std::bad_alloc.
   */
  JsonRequest(std::span<char> text, size_t capacity);
  JsonRequest(const JsonRequest&) = delete;

  bool contains(std::string_view name) const;
  /** Nothing if the member is missing or is not an integer of 64 bits; a larger positive one is limited. */
  std::optional<int64_t> integer(std::string_view name) const;

  // Members. Each function throws TokenError(kBadInput) if the member is missing or invalid.

  std::string_view text(std::string_view name) const;
  ContainerName container_name(std::string_view name) const;
  Pin pin(std::string_view name) const;
  /** Clients may print an unsigned 32-bit number as a signed one. */
  uint32_t number(std::string_view name) const;
  /** Decodes a base64 text in place, which removes the member. */
  ByteView bytes(std::string_view name);
  Pin base64_pin(std::string_view name);

 private:
  enum class Kind { text, integer, other };
  struct Member {
    std::string name;
    Kind kind;
    std::span<char> text{};
    int64_t integer = 0;
  };
  class Parser;

  const Member* find(std::string_view name) const;
  const Member& text_member(std::string_view name) const;

  SecretText utf8_;
  std::deque<SecretText> unescaped_;
  std::vector<Member> members_;
};

}  // namespace velm::token
