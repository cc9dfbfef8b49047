// Which savesets stay by the rules of their owner. A plain function of what there is: nothing is read or
// changed here.
//
// The savesets of one session are one backup, and stay or go together. A backup counts for a rule that counts
// if one of its savesets is good, none failed, was withdrawn, still runs or is marked, and its session did
// not fail. Rules count within each pool: archive logs that come every hour, in a pool of their own, take no
// place of another pool's backups.
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
  std::optional<std::uint64_t> last;    // so many of the newest of each pool
  std::optional<std::int64_t> within;   // all that began so many seconds ago or later, whatever came of them
  std::optional<std::uint64_t> daily;   // the newest of each of so many days that have one
  std::optional<std::uint64_t> weekly;  // ... weeks, which begin on Monday
  std::optional<std::uint64_t> monthly;
  [[nodiscard]] bool Any() const { return last || within || daily || weekly || monthly; }
};

// Why a saveset stays.
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
  bool notAsked = false;  // it is here for its session alone
};

// ---- Backups
// -----------------------------------------------------------------------------------------------

// Well saved, with or without warnings, and its caller agreed.
[[nodiscard]] bool IsGood(const Saveset& saveset);

struct BackupOfSession {
  std::string database;  // and pool: those of its savesets
  std::string pool;
  std::int64_t began = 0;             // when its first saveset was begun
  bool good = false;                  // counts, as above
  std::vector<std::size_t> savesets;  // their places in the list
};
// Newest first.
[[nodiscard]] std::vector<BackupOfSession> BackupsOf(const std::vector<Saveset>& savesets);

// ---- Rules
// -------------------------------------------------------------------------------------------------

// The calendar as the owner sees it: the days since 1970-01-01 of the local date at that time.
using DayOf = std::function<std::int64_t(std::int64_t seconds)>;
[[nodiscard]] std::int64_t LocalDayOf(std::int64_t seconds);

// Whether the saveset has the newest good copy of an item. Asked only about savesets that nothing else keeps;
// empty: never.
using HoldsNewest = std::function<Status(const Saveset& saveset, bool& holds)>;

// For each candidate all that keeps it: what nothing keeps goes, and a marked one goes whatever keeps the
// others of its session. Fails as `holdsNewest` does.
Status ApplyRetention(const std::vector<Candidate>& candidates, const RetentionRules& rules, std::int64_t now,
                      const DayOf& dayOf, const HoldsNewest& holdsNewest, std::vector<std::set<Kept>>& kept);

}  // namespace store
