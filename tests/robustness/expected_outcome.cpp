#include "robustness/expected_outcome.h"

#include <cJSON.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "inc/velm_sof_client.h"
#include "support/base64.h"

namespace velm::test {
namespace {

uint32_t number_at(const std::string& frame, size_t offset) {
  uint32_t number = 0;
  for (size_t i = 4; i > 0; --i) number = number << 8 | static_cast<unsigned char>(frame[offset + i - 1]);
  return number;
}

Outcome only(uint32_t code) { return {{code}}; }

Outcome success(const ServiceFunction& function, const std::string& output, size_t length) {
  Outcome outcome{.codes = {SOR_OK}, .is_foretold = true, .output = output};
  if (function.length != LengthUse::kNone) outcome.length = static_cast<uint32_t>(length);
  return outcome;
}

Outcome outcome_of_frame(const ServiceFunction& function, uint32_t size, const std::string& received,
                         size_t capacity) {
  if (received.size() > capacity || received.size() < 4) return only(SOR_UNKNOWNERR);
  const uint32_t code = number_at(received, 0);
  if (code != 0) return only(code);
  if (function.form == AnswerForm::kFrameCode) return success(function, "", 0);
  if (received.size() < 8) return only(SOR_UNKNOWNERR);
  const uint32_t length = number_at(received, 4);
  if (length > received.size() - 8 || length > function.room.of(size)) return only(SOR_UNKNOWNERR);
  return success(function, received.substr(8, length), length);
}

std::string text_of(const cJSON* value, const char* otherwise = "") {
  const char* text = cJSON_GetStringValue(value);
  return text ? text : otherwise;
}

// The service's base64 may contain line breaks.
std::optional<std::string> decoded(std::string text) {
  std::erase_if(text, [](char c) { return c == '\r' || c == '\n'; });
  return from_base64(text);
}

// The caller chooses the number of random bytes; missing bytes are zero.
Outcome outcome_of_random(const ServiceFunction& function, const std::string& text, uint32_t size) {
  std::optional<std::string> bytes = decoded(text);
  if (!bytes) return only(SOR_BASE64DECODEERR);
  bytes->resize(size, '\0');
  return success(function, *bytes, size);
}

Outcome outcome_of_result(const ServiceFunction& function, uint32_t size, const cJSON* result) {
  const cJSON* value = function.member ? cJSON_GetObjectItem(result, function.member) : result;
  switch (function.kind) {
    case ResultKind::kNone:
      return success(function, "", 0);
    case ResultKind::kNumber:
      return success(function, "", value ? static_cast<uint32_t>(value->valueint) : 0);
    case ResultKind::kTexts:
      return {{SOR_OK, SOR_INDATALENERR}};  // the conversion to GBK is not modelled here
    case ResultKind::kText: {
      const bool is_version = std::string(function.name) == "SOF_GetVersion";
      const std::string text = is_version ? text_of(value, "0.0.0") + '\0' : text_of(value);
      return success(function, text, text.size());
    }
    case ResultKind::kBase64:
      break;
  }
  const std::string text = text_of(value);
  if (std::string(function.name) == "SOF_GenRandom") return outcome_of_random(function, text, size);
  const std::string bytes = decoded(text).value_or("");
  return success(function, bytes, bytes.size());
}

Outcome outcome_of_json(const ServiceFunction& function, uint32_t size, const std::string& received,
                        size_t capacity) {
  const std::string text = received.size() > capacity ? "" : received;
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> document(cJSON_Parse(text.c_str()), cJSON_Delete);
  if (!document) return only(SOR_JSONPARSEERR);
  const char* digits = cJSON_GetStringValue(cJSON_GetObjectItem(document.get(), "ErrorCode"));
  if (!digits) return only(SOR_UNKNOWNERR);
  const long long code = std::clamp(std::strtoll(digits, nullptr, 16), -0x80000000LL, 0x7FFFFFFFLL);
  if (code != 0) return only(static_cast<uint32_t>(code));
  return outcome_of_result(function, size, cJSON_GetObjectItem(document.get(), "Result"));
}

}  // namespace

bool Outcome::allows(uint32_t code) const {
  return codes.empty() || std::find(codes.begin(), codes.end(), code) != codes.end();
}

Outcome expected_outcome(const ServiceFunction& function, uint32_t size, const std::string& received,
                         size_t capacity) {
  return function.form == AnswerForm::kJson ? outcome_of_json(function, size, received, capacity)
                                            : outcome_of_frame(function, size, received, capacity);
}

}  // namespace velm::test
