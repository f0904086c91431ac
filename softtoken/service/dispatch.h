#pragma once

#include <string>
#include <string_view>

namespace velm::token {

/** What goes back to a client: an HTTP status and a body. */
struct Answer {
  int status;
  std::string content_type;
  std::string body;
};

/** Runs the function that a request body names. Never throws. */
Answer answer_json(std::string_view body);
Answer answer_frame(std::string_view body);

}  // namespace velm::token
