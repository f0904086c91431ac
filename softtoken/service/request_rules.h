#pragma once

#include <string>
#include <string_view>

#include "softtoken/service/dispatch.h"

namespace velm::token {

/** What the rules below need to know about a request before its body is read. */
struct RequestHead {
  std::string_view method;
  std::string_view target;
  std::string_view host;  // empty unless there is exactly one
  std::string_view content_type;
  std::string_view fetch_site = {};  // how a browser relates the request to a page
  bool has_origin = false;
  bool has_body = false;
};

using Answering = Answer (*)(Service&, RequestBody&);

/** Returns the function that answers a POST request; null if its path does not accept its content type. */
Answering answering_of(const RequestHead& head);

/** Whether a request asks for the trace. */
bool asks_for_trace(const RequestHead& head);

/** The rules by which requests are refused before their body is read. */
class RequestRules {
 public:
  /** @param port The port on which the service listens. */
  explicit RequestRules(uint16_t port);

  /** Returns the HTTP status with which to refuse a request, or 0. */
  int refusal(const RequestHead& head) const;

 private:
  bool is_foreign(const RequestHead& head) const;

  std::string host_;
  std::string local_host_;
};

/**
 * The answer to a refused request. It contains a result code if the request may come from a client of the
 * service: as a byte frame for a request in a byte frame, otherwise as JSON.
 */
Answer refusal_answer(int status, const RequestHead& head);

}  // namespace velm::token
