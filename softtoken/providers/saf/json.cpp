#include "softtoken/providers/saf/json.h"

#include <cstdint>
#include <cstdlib>
#include <new>

#include "softtoken/crypto/base64.h"
#include "softtoken/providers/module_call.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {
namespace {

void* json_malloc(size_t size) { return noted_allocation(std::malloc(size), size); }

// Installed before the first call, because cJSON reports invalid JSON and exhausted memory alike.
const bool hooks_are_set = [] {
  cJSON_Hooks hooks{json_malloc, std::free};
  cJSON_InitHooks(&hooks);
  return true;
}();

template <typename T>
T* require_memory(T* pointer) {
  if (pointer == nullptr) throw std::bad_alloc();
  return pointer;
}

}  // namespace

JsonObject::JsonObject() : object_(require_memory(cJSON_CreateObject())) {}

JsonObject& JsonObject::add(const char* name, const std::string& text) {
  require_memory(cJSON_AddStringToObject(object_.get(), name, text.c_str()));
  return *this;
}

JsonObject& JsonObject::add(const char* name, uint32_t number) {
  require_memory(cJSON_AddNumberToObject(object_.get(), name, number));
  return *this;
}

std::string JsonObject::text() const {
  const std::unique_ptr<char, decltype(&cJSON_free)> printed(cJSON_PrintUnformatted(object_.get()),
                                                             cJSON_free);
  return require_memory(printed.get());
}

Json parse_json(ByteView text) {
  const std::string terminated = as_text(text);
  return Json(cJSON_ParseWithLengthOpts(terminated.c_str(), terminated.size() + 1, nullptr, true));
}

const cJSON* json_member(const cJSON* object, const char* name) {
  const cJSON* member = cJSON_GetObjectItemCaseSensitive(object, name);
  require_saf(member != nullptr, protocol::kSafJsonFailed);
  return member;
}

const char* json_text(const cJSON* value) {
  const char* text = cJSON_GetStringValue(value);
  require_saf(text != nullptr, protocol::kSafJsonFailed);
  return text;
}

uint32_t json_number(const cJSON* value) {
  require_saf(cJSON_IsNumber(value) != 0, protocol::kSafJsonFailed);
  const double number = value->valuedouble;
  require_saf(number >= 0 && number <= UINT32_MAX, protocol::kSafJsonFailed);
  const auto whole = static_cast<uint32_t>(number);
  require_saf(whole == number, protocol::kSafJsonFailed);
  return whole;
}

Bytes json_base64(const cJSON* value) {
  auto bytes = base64_decode(json_text(value));
  require_saf(bytes.has_value(), protocol::kSafJsonFailed);
  return *std::move(bytes);
}

const cJSON* first_element(const cJSON* list) {
  if (list == nullptr || cJSON_IsNull(list) != 0) return nullptr;
  require_saf(cJSON_IsArray(list) != 0, protocol::kSafJsonFailed);
  return list->child;
}

}  // namespace velm::token
