// What the catalog's own files share.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/catalog/catalog.h"
#include "store/catalog/schema.h"
#include "store/catalog/sql.h"

namespace store {

// Why a run goes no further: another program took back what it had announced.
inline constexpr const char* kTakenForDead =
    "the run was taken for dead and ended by another program: start the backup again";

struct Catalog::Inside {
  std::unique_ptr<SqlEngine> engine;
  Uid repository;
  // Rows since the last commit of an import.
  std::size_t imported = 0;
  bool importing = false;

  // The run whose progress is told in passing.
  struct Teller {
    Uid run;
    std::int64_t began = 0;
    const Progress* progress = nullptr;
    double told = 0;  // seconds since it began
  };
  std::optional<Teller> teller;
  // Within a transaction: writes the progress of that run, if it is time.
  Status TellInPassing();

  // Runs one transaction, and repeats it when the engine aborts it. Nothing of it is kept if `keep` becomes
  // false.
  using Body = std::function<Status(bool& keep)>;
  Status Transact(const Body& body);
  Status Transact(const std::function<Status()>& body);

  Status Run(const std::string& text, const std::vector<SqlValue>& values) {
    return engine->Run(text, values);
  }
  // The first column of the first row, if there is one.
  Status FindNumber(const std::string& text, const std::vector<SqlValue>& values,
                    std::optional<std::int64_t>& number);
  Status Exists(const std::string& text, const std::vector<SqlValue>& values, bool& exists);
  // The first columns of all rows.
  Status ListNumbers(const std::string& text, const std::vector<SqlValue>& values,
                     std::vector<std::int64_t>& numbers);
  Status ListUids(const std::string& text, const std::vector<SqlValue>& values, std::vector<Uid>& uids);
  // The next number of a counter, from 1; within a transaction.
  Status Count(std::string_view counter, std::int64_t& number);
  // The family of a database and pool, made if need be; within a transaction.
  Status FamilyOf(std::string_view database, std::string_view pool, std::int64_t& family);

  // Takes items out, of one directory or of the whole saveset, in short transactions. Packs that no item
  // needs then are named as deleted, and come in `packs`.
  Status TakeItemsOut(std::int64_t saveset, std::optional<std::int64_t> directory, std::vector<Uid>& packs);
  // Names as deleted those of the saveset's own packs that no item needs; within a transaction.
  Status NameUnneededPacks(std::int64_t saveset);

  // Adds a saveset without items; within a transaction. If its backup failed, adds a session that failed,
  // too.
  Status AddSaveset(const Saveset& saveset, std::int64_t id, std::int64_t family);
  Status AddFailedSession(const Saveset& saveset, std::int64_t id);
  // Adds an item's rows; within a transaction. `packs` are those that the item needs, in any order.
  Status AddItem(std::int64_t saveset, std::int64_t family, const Item& item, std::string_view record,
                 std::int64_t recordPack, std::vector<std::int64_t> packs);
  // Counts anew what the saveset's row says of its items; within a transaction.
  Status CountItems(const Uid& saveset);
};

// Packs in one of the states other than good (1). Each condition also says that they are not good: the index
// `pack_to_do` has only such packs, and an engine uses it only where it sees that.
inline constexpr const char* kIsDamaged = "state = 2 AND state <> 1";
inline constexpr const char* kIsDeleted = "state = 3 AND state <> 1";

// Ends the question of an EXISTS that is to be asked for each row by itself, by an index. Otherwise
// PostgreSQL may make a join of it that reads all items: its estimates for parameters which it does not know
// yet make that look cheap.
inline const std::string kForEachRow = " LIMIT 1 OFFSET 0)";

// The condition that no item needs the pack.
inline const std::string kIsUnneeded =
    "NOT EXISTS(SELECT 1 FROM item WHERE item.pack = pack.id" + kForEachRow +
    " AND NOT EXISTS(SELECT 1 FROM needs WHERE needs.pack = pack.id" + kForEachRow;

inline SqlValue Unsigned(std::uint64_t number) { return static_cast<std::int64_t>(number); }

// ---- Rows of items ---------------------------------------------------------------------------------------

// The columns of `item i` that `ReadItem` reads.
inline const std::string kItemColumns =
    "i.number, i.key, i.listed, i.kind, i.directory, i.size, i.stored, i.record";
inline constexpr int kItemColumnCount = 8;
// The condition that an item is not part of a directory which is still being saved.
inline const std::string kItemVisible =
    "NOT EXISTS(SELECT 1 FROM unfinished u WHERE u.saveset = i.saveset AND u.directory = i.directory)";

// The key of the name by which replies show an item, if that is another name; nothing for most items.
[[nodiscard]] std::optional<std::string> ListedKey(std::string_view name);
// Reads an item from the row's columns, which begin with `first`. kDamaged unless record and columns say the
// same.
Status ReadItem(const SqlRow& row, int first, const Uid& repository, const Uid& saveset, Item& item);
// The sentence for rows that contradict each other.
Status DamagedRow(const std::string& what);

}  // namespace store
