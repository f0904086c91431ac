#include "softtoken/providers/saf/configuration.h"

#include <charconv>
#include <limits>
#include <sstream>

#include "softtoken/crypto/text_encoding.h"
#include "softtoken/providers/saf/file_stream.h"
#include "softtoken/providers/saf/module_folder.h"
#include "softtoken/providers/saf/saf_call.h"

namespace velm::token {

using namespace protocol;

namespace {

constexpr size_t kMaxFile = 64 * 1024;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string trimmed(const std::string& text) {
  const char* blanks = " \t\r";
  const size_t from = text.find_first_not_of(blanks);
  if (from == std::string::npos) return {};
  return text.substr(from, text.find_last_not_of(blanks) - from + 1);
}

uint32_t number_in(const std::string& text, uint32_t most) {
  uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, number);
  require_saf(error == std::errc() && at == end && number > 0 && number <= most, kSafBadInput);
  return number;
}

Endpoint endpoint_in(const std::string& text) {
  const size_t colon = text.rfind(':');
  require_saf(colon != std::string::npos && colon > 0, kSafBadInput);
  return {text.substr(0, colon),
          static_cast<uint16_t>(number_in(text.substr(colon + 1), std::numeric_limits<uint16_t>::max()))};
}

std::chrono::milliseconds duration_in(const std::string& text) {
  return std::chrono::milliseconds(number_in(text, std::numeric_limits<int32_t>::max()));
}

bool choice_in(const std::string& text) {
  require_saf(text == "true" || text == "false", kSafBadInput);
  return text == "true";
}

std::string path_in(const std::string& text) {
  require_saf(!text.empty() && is_utf8(text), kSafBadInput);
  return text;
}

void set_value(Configuration& configuration, const std::string& key, const std::string& value) {
  if (key == "service_address") {
    configuration.service = endpoint_in(value);
  } else if (key == "time_stamp_address") {
    configuration.time_stamp = endpoint_in(value);
  } else if (key == "connect_timeout_ms") {
    configuration.connect_timeout = duration_in(value);
  } else if (key == "answer_timeout_ms") {
    configuration.answer_timeout = duration_in(value);
  } else if (key == "allow_remote_addresses") {
    configuration.allow_remote_addresses = choice_in(value);
  } else if (key == "time_stamp_certificate") {
    configuration.time_stamp_certificate = path_in(value);
  } else {
    throw SafError(kSafBadInput);
  }
}

bool is_local(const Endpoint& endpoint) {
  return endpoint.host == kServiceHost || endpoint.host == "localhost";
}

bool is_relative(const std::string& path) {
  return path.find_first_of("/\\") != 0 && path.find(':') == std::string::npos;
}

// Also true for a file that cannot be opened: another user can keep a file open without sharing it.
bool may_exist(const std::filesystem::path& path) {
  std::error_code failure;
  return std::filesystem::status(path, failure).type() != std::filesystem::file_type::not_found;
}

Bytes content_of(InputFile file) {
  Bytes content;
  for (ByteView piece; !(piece = file.read()).empty();) {
    content.insert(content.end(), piece.begin(), piece.end());
    require_saf(content.size() <= kMaxFile, kSafBadInput);
  }
  return content;
}

}  // namespace

Configuration parse_configuration(const std::string& text) {
  Configuration configuration;
  std::istringstream lines(text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text);
  for (std::string line; std::getline(lines, line);) {
    line = trimmed(line);
    if (line.empty() || line[0] == '#') continue;
    const size_t equals = line.find('=');
    require_saf(equals != std::string::npos, kSafBadInput);
    set_value(configuration, trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
  }
  const bool all_local = is_local(configuration.service) && is_local(configuration.time_stamp);
  require_saf(all_local || configuration.allow_remote_addresses, kSafBadInput);
  return configuration;
}

Configuration load_configuration(const std::string& path) {
  if (is_relative(path)) {
    const std::filesystem::path own = module_folder() / local_path(path);
    if (may_exist(own)) return parse_configuration(as_text(content_of(InputFile(own))));
  }
  return parse_configuration(as_text(content_of(InputFile(path))));
}

Bytes read_time_stamp_certificate(const Configuration& configuration) {
  const std::string& text = configuration.time_stamp_certificate;
  const std::filesystem::path path(std::u8string(text.begin(), text.end()));
  return content_of(InputFile(path.is_absolute() ? path : module_folder() / path));
}

}  // namespace velm::token
