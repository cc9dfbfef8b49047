#include "store/sqlite.h"

namespace store {

Status Database::Open(const std::string& path, int busyMilliseconds) {
  sqlite3* connection = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) {
    return Failure();
  }
  sqlite3_busy_timeout(connection_.get(), busyMilliseconds);
  return {};
}

Status Database::Execute(const char* sql) {
  return sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK ? Status() : Failure();
}

Status Database::Failure() const {
  if (connection_ == nullptr) {
    return Status::Failed("the catalog cannot be opened: out of memory");
  }
  const int code = sqlite3_errcode(connection_.get());
  if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
    return Status::Failed("the catalog is in use by another program: try again when that has ended");
  }
  return Status::Failed(std::string("the catalog cannot be used: ") + sqlite3_errmsg(connection_.get()));
}

Statement::Statement(Database& database, const char* sql) : database_(database) {
  sqlite3_stmt* statement = nullptr;
  failed_ = sqlite3_prepare_v2(database.connection_.get(), sql, -1, &statement, nullptr) != SQLITE_OK;
  statement_.reset(statement);
}

Statement& Statement::Number(std::int64_t value) {
  failed_ = failed_ || sqlite3_bind_int64(statement_.get(), ++bound_, value) != SQLITE_OK;
  return *this;
}

Statement& Statement::Blob(std::string_view value) {
  // An empty text has no address of its own, and a null one would be bound as no value at all.
  const char* bytes = value.empty() ? "" : value.data();
  failed_ = failed_ || sqlite3_bind_blob64(statement_.get(), ++bound_, bytes, value.size(),
                                           SQLITE_TRANSIENT) != SQLITE_OK;
  return *this;
}

Statement& Statement::Null() {
  failed_ = failed_ || sqlite3_bind_null(statement_.get(), ++bound_) != SQLITE_OK;
  return *this;
}

bool Statement::Step() {
  taken_ = 0;
  if (failed_) {
    return false;
  }
  const int result = sqlite3_step(statement_.get());
  failed_ = result != SQLITE_ROW && result != SQLITE_DONE;
  return result == SQLITE_ROW;
}

Status Statement::Run() {
  while (Step()) {
  }
  return Result();
}

std::int64_t Statement::TakeNumber() { return sqlite3_column_int64(statement_.get(), taken_++); }

std::string Statement::TakeBlob() {
  const int column = taken_++;
  const void* bytes = sqlite3_column_blob(statement_.get(), column);
  const int size = sqlite3_column_bytes(statement_.get(), column);
  return bytes == nullptr ? std::string()
                          : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
}

bool Statement::IsNull(int column) const {
  return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

void Statement::Reset() {
  sqlite3_reset(statement_.get());
  bound_ = 0;
  taken_ = 0;
}

Transaction::Transaction(Database& database)
    : database_(database), begun_(database.Execute("BEGIN IMMEDIATE")), open_(static_cast<bool>(begun_)) {}

Transaction::~Transaction() {
  if (open_) {
    (void)static_cast<bool>(database_.Execute("ROLLBACK"));
  }
}

Status Transaction::Commit() {
  Status done = database_.Execute("COMMIT");
  open_ = open_ && !done;
  return done;
}

}  // namespace store
