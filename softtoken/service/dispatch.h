#pragma once

#include <string>
#include <string_view>

#include "softtoken/service/trace.h"
#include "softtoken/store/token.h"

namespace velm::token {

/** The state that all requests share. */
struct Service {
  explicit Service(const std::filesystem::path& store) : token(store) {}

  Token token;
  Trace trace;
};

/** An HTTP response. */
struct Answer {
  int status;
  std::string content_type;
  std::string body;
};

/** Runs the function that a JSON request names. Throws only std::bad_alloc, like the functions below. */
Answer answer_json(Service& service, std::string_view body);
/** The same for the functions of the provider modules. */
Answer answer_module(Service& service, std::string_view body);
/** Runs the function that a byte frame names. */
Answer answer_frame(Service& service, std::string_view body);
/** Answers a time-stamp request over HTTP (RFC 3161 section 3.4); status 500 on failure. */
Answer answer_time_stamp(Service& service, std::string_view body);

}  // namespace velm::token
