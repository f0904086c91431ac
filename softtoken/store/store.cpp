#include "softtoken/store/store.h"

#include <stdexcept>

#include "softtoken/crypto/certificate.h"

namespace velm::token {
namespace {

constexpr int64_t kFormat = 1;

// The columns "exchange_..." belong to the encryption key pair; "tries_left" is the PIN retry counter.
constexpr const char* kSchema = R"(
CREATE TABLE container(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name TEXT NOT NULL UNIQUE,
  tries_left INTEGER NOT NULL,
  salt BLOB NOT NULL,
  signing_key BLOB NOT NULL,
  exchange_key BLOB NOT NULL,
  signing_certificate BLOB NOT NULL,
  exchange_certificate BLOB NOT NULL);
CREATE TABLE user_file(
  container INTEGER NOT NULL REFERENCES container ON DELETE CASCADE,
  type INTEGER NOT NULL, position INTEGER NOT NULL, data BLOB NOT NULL,
  PRIMARY KEY(container, type, position)) WITHOUT ROWID;
CREATE TABLE device_file(
  container INTEGER NOT NULL REFERENCES container ON DELETE CASCADE,
  name TEXT NOT NULL, read_rights INTEGER NOT NULL, write_rights INTEGER NOT NULL, data BLOB NOT NULL,
  PRIMARY KEY(container, name)) WITHOUT ROWID;
CREATE TABLE label(
  name TEXT NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,
  PRIMARY KEY(name, type)) WITHOUT ROWID;
CREATE TABLE seal(
  container INTEGER NOT NULL REFERENCES container ON DELETE CASCADE,
  position INTEGER NOT NULL, item INTEGER NOT NULL, value BLOB NOT NULL,
  PRIMARY KEY(container, position, item)) WITHOUT ROWID;
CREATE TABLE authority(kind INTEGER PRIMARY KEY, certificate BLOB NOT NULL, key BLOB NOT NULL);
CREATE TABLE revoked(issuer BLOB NOT NULL, serial BLOB NOT NULL, PRIMARY KEY(issuer, serial)) WITHOUT ROWID;
PRAGMA user_version=1;
)";

bool is_empty(Database& database) { return !Statement(database, "SELECT 1 FROM sqlite_schema").step(); }

// Reads the columns of the table `container` in their order.
ContainerRow container_in(const Statement& row) {
  return {row.number(0), row.text(1),  static_cast<uint32_t>(row.number(2)),
          row.bytes(3),  row.bytes(4), row.bytes(5),
          row.bytes(6),  row.bytes(7)};
}

Bytes issuer_of(const X509* certificate) {
  return der_of<const X509_NAME>(i2d_X509_NAME, X509_get_issuer_name(certificate));
}

}  // namespace

bool Store::exists(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) return false;
  Database database(file, false);
  return !is_empty(database);
}

Store::Store(const std::filesystem::path& file) : database_(file, false) {
  Statement version(database_, "PRAGMA user_version");
  version.step();
  if (version.number(0) != kFormat)
    throw std::runtime_error(file.string() + " is not a store of this format version");
}

Store::Store(const std::filesystem::path& file, New) : database_(file, true) {}

void Store::make(const std::function<void()>& add) {
  // Stored in the file; SQLite cannot change it within a transaction.
  database_.execute("PRAGMA journal_mode=WAL");
  Transaction transaction(database_);
  if (!is_empty(database_)) throw std::runtime_error("the store already exists");
  database_.execute(kSchema);
  for (const KeyKind kind : {KeyKind::rsa, KeyKind::sm2}) {
    const Authority authority = make_authority(kind);
    Statement(database_, "INSERT INTO authority VALUES(?, ?, ?)", static_cast<int>(kind),
              certificate_der(authority.certificate.get()), ByteView(private_key_der(authority.key.get())))
        .run();
  }
  add();
  transaction.commit();
}

std::vector<std::string> Store::container_names() {
  std::vector<std::string> names;
  Statement rows(database_, "SELECT name FROM container ORDER BY id");
  while (rows.step()) names.push_back(rows.text(0));
  return names;
}

int64_t Store::container_id(const ContainerName& name) {
  Statement row(database_, "SELECT id FROM container WHERE name IN (?1, ?2) ORDER BY name = ?1 DESC LIMIT 1",
                name.utf8, name.second_reading);
  require(row.step(), kNoSuchContainer);
  return row.number(0);
}

bool Store::has_container(int64_t id) {
  return Statement(database_, "SELECT 1 FROM container WHERE id = ?", id).step();
}

ContainerRow Store::container(const ContainerName& name) {
  Statement row(database_, "SELECT * FROM container WHERE name IN (?1, ?2) ORDER BY name = ?1 DESC LIMIT 1",
                name.utf8, name.second_reading);
  require(row.step(), kNoSuchContainer);
  return container_in(row);
}

std::vector<ContainerRow> Store::containers() {
  std::vector<ContainerRow> containers;
  Statement rows(database_, "SELECT * FROM container ORDER BY id");
  while (rows.step()) containers.push_back(container_in(rows));
  return containers;
}

int64_t Store::add_container(const ContainerRow& row) {
  const std::lock_guard lock(database_.mutex());
  Statement(database_,
            "INSERT INTO container(name, tries_left, salt, signing_key, exchange_key, signing_certificate,"
            " exchange_certificate) VALUES(?, ?, ?, ?, ?, ?, ?) ON CONFLICT(name) DO NOTHING",
            row.name, row.pin_retries, row.salt, row.signing_key, row.encryption_key, row.signing_certificate,
            row.encryption_certificate)
      .run();
  require(database_.changes() == 1, kContainerExists);
  return database_.last_row();
}

void Store::delete_container(int64_t id) {
  Statement(database_, "DELETE FROM container WHERE id = ?", id).run();
  database_.forget_replaced();
}

// The salt is that of the PIN: another process may have changed it.
void Store::take_pin_try(const ContainerRow& row) {
  const std::lock_guard lock(database_.mutex());
  Statement(database_,
            "UPDATE container SET tries_left = tries_left - 1 WHERE id = ? AND salt = ? AND tries_left > 0",
            row.id, row.salt)
      .run();
  if (database_.changes() == 1) return;
  Statement same_pin(database_, "SELECT 1 FROM container WHERE id = ? AND salt = ?", row.id, row.salt);
  throw TokenError(same_pin.step() ? kPinLocked : kWrongPin);
}

void Store::return_pin_tries(const ContainerRow& row) {
  const std::lock_guard lock(database_.mutex());
  Statement(database_, "UPDATE container SET tries_left = ? WHERE id = ? AND salt = ?", protocol::kPinRetries,
            row.id, row.salt)
      .run();
  require(database_.changes() == 1, kWrongPin);
}

void Store::reset_pin_retries(int64_t id) {
  Statement(database_, "UPDATE container SET tries_left = ? WHERE id = ?", protocol::kPinRetries, id).run();
}

bool Store::replace_keys(const ContainerRow& row, const Bytes& old_salt) {
  const std::lock_guard lock(database_.mutex());
  Statement(database_,
            "UPDATE container SET salt = ?, signing_key = ?, exchange_key = ?, tries_left = ?"
            " WHERE id = ? AND salt = ?",
            row.salt, row.signing_key, row.encryption_key, protocol::kPinRetries, row.id, old_salt)
      .run();
  const bool replaced = database_.changes() == 1;
  if (replaced) database_.forget_replaced();
  return replaced;
}

Authority Store::authority(KeyKind kind) {
  Statement row(database_, "SELECT certificate, key FROM authority WHERE kind = ?", static_cast<int>(kind));
  require(row.step(), kKeyNotFound);
  return {parse_certificate(row.bytes(0)), private_key_from_der(row.bytes(1))};
}

std::vector<Certificate> Store::roots() {
  std::vector<Certificate> roots;
  Statement rows(database_, "SELECT certificate FROM authority");
  while (rows.step()) roots.push_back(parse_certificate(rows.bytes(0)));
  return roots;
}

void Store::revoke(const X509* certificate) {
  Statement(database_, "INSERT OR IGNORE INTO revoked VALUES(?, ?)", issuer_of(certificate),
            serial_of(certificate))
      .run();
}

bool Store::is_revoked(const X509* certificate) {
  return Statement(database_, "SELECT 1 FROM revoked WHERE issuer = ? AND serial = ?", issuer_of(certificate),
                   serial_of(certificate))
      .step();
}

}  // namespace velm::token
