// Fuzzes sequences of well-formed calls. Input: calls separated by an empty line. A call consists of lines:
//   json NUMBER | module NUMBER | frame NUMBER
//   NAME=TEXT      a string member of a JSON request
//   NAME#VALUE     a member of a JSON request with a literal value
//   =TEXT  #NUMBER  :BASE64     the fields of a frame: a text, a number, a byte string
// A whole TEXT or BASE64 may be $SM2, $RSA or $OWN, the base64 of a container's certificate, or $LAST, the
// result of the previous call. In members that contain PINs, $PIN and $PIN64 are replaced by the PIN.
#include <charconv>

#include "softtoken/crypto/base64.h"
#include "softtoken/tests/fuzz/token_under_fuzz.h"
#include "tests/fuzz/fuzz_target.h"

using namespace velm::token;

namespace {

constexpr size_t kMaxCalls = 8;

// Removes and returns the text before the separator.
std::string_view take(std::string_view& text, std::string_view separator) {
  const size_t end = text.find(separator);
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + separator.size());
  return taken;
}

uint32_t number_in(std::string_view digits) {
  uint32_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number);
  return number;
}

class Caller {
 public:
  explicit Caller(fuzz::TokenUnderFuzz& token) : token_(token) {}

  void call(std::string_view lines) {
    std::string_view first = take(lines, "\n");
    const std::string_view kind = take(first, " ");
    if (kind == "frame") {
      RequestBody body(frame_body(number_in(first), lines));
      answer_bytes(answer_frame(token_.service(), body));
    } else if (kind == "json" || kind == "module") {
      RequestBody body(json_body(first, lines));
      answer_text((kind == "json" ? answer_json : answer_module)(token_.service(), body));
    }
  }

 private:
  void answer_text(const Answer& answer) {
    last_ = fuzz::check_json(answer).text;
    fuzz::expect_without(fuzz::kPin, answer);
  }

  void answer_bytes(const Answer& answer) {
    last_ = base64_encode(fuzz::check_frame(answer).data);
    fuzz::expect_without(fuzz::kPin, answer);
  }

  std::string value_of(std::string_view name, std::string_view text) {
    const bool carries_pin = name == "Pin" || name.ends_with("PassWd");
    if (carries_pin && text == "$PIN") return std::string(fuzz::kPin);
    if (carries_pin && text == "$PIN64") return base64_encode(as_bytes(fuzz::kPin));
    if (text == "$LAST") return last_;
    for (const char* container : {fuzz::kSm2Container, fuzz::kRsaContainer, fuzz::kOwnContainer}) {
      if (text == "$" + std::string(container)) return base64_encode(token_.certificate(container));
    }
    return std::string(text);
  }

  std::string json_body(std::string_view number, std::string_view lines) {
    std::string body = R"({"funcid":)" + std::string(number);
    while (!lines.empty()) {
      const std::string_view line = take(lines, "\n");
      const size_t end = std::min(line.find_first_of("=#"), line.size());
      const std::string name(line.substr(0, end));
      const std::string_view value = line.substr(std::min(end + 1, line.size()));
      const char* quote = end < line.size() && line[end] == '#' ? "" : "\"";
      body += ",\"" + name + "\":" + quote + value_of(name, value) + quote;
    }
    return body + "}";
  }

  std::string frame_body(uint32_t number, std::string_view lines) {
    std::string body{'\x77', static_cast<char>(number)};
    while (!lines.empty()) {
      const std::string_view line = take(lines, "\n");
      const char kind = line.empty() ? '=' : line[0];
      const std::string value = value_of({}, line.substr(line.empty() ? 0 : 1));
      if (kind == '#') {
        append_number(body, number_in(value));
        continue;
      }
      const std::string bytes = kind == ':' ? as_text(base64_decode(value).value_or(Bytes())) : value + '\0';
      append_number(body, static_cast<uint32_t>(bytes.size()));
      body += bytes;
    }
    return body;
  }

  static void append_number(std::string& body, uint32_t number) {
    for (unsigned shift = 0; shift < 32; shift += 8) body += static_cast<char>(number >> shift & 0xFF);
  }

  fuzz::TokenUnderFuzz& token_;
  std::string last_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::TokenUnderFuzz token;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  // Fuzzers learn from comparisons. This search could teach the PIN to the fuzzer, which would then see it in
  // answers.
  if (input.find(fuzz::kPin) != std::string_view::npos) return 0;
  token.begin_input();
  Caller caller(token);
  for (size_t i = 0; i < kMaxCalls && !input.empty(); ++i) caller.call(take(input, "\n\n"));
  return 0;
}
