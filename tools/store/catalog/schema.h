// The catalog's tables.
#pragma once

#include <string>
#include <vector>

#include "store/catalog/sql.h"

namespace store {

// The version that this release makes. Version 1 was never in a release: such a catalog has to be made anew.
// Version 2 has other keys of items if Windows has made it (names.h), and is the same elsewhere.
inline constexpr std::int64_t kSchemaVersion = 3;
inline constexpr std::int64_t kVersionOfOtherKeys = 2;
// The table that exists when all of them do.
inline constexpr const char* kCatalogTable = "catalog";

// Numbers that tell whether somebody changed something that a new catalog would not know. How many savesets
// and packs there ever were ($1 and $2 are the names of their counters); how many savesets there are, are
// protected and are marked; how many savesets, and sessions of a backup, were closed as failed; how many
// savesets and packs are deleted of which objects may be left.
inline constexpr const char* kSelectChanges =
    "SELECT CAST(coalesce((SELECT sum(value) FROM counter WHERE name IN ($1, $2)), 0) AS bigint), (SELECT "
    "count(*) FROM saveset WHERE deleting = 0), (SELECT count(*) FROM saveset WHERE protected = 1), (SELECT "
    "count(*) FROM saveset WHERE marked IS NOT NULL), (SELECT count(*) FROM saveset WHERE failed = 1), "
    "(SELECT count(*) FROM session WHERE state = 3 AND mode = 0), (SELECT count(*) FROM deleted), "
    "(SELECT count(*) FROM pack WHERE state = 3 AND state <> 1)";
inline constexpr const char* kCatalogChanged =
    "the catalog was changed meanwhile, by a backup or by its owner: call again when nothing runs";

// What stands for these numbers where there is no catalog.
inline constexpr const char* kNoCatalog = "none";

// The numbers of its row as one text, to be compared with another one.
inline Status ReadChanges(const SqlRow& row, std::string& changes) {
  constexpr int kNumbers = 8;
  for (int column = 0; column < kNumbers; ++column) {
    changes += std::to_string(row.Number(column)) + " ";
  }
  return {};
}

// The statements that make the tables, for an engine with these types.
[[nodiscard]] std::vector<std::string> SchemaStatements(const SqlTypes& types);

// The numbers in the column pack.state.
enum class PackState {
  kAnnounced = 0,  // a run or a copy is about to write it
  kGood = 1,
  kDamaged = 2,
  kDeleted = 3,  // no item needs it: its object is to be deleted
  kUnseen = 4,   // while a catalog is made anew: an item needs it, but it has not come yet
};

}  // namespace store
