#include "softtoken/store/token.h"

#include <stdexcept>

#include "softtoken/crypto/certificate.h"
#include "softtoken/crypto/key_protection.h"
#include "softtoken/crypto/random.h"
#include "softtoken/crypto/text_encoding.h"

namespace velm::token {
namespace {

constexpr std::string_view kSigningPurpose = "signing key";
// Sic: the wrapping of encryption keys in every store depends on this text.
constexpr std::string_view kEncryptionPurpose = "exchange key";

// The size queries of clients return 2,048 bytes for a certificate and 1,024 for a signature.
constexpr size_t kMaxCertificate = 2048;
constexpr unsigned kMaxRsaBits = 4096;

void require_good_pin(const Pin& pin) {
  require(pin.sent_size >= protocol::kShortestPin && pin.sent_size <= protocol::kLongestPin, kBadInput);
}

// Clients do not escape names in JSON requests, and separate the names in a list with "&&&".
void require_good_name(const std::string& name) {
  const bool plain = name.find_first_of("\"\\") == std::string::npos && name.find("&&&") == std::string::npos;
  const bool fits = !name.empty() && name.size() <= protocol::kLongestContainerName;
  require(fits && is_utf8(name) && plain, kBadInput);
  for (const char c : name) require(static_cast<uint8_t>(c) >= 0x20, kBadInput);
}

Certificate order_certificate(const Authority& authority, EVP_PKEY* key, const ContainerOrder& order,
                              Usage usage) {
  const time_t now = std::time(nullptr);
  const bool usual = order.not_before == 0 && order.not_after == 0;
  return issue_certificate(authority, key,
                           {.common_name = order.name,
                            .usage = usage,
                            .not_before = usual ? now - kDay : order.not_before,
                            .not_after = usual ? now + 10 * kYear : order.not_after});
}

}  // namespace

// Decrement the counter durably before checking the PIN, so that killing the process restores no attempt.
Token::PrivateKeys Token::open_keys(const ContainerRow& row, const Pin& pin) {
  store_.take_pin_try(row);
  const SecretBytes key = pin_key(pin.utf8, row.salt);
  PrivateKeys keys{unwrap(key, kSigningPurpose, row.signing_key),
                   unwrap(key, kEncryptionPurpose, row.encryption_key)};
  store_.return_pin_tries(row);
  return keys;
}

std::unique_lock<std::mutex> Token::turn_of(const ContainerName& name) {
  const auto number = static_cast<uint64_t>(container_id(name));
  return std::unique_lock(turns_[number % turns_.size()]);
}

void Token::login(const ContainerName& name, const Pin& pin) {
  const auto turn = turn_of(name);
  const ContainerRow row = container(name);
  const PrivateKeys keys = open_keys(row, pin);
  auto session = std::make_shared<Session>();
  session->signing_key = private_key_from_der(keys.signing);
  session->encryption_key = private_key_from_der(keys.encryption);
  session->signing_certificate = parse_certificate(row.signing_certificate);
  session->encryption_certificate = parse_certificate(row.encryption_certificate);
  sessions_.open(row.id, std::move(session));
}

void Token::change_pin(const ContainerName& name, const Pin& old_pin, const Pin& new_pin) {
  require_good_pin(new_pin);
  const auto turn = turn_of(name);
  ContainerRow row = container(name);
  const PrivateKeys keys = open_keys(row, old_pin);
  const Bytes old_salt = row.salt;
  wrap_keys(row, keys, new_pin);
  // Fails if another call has changed the PIN or deleted the container: the old PIN is no longer valid.
  require(store_.replace_keys(row, old_salt), kWrongPin);
}

int64_t Token::check_pin(const ContainerName& name, const Pin& pin) {
  const auto turn = turn_of(name);
  const ContainerRow row = container(name);
  open_keys(row, pin);
  return row.id;
}

int64_t Token::add_container(const ContainerOrder& order, const Pin& pin) {
  const Authority authority = store_.authority(order.kind);
  const Key signing = generate_key(order.kind, order.rsa_bits);
  const Key encryption = generate_key(order.kind, order.rsa_bits);
  ContainerRow row;
  row.name = order.name;
  row.signing_certificate =
      certificate_der(order_certificate(authority, signing.get(), order, Usage::signing).get());
  row.encryption_certificate =
      certificate_der(order_certificate(authority, encryption.get(), order, Usage::encryption).get());
  return store_container(std::move(row), {private_key_der(signing.get()), private_key_der(encryption.get())},
                         pin);
}

int64_t Token::import_container(const std::string& name, const Credential& credential, const Pin& pin) {
  require(X509_check_private_key(credential.certificate.get(), credential.key.get()) == 1, kKeyMismatch);
  const EVP_PKEY* imported = credential.key.get();
  require(kind_of(imported) == KeyKind::sm2 || bits_of(imported) <= kMaxRsaBits, kBadLength);
  ContainerRow row;
  row.name = name;
  row.signing_certificate = row.encryption_certificate = certificate_der(credential.certificate.get());
  require(row.signing_certificate.size() <= kMaxCertificate, kBadLength);
  const SecretBytes key = private_key_der(credential.key.get());
  return store_container(std::move(row), {key, key}, pin);
}

void Token::wrap_keys(ContainerRow& row, const PrivateKeys& keys, const Pin& pin) {
  row.salt = random_bytes(kSaltSize);
  const SecretBytes key = pin_key(pin.utf8, row.salt);
  row.signing_key = wrap(key, kSigningPurpose, keys.signing);
  row.encryption_key = wrap(key, kEncryptionPurpose, keys.encryption);
}

int64_t Token::store_container(ContainerRow row, const PrivateKeys& keys, const Pin& pin) {
  require_good_name(row.name);
  require_good_pin(pin);
  wrap_keys(row, keys, pin);
  return store_.add_container(row);
}

void Token::delete_container(const ContainerName& name) {
  const int64_t id = container_id(name);
  sessions_.close(id);
  store_.delete_container(id);
}

// Another process may have deleted a container that is logged in here.
void Token::close_idle_sessions(Sessions::Clock::time_point now) {
  sessions_.close_idle(now);
  for (const int64_t id : sessions_.containers()) {
    if (!store_.has_container(id)) sessions_.close(id);
  }
}

void Token::validate(X509* certificate) {
  validate_chain(certificate, store_.roots());
  require(!store_.is_revoked(certificate), kCertificateRevoked);
}

}  // namespace velm::token
