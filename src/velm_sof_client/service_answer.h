// A JSON answer of the local service: parsed once, read with defaults for whatever is missing.
#pragma once

#include <cJSON.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>

namespace velm {

// A value of the answer, or nothing; reading from nothing gives the default.
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

// The number that a hexadecimal text begins with, as a 32-bit signed conversion gives it: blanks, sign and 0x
// prefix are accepted, and what lies outside saturates.
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

  // The service's code, or `otherwise` when the answer has none.
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
