// A thin hold on the catalog's engine: a connection and its prepared statements, closed on every road.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "store/status.h"

namespace store {

class Database {
 public:
  // Opens the file, which must exist. Waits for other processes so many milliseconds.
  Status Open(const std::string& path, int busyMilliseconds);

  // Runs statements that give no rows and take no values.
  Status Execute(const char* sql);
  [[nodiscard]] std::int64_t LastRow() const { return sqlite3_last_insert_rowid(connection_.get()); }
  [[nodiscard]] int ChangedRows() const { return sqlite3_changes(connection_.get()); }
  // What went wrong last, in words.
  [[nodiscard]] Status Failure() const;

 private:
  friend class Statement;
  struct Closer {
    void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
  };
  std::unique_ptr<sqlite3, Closer> connection_;
};

// One run of a statement: bind from left to right, step, read the row's columns from left to right.
class Statement {
 public:
  Statement(Database& database, const char* sql);

  Statement& Number(std::int64_t value);
  Statement& Blob(std::string_view value);
  Statement& Null();

  // One more row; false at the end and on failure, `Result` tells which.
  [[nodiscard]] bool Step();
  Status Result() const { return failed_ ? database_.Failure() : Status(); }
  // For a statement without rows.
  Status Run();

  [[nodiscard]] std::int64_t TakeNumber();
  [[nodiscard]] std::string TakeBlob();
  [[nodiscard]] bool IsNull(int column) const;
  // Makes the statement ready for another run.
  void Reset();

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  Database& database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  int bound_ = 0;
  int taken_ = 0;
  bool failed_ = false;
};

// Everything between construction and `Commit` happens or does not.
class Transaction {
 public:
  explicit Transaction(Database& database);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();
  Status Begun() const { return begun_; }
  Status Commit();

 private:
  Database& database_;
  Status begun_;
  bool open_ = false;
};

}  // namespace store
