#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "softtoken/crypto/bytes.h"

struct sqlite3;
struct sqlite3_stmt;

namespace velm::token {

/** One SQLite file. Its calls throw std::runtime_error with SQLite's words when they fail. */
class Database {
 public:
  /** Opens the file, or makes it and its folder, for its user alone, when that is asked for. */
  Database(const std::filesystem::path& file, bool create);

  void execute(const char* sql);

  /** The rows changed by the last statement, and the key of the last row inserted. */
  int64_t changes() const;
  int64_t last_row() const;

  /** A compiled statement for this text, an earlier one if there is one free; and its way back. */
  sqlite3_stmt* take_statement(const char* sql);
  void give_back(const char* sql, sqlite3_stmt* statement);

  sqlite3* handle() const { return handle_.get(); }
  /** Held by whoever runs statements: one connection serves all threads. */
  std::recursive_mutex& mutex() { return mutex_; }

 private:
  struct Closer {
    void operator()(sqlite3* handle) const;
  };

  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };

  std::unique_ptr<sqlite3, Closer> handle_;
  /** By the text's address: texts of statements are literals. */
  std::unordered_multimap<const char*, std::unique_ptr<sqlite3_stmt, Finalizer>> free_statements_;
  std::recursive_mutex mutex_;
};

/** One statement, whose text is a literal, with its values; the database stays locked while it lives. */
class Statement {
 public:
  template <typename... Values>
  Statement(Database& database, const char* sql, const Values&... values)
      : Statement(database, sql, Prepared{}) {
    int position = 0;
    (bind(++position, values), ...);
  }
  Statement(const Statement&) = delete;
  ~Statement();

  /** The next row, if there is one. */
  bool step();
  /** Runs a statement that gives no rows. */
  void run();

  int64_t number(int column) const;
  std::string text(int column) const;
  Bytes bytes(int column) const;

 private:
  struct Prepared {};
  Statement(Database& database, const char* sql, Prepared);

  void bind(int position, int64_t value);
  void bind(int position, uint32_t value) { bind(position, int64_t{value}); }
  void bind(int position, int value) { bind(position, int64_t{value}); }
  void bind(int position, const std::string& value);
  void bind(int position, ByteView value);
  void bind(int position, const Bytes& value) { bind(position, ByteView(value)); }

  std::unique_lock<std::recursive_mutex> lock_;
  Database& database_;
  const char* sql_;
  sqlite3_stmt* statement_;
};

/** Everything written while it lives becomes durable at commit(), or none of it. */
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  ~Transaction();
  void commit();

 private:
  std::unique_lock<std::recursive_mutex> lock_;
  Database& database_;
  bool open_ = true;
};

}  // namespace velm::token
