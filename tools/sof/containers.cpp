#include "containers.h"

#include "library_call.h"
#include "text.h"

namespace {

std::vector<std::string> split(const std::string& text, std::string_view separator) {
  std::vector<std::string> parts;
  for (size_t from = 0; from < text.size();) {
    const size_t end = std::min(text.find(separator, from), text.size());
    if (end > from) parts.push_back(text.substr(from, end - from));
    from = end + separator.size();
  }
  return parts;
}

}  // namespace

std::vector<std::string> container_names() {
  const Bytes list = fetch("SOF_GetUserList", [](uint8_t* names, uint32_t* length) {
    return SOF_GetUserList(reinterpret_cast<char*>(names), length);
  });
  return split(utf8_of_gbk(text_of(list)), "&&&");
}

std::vector<std::string> names_in(const Bytes& list) {
  std::vector<std::string> names = split(text_of(list), std::string_view("\0", 1));
  for (std::string& name : names) name = readable(name);
  return names;
}
