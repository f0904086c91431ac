#pragma once

#include <cJSON.h>

#include <memory>
#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

struct JsonDeleter {
  void operator()(cJSON* value) const { cJSON_Delete(value); }
};
/** A JSON value and all that it contains. */
using Json = std::unique_ptr<cJSON, JsonDeleter>;

/** An object, built member by member and written as text; throws std::bad_alloc. */
class JsonObject {
 public:
  JsonObject();

  /** `text` is UTF-8. */
  JsonObject& add(const char* name, const std::string& text);
  JsonObject& add(const char* name, uint32_t number);

  std::string text() const;

 private:
  Json object_;
};

/** The value that a text consists of; null when the text is not JSON. */
Json parse_json(ByteView text);

/**
 * Parts of a value, which may be null; each throws the code for a JSON failure when the value is of another
 * kind. A list that is missing or null is empty.
 */
const cJSON* json_member(const cJSON* object, const char* name);
const char* json_text(const cJSON* value);
uint32_t json_number(const cJSON* value);
Bytes json_base64(const cJSON* value);
const cJSON* first_element(const cJSON* list);

}  // namespace velm::token
