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

/** An SQLite connection. Its functions throw std::runtime_error with the message of SQLite. */
class Database {
 public:
  /**
   * Opens the file, which other users must not be able to read; with `create`, creates it and its folder, for
   * the current user alone, if they are missing.
   */
  Database(const std::filesystem::path& file, bool create);

  void execute(const char* sql);

  /**
   * Removes what was replaced or deleted from the write-ahead log. The pages of the store itself are
   * overwritten at once. Does nothing while another process reads the store for longer than statements wait.
   */
  void forget_replaced();

  /** Rows that the last statement changed. Callers hold mutex() from that statement on. */
  int64_t changes() const;
  /** Key of the row inserted last. Callers hold mutex() as for changes(). */
  int64_t last_row() const;

  /** Returns a compiled statement, cached if possible. `sql` must be a literal: its address is the key. */
  sqlite3_stmt* take_statement(const char* sql);
  /** Resets a statement and puts it into the cache, if there is memory for it. */
  void give_back(const char* sql, sqlite3_stmt* statement) noexcept;

  sqlite3* handle() const { return handle_.get(); }
  /** Locked while a statement runs: all threads share the connection. */
  std::recursive_mutex& mutex() { return mutex_; }

 private:
  struct Closer {
    void operator()(sqlite3* handle) const;
  };

  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };

  std::unique_ptr<sqlite3, Closer> handle_;
  std::unordered_multimap<const char*, std::unique_ptr<sqlite3_stmt, Finalizer>> free_statements_;
  std::recursive_mutex mutex_;
};

/** A statement with bound values; `sql` must be a literal. Locks the database for its lifetime. */
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

  /** Steps to the next row; returns false if there is none. */
  bool step();
  /** Runs a statement whose rows are not needed. */
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

/** A write transaction, rolled back unless commit() is called. Locks the database for its lifetime. */
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
