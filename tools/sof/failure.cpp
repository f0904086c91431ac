#include "failure.h"

#include "library_call.h"
#include "text.h"

Failure usage_failure(const std::string& message) {
  return {ExitStatus::usage, message, {{"message", message}}};
}

Failure file_failure(const std::string& path, const std::string& message) {
  return {ExitStatus::file, path + ": " + message, {{"path", path}, {"message", message}}};
}

Failure missing_result(const char* function, const std::string& message) {
  return {ExitStatus::call_failed,
          std::string(function) + ": " + message,
          {{"function", function}, {"message", message}}};
}

Failure call_failure(const char* function, uint32_t code, ExitStatus status) {
  const std::string text = error_text(code);
  return {status,
          std::string(function) + ": " + code_text(code) + (text.empty() ? "" : " ") + text,
          {{"function", function}, {"code", code_text(code)}, {"text", text}}};
}
