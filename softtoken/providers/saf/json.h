#pragma once

#include <cJSON.h>

#include <memory>
#include <string>

#include "softtoken/crypto/bytes.h"

namespace velm::token {

struct JsonDeleter {
  void operator()(cJSON* value) const { cJSON_Delete(value); }
};
/** A JSON value with all its members. */
using Json = std::unique_ptr<cJSON, JsonDeleter>;

/** Builds a JSON object. Throws std::bad_alloc. */
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

/** Returns null if `text` is not JSON. */
Json parse_json(ByteView text);

/**
 * Access to a value, which may be null. Each function throws kSafJsonFailed if the value has another type. A
 * list that is missing or null is treated as empty.
 */
const cJSON* json_member(const cJSON* object, const char* name);
const char* json_text(const cJSON* value);
uint32_t json_number(const cJSON* value);
Bytes json_base64(const cJSON* value);
const cJSON* first_element(const cJSON* list);

}  // namespace velm::token
