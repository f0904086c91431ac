#include "softtoken/service/json_request.h"

#include <algorithm>
#include <limits>
#include <new>

#include <simdjson.h>

#include "softtoken/crypto/base64.h"
#include "softtoken/crypto/token_error.h"

namespace velm::token {
namespace {

namespace ondemand = simdjson::ondemand;

static_assert(kJsonPadding >= simdjson::SIMDJSON_PADDING);

// A request has few members; other objects could need many times their own size in memory.
constexpr size_t kMostMembers = 64;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view view_of(std::span<char> text) { return {text.data(), text.size()}; }

// The text between the quotation marks of a literal that the parser has found.
std::span<char> text_of(ondemand::raw_json_string literal) {
  const char* begin = literal.raw();
  const char* end = begin;
  while (*end != '"') end += *end == '\\' ? 2 : 1;
  return {const_cast<char*>(begin), end};
}

bool is_null(ondemand::value& value) {
  bool null = false;
  return value.is_null().get(null) == simdjson::SUCCESS && null;
}

}  // namespace

/** Adds the members of a text to a request. */
class JsonRequest::Parser {
 public:
  explicit Parser(JsonRequest& request) : request_(request) {}

  /** Finds the tokens; returns false if strings are malformed or not in UTF-8. */
  bool scan(std::span<char> text, size_t capacity) {
    const simdjson::error_code error = parser_.iterate(text.data(), text.size(), capacity).get(document_);
    if (error == simdjson::MEMALLOC) throw std::bad_alloc();
    return error == simdjson::SUCCESS;
  }

  /** Reads all tokens; returns false unless they are one flat object. */
  bool read() {
    ondemand::object object;
    if (document_.get_object().get(object) != simdjson::SUCCESS) return false;
    for (auto found : object) {
      ondemand::field field;
      if (std::move(found).get(field) != simdjson::SUCCESS) return false;
      if (request_.members_.size() == kMostMembers || !add(field)) return false;
    }
    return document_.current_location().error() == simdjson::OUT_OF_BOUNDS;
  }

 private:
  bool add(ondemand::field& field) {
    std::span<char> name;
    ondemand::json_type type{};
    if (!unescape(field.key(), name)) return false;
    if (field.value().type().get(type) != simdjson::SUCCESS) return false;
    Member& member = request_.members_.emplace_back(Member{std::string(view_of(name)), Kind::other});
    switch (type) {
      case ondemand::json_type::string:
        return read_text(field.value(), member);
      case ondemand::json_type::number:
        return read_number(field.value(), member);
      case ondemand::json_type::boolean:
        return field.value().get_bool().error() == simdjson::SUCCESS;
      case ondemand::json_type::null:
        return is_null(field.value());
      default:
        return false;
    }
  }

  bool read_text(ondemand::value& value, Member& member) {
    member.kind = Kind::text;
    ondemand::raw_json_string literal;
    return value.get_raw_json_string().get(literal) == simdjson::SUCCESS && unescape(literal, member.text);
  }

  // The parser's own buffer is not wiped, and whatever follows a literal is copied with it.
  bool unescape(ondemand::raw_json_string literal, std::span<char>& text) {
    text = text_of(literal);
    if (view_of(text).find('\\') == std::string_view::npos) return true;
    SecretText& copy = request_.unescaped_.emplace_back(text.size() + kJsonPadding, '\0');
    auto* end = reinterpret_cast<uint8_t*>(copy.data());
    std::string_view unescaped;
    if (parser_.unescape(literal, end).get(unescaped) != simdjson::SUCCESS) return false;
    text = {copy.data(), unescaped.size()};
    return true;
  }

  bool read_number(ondemand::value& value, Member& member) {
    ondemand::number number;
    if (value.get_number().get(number) != simdjson::SUCCESS) {
      // An integer beyond 64 bits.
      return value.get_double().error() == simdjson::SUCCESS;
    }
    if (number.is_double()) return true;
    member.kind = Kind::integer;
    member.integer = number.is_int64() ? number.get_int64() : std::numeric_limits<int64_t>::max();
    return true;
  }

  JsonRequest& request_;
  ondemand::parser parser_;
  ondemand::document document_;
};

JsonRequest::JsonRequest(std::span<char> text, size_t capacity) {
  // Some clients send the terminating NUL of their text too.
  while (!text.empty() && text.back() == '\0') text = text.first(text.size() - 1);
  if (view_of(text).starts_with(kByteOrderMark)) {
    text = text.subspan(kByteOrderMark.size());
    capacity -= kByteOrderMark.size();
  }
  Parser parser(*this);
  bool scanned = parser.scan(text, capacity);
  if (!scanned) {
    utf8_ = utf8_json(view_of(text));
    utf8_.reserve(utf8_.size() + kJsonPadding);
    scanned = std::string_view(utf8_) != view_of(text) && parser.scan(utf8_, utf8_.capacity());
  }
  if (!scanned || !parser.read()) throw TokenError(kBadInput);
}

const JsonRequest::Member* JsonRequest::find(std::string_view name) const {
  const auto found = std::find_if(members_.rbegin(), members_.rend(),
                                  [&](const Member& member) { return member.name == name; });
  return found != members_.rend() ? &*found : nullptr;
}

const JsonRequest::Member& JsonRequest::text_member(std::string_view name) const {
  const Member* found = find(name);
  require(found != nullptr && found->kind == Kind::text, kBadInput);
  return *found;
}

bool JsonRequest::contains(std::string_view name) const { return find(name) != nullptr; }

std::optional<int64_t> JsonRequest::integer(std::string_view name) const {
  const Member* found = find(name);
  return found != nullptr && found->kind == Kind::integer ? std::optional(found->integer) : std::nullopt;
}

std::string_view JsonRequest::text(std::string_view name) const { return view_of(text_member(name).text); }

ContainerName JsonRequest::container_name(std::string_view name) const { return read_name(text(name)); }

Pin JsonRequest::pin(std::string_view name) const { return as_bytes(text(name)); }

uint32_t JsonRequest::number(std::string_view name) const {
  const std::optional<int64_t> value = integer(name);
  require(value && *value >= std::numeric_limits<int32_t>::min() &&
              *value <= std::numeric_limits<uint32_t>::max(),
          kBadInput);
  return static_cast<uint32_t>(*value);
}

ByteView JsonRequest::bytes(std::string_view name) {
  const std::span<char> text = text_member(name).text;
  auto* bytes = reinterpret_cast<uint8_t*>(text.data());
  const auto length = base64_decode(view_of(text), bytes);
  require(length.has_value(), kBadInput);
  std::erase_if(members_, [&](const Member& member) { return member.name == name; });
  return {bytes, *length};
}

Pin JsonRequest::base64_pin(std::string_view name) { return read_pin(bytes(name)); }

}  // namespace velm::token
