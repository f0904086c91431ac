#pragma once

#include <string>

#include "softtoken/crypto/secret.h"
#include "softtoken/service/request_body.h"
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
  SecretText body;
};

/** An answer that consists of a result code, in JSON or as a byte frame. */
Answer code_answer(int status, const char* content_type, uint32_t code);
/**
 * Runs the function that a JSON request names. May change the body in place. Throws only std::bad_alloc, like
 * the functions below.
 */
Answer answer_json(Service& service, RequestBody& body);
/** The same for the functions of the provider modules. */
Answer answer_module(Service& service, RequestBody& body);
/** Runs the function that a byte frame names. */
Answer answer_frame(Service& service, RequestBody& body);
/** Answers a time-stamp request over HTTP (RFC 3161 section 3.4); status 500 on failure. */
Answer answer_time_stamp(Service& service, RequestBody& body);

}  // namespace velm::token
