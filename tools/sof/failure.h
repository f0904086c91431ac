#pragma once

#include <exception>
#include <string>

#include <nlohmann/json.hpp>

#include "bytes.h"
#include "exit_status.h"

using Json = nlohmann::ordered_json;

/** Ends a command with an exit status and an error message, as text and as JSON. */
class Failure : public std::exception {
 public:
  Failure(ExitStatus status, std::string message, Json details)
      : status_(status), message_(std::move(message)), details_(std::move(details)) {}

  ExitStatus status() const { return status_; }
  const char* what() const noexcept override { return message_.c_str(); }
  const Json& details() const { return details_; }

 private:
  ExitStatus status_;
  std::string message_;
  Json details_;
};

Failure usage_failure(const std::string& message);
/** `path` is the path that the user entered, or a description. */
Failure file_failure(const std::string& path, const std::string& message);

/** For errors of the library. */
Failure call_failure(const sof::Error& error);
Failure call_failure(const sof::NotValid& error);
Failure call_failure(const sof::FalseSuccess& error);
