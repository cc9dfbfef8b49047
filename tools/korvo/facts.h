// The numbers that `metrics` and `report` tell about a repository and the databases in it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "store/store.h"

namespace korvo {

// The states of a saveset, as all outputs name them.
inline constexpr std::array<const char*, 6> kStates = {"good",      "warnings", "failed",
                                                       "withdrawn", "running",  "unused"};

// A saveset and its packs.
struct Backup {
  store::Saveset saveset;
  std::uint64_t added = 0;         // bytes of the good packs that it stored
  std::uint64_t damagedPacks = 0;  // that it stored, or that it needs of deleted savesets (Catalog::PackSum)
};

// Seconds from the beginning of its job to the end of its mover, if that is known.
[[nodiscard]] std::optional<std::int64_t> DurationOf(const store::Saveset& saveset);

// A database, or one of its pools if it has several: archive logs in a pool of their own are no backup of the
// data files.
struct DatabaseFacts {
  std::string name;
  std::string pool;
  std::string title;                   // the name, with the pool if there are several
  std::vector<const Backup*> backups;  // newest first
  const Backup* newestGood = nullptr;  // first saveset of the newest session that went well as a whole
  const Backup* last = nullptr;        // the newest that has ended
  std::map<std::string, std::uint64_t> states;  // how many savesets are in each state
  std::uint64_t bytes = 0;                      // of the files of all its backups
  std::uint64_t added = 0;
};

struct Facts {
  std::int64_t now = 0;                  // by the catalog's clock, seconds since 1970
  std::vector<Backup> backups;           // newest first
  std::vector<DatabaseFacts> databases;  // by name
  std::uint64_t packs = 0;
  std::uint64_t packBytes = 0;
  std::uint64_t otherBytes = 0;  // of all packs that are in no backup's `added`
  std::uint64_t damagedPacks = 0;
  std::uint64_t uncheckedPacks = 0;
  std::optional<std::int64_t> oldestCheck;  // the earliest of all packs that were checked

  // The age of its newest good backup in seconds; none without one.
  [[nodiscard]] std::optional<std::int64_t> AgeOf(const DatabaseFacts& database) const;
  // Whether the database has a good backup that is at most so many seconds old, and not from the future. True
  // for savesets whose database is not known.
  [[nodiscard]] bool IsInTime(const DatabaseFacts& database, std::int64_t maxAge) const;
  // Whether each has one.
  [[nodiscard]] bool AllYoungerThan(std::int64_t age) const;
};

// Fills `databases`, by name and pool, from `backups`. They must then stay where they are: `databases` points
// to them.
void SortByDatabase(Facts& facts);
store::Status GatherFacts(store::Store& store, Facts& facts);

}  // namespace korvo
