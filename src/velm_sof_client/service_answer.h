// JSON answers of the local service. Missing members are read as default values.
#pragma once

#include <cJSON.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace velm {

// A JSON value, or nothing. Reading from nothing returns the default value.
class AnswerValue {
 public:
  explicit AnswerValue(const cJSON* item) : item_(item) {}

  bool exists() const { return item_ != nullptr; }
  AnswerValue member(const char* name) const { return AnswerValue(cJSON_GetObjectItem(item_, name)); }
  const char* text(const char* otherwise = "") const {
    const char* text = cJSON_GetStringValue(item_);
    return text ? text : otherwise;
  }
  int32_t integer(int32_t otherwise = 0) const { return item_ ? item_->valueint : otherwise; }
  int size() const { return cJSON_GetArraySize(item_); }
  AnswerValue element(int index) const { return AnswerValue(cJSON_GetArrayItem(item_, index)); }

 private:
  const cJSON* item_;
};

// Parses a leading hexadecimal number as strtol() does with a 32-bit long: leading white space, a sign and a
// 0x prefix are accepted. Sic: the value saturates, so codes above 0x7FFFFFFF become 0x7FFFFFFF.
inline uint32_t hexadecimal_code(const char* text) {
  constexpr long long lowest = std::numeric_limits<int32_t>::min(),
                      highest = std::numeric_limits<int32_t>::max();
  return static_cast<uint32_t>(std::clamp(std::strtoll(text, nullptr, 16), lowest, highest));
}

class ServiceAnswer {
 public:
  explicit ServiceAnswer(const char* text) : document_(cJSON_Parse(text)) {}

  bool is_json() const { return document_ != nullptr; }
  AnswerValue result() const { return AnswerValue(document_.get()).member("Result"); }

  // Returns the service's code, or `otherwise` if the answer has none.
  uint32_t error_code(uint32_t otherwise) const {
    const char* text = AnswerValue(document_.get()).member("ErrorCode").text(nullptr);
    return text ? hexadecimal_code(text) : otherwise;
  }

 private:
  struct Deleter {
    void operator()(cJSON* document) const { cJSON_Delete(document); }
  };
  std::unique_ptr<cJSON, Deleter> document_;
};

}  // namespace velm
