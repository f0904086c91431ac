// A request as received by the service double.
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

  // Returns the trimmed value of the first header with this name (case-insensitive), or an empty string.
  std::string header(const std::string& name) const;

  // Number of headers with this name.
  size_t header_count(const std::string& name) const;
};

// Parses a request head that ends in an empty line. The body stays empty.
Request parse_head(const std::string& head);

}  // namespace velm::test
