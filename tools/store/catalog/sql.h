// The interface to the catalog's engine. Each statement has the same text for every engine. Parameters are
// `$1`, `$2`, ... in the order of their first place in the text; numbers are 64-bit, all else is bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/status.h"

namespace store {

// A value that goes into a statement. Its bytes belong to the caller, and must outlive the call.
class SqlValue {
 public:
  SqlValue(std::nullptr_t) : kind_(Kind::kNull) {}                           // NOLINT: converts on purpose
  SqlValue(std::int64_t number) : kind_(Kind::kNumber), number_(number) {}   // NOLINT
  SqlValue(int number) : SqlValue(static_cast<std::int64_t>(number)) {}      // NOLINT
  SqlValue(bool truth) : SqlValue(truth ? 1 : 0) {}                          // NOLINT
  SqlValue(std::string_view bytes) : kind_(Kind::kBytes), bytes_(bytes) {}   // NOLINT
  SqlValue(const std::string& bytes) : SqlValue(std::string_view(bytes)) {}  // NOLINT

  SqlValue(const char* text) : SqlValue(std::string_view(text)) {}  // NOLINT

  enum class Kind { kNull, kNumber, kBytes };
  [[nodiscard]] Kind What() const { return kind_; }
  [[nodiscard]] std::int64_t Number() const { return number_; }
  [[nodiscard]] std::string_view Bytes() const { return bytes_; }

 private:
  Kind kind_;
  std::int64_t number_ = 0;
  std::string_view bytes_;
};

// A row of a result, with columns from 0. A null reads as 0 and as no bytes. Valid until the next row.
class SqlRow {
 public:
  virtual ~SqlRow() = default;
  [[nodiscard]] virtual bool IsNull(int column) const = 0;
  [[nodiscard]] virtual std::int64_t Number(int column) const = 0;
  [[nodiscard]] virtual std::string_view Bytes(int column) const = 0;
};

// What differs between engines in the statement that makes a table.
struct SqlTypes {
  std::string number;  // 64 bits
  std::string bytes;
  std::string byKey;                  // behind a table that is kept in the order of its primary key
  std::size_t longestKey = SIZE_MAX;  // most bytes of a value in an index
};

class SqlEngine {
 public:
  SqlEngine() = default;
  SqlEngine(const SqlEngine&) = delete;
  SqlEngine& operator=(const SqlEngine&) = delete;
  virtual ~SqlEngine() = default;

  // Runs one statement, and calls `row` (unless it is empty) for each row. A failure that `row` returns ends
  // the statement; `row` may not run another one. The statement is prepared and kept by its text, which
  // should therefore be the same each time. Within a transaction, an INSERT or DELETE without `row` may be
  // sent ahead: if it fails, a later statement tells so, at the latest the commit.
  using Row = std::function<Status(const SqlRow&)>;
  virtual Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) = 0;
  Status Run(const std::string& text, const std::vector<SqlValue>& values) { return Run(text, values, {}); }
  // The number of rows that the last statement, an UPDATE, changed.
  [[nodiscard]] virtual std::int64_t Changed() const = 0;

  // Begins a transaction that writes. From here on nobody else writes, or the engine aborts one of the two,
  // which is kConflict. If a commit gives kConflict, nothing happened: repeat from `Begin`.
  virtual Status Begin() = 0;
  virtual Status Commit() = 0;
  virtual void Rollback() = 0;

  [[nodiscard]] virtual SqlTypes Types() const = 0;
  // Whether the table of this name has been made.
  virtual Status HasTable(std::string_view name, bool& has) = 0;

  // The engine's own check of everything that it keeps. `wrong` gets a sentence for each thing that is not as
  // it must be. kDamaged if the check cannot go on.
  virtual Status CheckWhole(const std::function<void(const std::string&)>& wrong) = 0;

  // Seconds since 1970 by the catalog's clock, which is the only one that counts.
  virtual Status Now(std::int64_t& seconds) = 0;
  // Whether this connection may write at all. False on a write-protected or full disk, where the catalog can
  // only be read.
  [[nodiscard]] virtual bool CanWrite() const = 0;
  // Whether processes of several hosts write to it. None of them can look at another host's processes: a run
  // is alive as long as the catalog hears of it.
  [[nodiscard]] virtual bool IsShared() const = 0;
};

// Whether to make a catalog where there is none.
enum class MakeCatalog { kNever, kIfMissing };

}  // namespace store
