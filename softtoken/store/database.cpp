#include "softtoken/store/database.h"

#include <sqlite3.h>

#include <stdexcept>

#include "permissions/private_file.h"

namespace velm::token {
namespace {

constexpr int kBusyMilliseconds = 10000;

[[noreturn]] void fail(sqlite3* handle) {
  throw std::runtime_error(std::string("store: ") + sqlite3_errmsg(handle));
}

}  // namespace

void Database::Finalizer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

void Database::Closer::operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }

Database::Database(const std::filesystem::path& file, bool create) {
  // SQLite would create the file for everyone, and gives the files beside it the permissions of the file.
  if (create) permissions::create_private_file(file);
  permissions::require_private_file(file);
  const std::u8string name = file.u8string();
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(reinterpret_cast<const char*>(name.c_str()), &handle,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_FULLMUTEX, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) {
    throw std::runtime_error("cannot open the store " + file.string() + ": " + sqlite3_errstr(result));
  }
  sqlite3_busy_timeout(handle, kBusyMilliseconds);
  execute("PRAGMA synchronous=FULL");
  execute("PRAGMA foreign_keys=ON");
  execute("PRAGMA secure_delete=ON");
}

void Database::execute(const char* sql) {
  const std::lock_guard lock(mutex_);
  if (sqlite3_exec(handle(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail(handle());
}

void Database::forget_replaced() {
  const std::lock_guard lock(mutex_);
  sqlite3_wal_checkpoint_v2(handle(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
}

int64_t Database::changes() const { return sqlite3_changes64(handle()); }

int64_t Database::last_row() const { return sqlite3_last_insert_rowid(handle()); }

sqlite3_stmt* Database::take_statement(const char* sql) {
  if (const auto found = free_statements_.find(sql); found != free_statements_.end()) {
    sqlite3_stmt* statement = found->second.release();
    free_statements_.erase(found);
    return statement;
  }
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(handle(), sql, -1, &statement, nullptr) != SQLITE_OK) fail(handle());
  return statement;
}

void Database::give_back(const char* sql, sqlite3_stmt* statement) noexcept {
  std::unique_ptr<sqlite3_stmt, Finalizer> owned(statement);
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  try {
    free_statements_.emplace(sql, std::move(owned));
  } catch (const std::bad_alloc&) {
    // It is compiled again when it is needed.
  }
}

Statement::Statement(Database& database, const char* sql, Prepared)
    : lock_(database.mutex()), database_(database), sql_(sql), statement_(database.take_statement(sql)) {}

Statement::~Statement() { database_.give_back(sql_, statement_); }

bool Statement::step() {
  const int result = sqlite3_step(statement_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) fail(database_.handle());
  return result == SQLITE_ROW;
}

void Statement::run() {
  while (step()) {
  }
}

int64_t Statement::number(int column) const { return sqlite3_column_int64(statement_, column); }

std::string Statement::text(int column) const { return as_text(bytes(column)); }

Bytes Statement::bytes(int column) const {
  const auto* data = static_cast<const uint8_t*>(sqlite3_column_blob(statement_, column));
  return {data, data + sqlite3_column_bytes(statement_, column)};
}

void Statement::bind(int position, int64_t value) {
  if (sqlite3_bind_int64(statement_, position, value) != SQLITE_OK) fail(database_.handle());
}

void Statement::bind(int position, const std::string& value) {
  const int result =
      sqlite3_bind_text64(statement_, position, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  if (result != SQLITE_OK) fail(database_.handle());
}

void Statement::bind(int position, ByteView value) {
  // SQLite binds NULL instead of an empty blob if the pointer is null.
  const void* data = value.empty() ? static_cast<const void*>("") : value.data();
  if (sqlite3_bind_blob64(statement_, position, data, value.size(), SQLITE_TRANSIENT) != SQLITE_OK)
    fail(database_.handle());
}

// BEGIN IMMEDIATE takes the write lock first: no other process can write between a read and the update.
Transaction::Transaction(Database& database) : lock_(database.mutex()), database_(database) {
  database_.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (open_) sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  database_.execute("COMMIT");
  open_ = false;
}

}  // namespace velm::token
