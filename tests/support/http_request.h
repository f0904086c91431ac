// A request as the service double received it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velm::test {

struct Request {
  std::string line;                  // "POST / HTTP/1.1"
  std::vector<std::string> headers;  // each as received, without its line end
  std::string body;

  std::string method() const;
  std::string target() const;

  // The value of the first header of that name, whatever its case, without blanks around it; or empty.
  std::string header(const std::string& name) const;

  // How many headers of that name there are.
  size_t header_count(const std::string& name) const;
};

// Reads the head that ends in an empty line; the body stays empty.
Request parse_head(const std::string& head);

}  // namespace velm::test
