#pragma once

#include <string>
#include <string_view>

#include "softtoken/store/token.h"
#include "softtoken/service/trace.h"

namespace velm::token {

/** What the service works on. */
struct Service {
  explicit Service(const std::filesystem::path& store) : token(store) {}

  Token token;
  Trace trace;
};

/** What goes back to a client: an HTTP status and a body. */
struct Answer {
  int status;
  std::string content_type;
  std::string body;
};

/** Runs the function that a request body names. Never throws but for want of memory. */
Answer answer_json(Service& service, std::string_view body);
/** The same for the functions that provider modules ask for. */
Answer answer_module(Service& service, std::string_view body);
Answer answer_frame(Service& service, std::string_view body);
/** Asks the time-stamp authority (RFC 3161, section 3.4). */
Answer answer_time_stamp(Service& service, std::string_view body);

}  // namespace velm::token
