#include "softtoken/tests/fuzz/token_under_fuzz.h"

#include <algorithm>
#include <charconv>

#include <sqlite3.h>
#include <nlohmann/json.hpp>

#include "softtoken/crypto/base64.h"
#include "softtoken/store/time_stamp_authority.h"
#include "softtoken/store/user_data.h"
#include "softtoken/tests/fuzz/credentials.h"
#include "softtoken/tests/store/temporary_store.h"
#include "tests/fuzz/fuzz_target.h"

namespace velm::token::fuzz {
namespace {

using velm::fuzz::expect;

constexpr uint32_t kCodeFamily = 0x0B;

// kUnknownError is for unexpected errors, which no request may cause.
void expect_known(uint32_t code) {
  expect(code == kSuccess || (code >> 24 == kCodeFamily && code != kUnknownError), "a known result code");
}

std::string text_in(const nlohmann::json& result) {
  if (result.is_string()) return result.get<std::string>();
  if (!result.is_object()) return {};
  const auto found = std::ranges::find_if(result, [](const auto& value) { return value.is_string(); });
  return found == result.end() ? std::string() : found->get<std::string>();
}

bool holds(ByteView bytes, std::string_view secret) {
  return as_text(bytes).find(secret) != std::string::npos;
}

}  // namespace

TokenUnderFuzz::TokenUnderFuzz() {
  const TemporaryStore store;
  service_.emplace(store.file());
  Token& token = service_->token;
  token.import_container(kSm2Container, sm2_credential(), as_bytes(kPin));
  token.import_container(kRsaContainer, rsa_credential(), as_bytes(kPin));
  token.add_container({.name = kOwnContainer}, as_bytes(kPin));
  const int64_t own = token.container_id(kOwnContainer);
  set_seal_item(token.store(), own, 0, SealItem::name, as_bytes("seal"));
  write_user_file(token.store(), own, 1, 1, 0, as_bytes("user data"));
  set_label(token.store(), "LABEL", kCertificateLabel, as_bytes("label"));
  prepare_time_stamp_authority(token.store());

  // Copies the store into memory. An in-memory database does not support a write-ahead log.
  token.store().database().execute("PRAGMA journal_mode=DELETE");
  sqlite3_int64 size = 0;
  uint8_t* bytes = sqlite3_serialize(token.store().database().handle(), "main", &size, 0);
  expect(bytes != nullptr, "the store can be copied");
  image_.assign(bytes, bytes + size);
  sqlite3_free(bytes);
  restore();
}

void TokenUnderFuzz::restore() {
  sqlite3* handle = service_->token.store().database().handle();
  const auto size = static_cast<sqlite3_int64>(image_.size());
  auto* copy = static_cast<uint8_t*>(sqlite3_malloc64(image_.size()));
  expect(copy != nullptr, "memory is available");
  std::ranges::copy(image_, copy);
  const int result = sqlite3_deserialize(handle, "main", copy, size, size,
                                         SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
  expect(result == SQLITE_OK, "the store can be restored");
}

void TokenUnderFuzz::begin_input() {
  Token& token = service_->token;
  sqlite3* handle = token.store().database().handle();
  if (sqlite3_total_changes64(handle) != changes_) restore();
  token.set_idle_limit(std::chrono::minutes(0));
  for (const char* name : {kSm2Container, kRsaContainer, kOwnContainer}) {
    if (code_of([&] { token.require_login(name); }) != kSuccess) token.login(name, as_bytes(kPin));
  }
  changes_ = sqlite3_total_changes64(handle);
}

JsonResult check_json(const Answer& answer) {
  expect(answer.content_type == "application/json", "the content type of JSON");
  const nlohmann::json body = nlohmann::json::parse(answer.body, nullptr, false);
  expect(body.is_object() && body.contains("ErrorCode") && body["ErrorCode"].is_string(),
         "an answer has a code");
  const auto& digits = body["ErrorCode"].get_ref<const std::string&>();
  JsonResult result{};
  const char* const end = digits.data() + digits.size();
  const auto [at, error] = std::from_chars(digits.data(), end, result.code, 16);
  expect(error == std::errc() && at == end, "a code is a hexadecimal number");
  expect_known(result.code);
  expect(answer.status == 200 || (answer.status == 400 && result.code == kBadInput),
         "the status of an answer");
  expect(result.code == kSuccess || !body.contains("Result"), "an error has no result");
  if (body.contains("Result")) result.text = text_in(body["Result"]);
  return result;
}

FrameResult check_frame(const Answer& answer) {
  expect(answer.content_type == "application/octet-stream", "the content type of a frame");
  const ByteView body = as_bytes(answer.body);
  const auto number = [&](size_t offset) {
    uint32_t value = 0;
    for (size_t i = 4; i-- > 0;) value = value << 8 | body[offset + i];
    return value;
  };
  expect(body.size() >= 4, "an answer has a code");
  FrameResult result{number(0), {}};
  expect_known(result.code);
  expect(answer.status == 200 || (answer.status == 400 && result.code == kBadInput),
         "the status of an answer");
  if (result.code != kSuccess) {
    expect(body.size() == 4, "an error response is only the code");
    return result;
  }
  expect(body.size() >= 8 && number(4) == body.size() - 8, "the length field is the length of the data");
  result.data = copy_of(body.subspan(8));
  return result;
}

void expect_without(std::string_view secret, const Answer& answer) {
  bool found = holds(as_bytes(answer.body), secret);
  const nlohmann::json body = nlohmann::json::parse(answer.body, nullptr, false);
  if (body.is_object()) {
    const auto decoded = base64_decode(text_in(body.value("Result", nlohmann::json())));
    found = found || (decoded && holds(*decoded, secret));
  }
  expect(!found, "a response does not contain the PIN");
}

}  // namespace velm::token::fuzz
