#include "support/http_request.h"

#include <algorithm>
#include <cctype>

namespace velm::test {
namespace {

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
  return text;
}

bool has_name(const std::string& header, const std::string& name) {
  return lower(header.substr(0, header.find(':'))) == lower(name);
}

std::string value_of(const std::string& header) {
  const size_t from = header.find_first_not_of(" \t", std::min(header.find(':'), header.size() - 1) + 1);
  return from == std::string::npos ? "" : header.substr(from, header.find_last_not_of(" \t") + 1 - from);
}

std::string word(const std::string& line, size_t index) {
  size_t from = 0;
  for (; index > 0; --index) from = std::min(line.find(' ', from), line.size() - 1) + 1;
  return line.substr(from, line.find(' ', from) - from);
}

}  // namespace

std::string Request::method() const { return word(line, 0); }
std::string Request::target() const { return word(line, 1); }

std::string Request::header(const std::string& name) const {
  for (const std::string& header : headers) {
    if (has_name(header, name)) return value_of(header);
  }
  return "";
}

size_t Request::header_count(const std::string& name) const {
  return static_cast<size_t>(std::count_if(
      headers.begin(), headers.end(), [&](const std::string& header) { return has_name(header, name); }));
}

Request parse_head(const std::string& head) {
  Request request;
  for (size_t from = 0; from < head.size();) {
    const size_t end = std::min(head.find("\r\n", from), head.size());
    const std::string line = head.substr(from, end - from);
    if (from == 0) {
      request.line = line;
    } else if (!line.empty()) {
      request.headers.push_back(line);
    }
    from = end + 2;
  }
  return request;
}

}  // namespace velm::test
