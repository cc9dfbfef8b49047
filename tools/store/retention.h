// Which savesets are kept by the rules of their owner. A pure function: it reads and changes nothing but its
// arguments.
//
// The savesets of one session are one backup, and are kept or deleted together. A backup counts for a rule
// that counts if one of its savesets is good, none failed, was withdrawn, still runs or is marked, and its
// session has ended and did not fail. The rules count within each pool: archive logs that come every hour, in
// a pool of their own, take no place from the backups of another pool.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "store/catalog/catalog.h"

namespace store {

struct RetentionRules {
  std::optional<std::uint64_t> last;   // so many of the newest in each pool
  std::optional<std::int64_t> within;  // all that began so many seconds ago or later, whatever became of them
  std::optional<std::uint64_t> daily;  // the newest of a day, for so many days that have a backup
  std::optional<std::uint64_t> weekly;  // ... of a week, which begins on Monday
  std::optional<std::uint64_t> monthly;
  [[nodiscard]] bool Any() const { return last || within || daily || weekly || monthly; }
};

// Why a saveset is kept.
enum class Kept {
  kInUse,
  kProtected,
  kLast,
  kWithin,
  kDaily,
  kWeekly,
  kMonthly,
  kNewest,
  kSession,
  kNotAsked
};

struct Candidate {
  Saveset saveset;
  bool inUse = false;     // a job of it is open, or a mover fills it
  bool notAsked = false;  // it is in the list only for the sake of its session
};

// ---- Backups ---------------------------------------------------------------------------------------------

// Its mover ended well, with or without warnings, and its caller did not close its job as failed.
[[nodiscard]] bool IsGood(const Saveset& saveset);

struct BackupOfSession {
  std::string database;  // database and pool of its savesets
  std::string pool;
  std::int64_t began = 0;             // when its first saveset was begun
  std::int64_t number = 0;            // the id of its first saveset; a later backup has a higher one
  bool good = false;                  // counts for a rule, as told above
  std::vector<std::size_t> savesets;  // their indexes in the list
};
// Newest first: in the order in which they came into the catalog, whatever the clock said then.
[[nodiscard]] std::vector<BackupOfSession> BackupsOf(const std::vector<Saveset>& savesets);

// Whether the newest backup, which began at that time, is older than it may be. A backup of the future is
// overdue, too: the clock was ahead, and nobody knows how old it is.
[[nodiscard]] bool IsOverdue(std::int64_t began, std::int64_t now, std::int64_t maxAge);

// ---- Rules -----------------------------------------------------------------------------------------------

// The calendar as the owner sees it: the local date at that time, as days since 1970-01-01.
using DayOf = std::function<std::int64_t(std::int64_t seconds)>;
[[nodiscard]] std::int64_t LocalDayOf(std::int64_t seconds);

// Whether the saveset has the newest good copy of an item. Asked only for savesets that nothing else keeps;
// if the function is empty, none has.
using HoldsNewest = std::function<Status(const Saveset& saveset, bool& holds)>;

// For each candidate, all reasons to keep it. One without a reason is to be deleted; a marked one never has a
// reason, whatever keeps the others of its session. Fails if `holdsNewest` does. Times are seconds since
// 1970.
Status ApplyRetention(const std::vector<Candidate>& candidates, const RetentionRules& rules, std::int64_t now,
                      const DayOf& dayOf, const HoldsNewest& holdsNewest, std::vector<std::set<Kept>>& kept);

}  // namespace store
