// What `metrics` and `report` tell, in numbers: a repository and the databases in it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "store/store.h"

namespace korvo {

// The states of a saveset, by their names in all outputs.
inline constexpr std::array<const char*, 6> kStates = {"good",      "warnings", "failed",
                                                       "withdrawn", "running",  "unused"};

// A saveset and what its saving added to the repository.
struct Backup {
  store::Saveset saveset;
  std::uint64_t added = 0;
  std::uint64_t damagedPacks = 0;  // of those that it stored
};

// From its job's beginning to its mover's end, if that is known.
[[nodiscard]] std::optional<std::int64_t> DurationOf(const store::Saveset& saveset);

// A database, or one of its pools if it has several: archive logs in a pool of their own are no backup of the
// data files.
struct DatabaseFacts {
  std::string name;
  std::string pool;
  std::string title;                   // the name, with the pool if there are several
  std::vector<const Backup*> backups;  // newest first
  const Backup* newestGood = nullptr;  // the first saveset of a session of which all went well
  const Backup* last = nullptr;        // that has ended
  std::map<std::string, std::uint64_t> states;
  std::uint64_t bytes = 0;  // of the files of all its backups
  std::uint64_t added = 0;
};

struct Facts {
  std::int64_t now = 0;                  // by the catalog's clock
  std::vector<Backup> backups;           // newest first
  std::vector<DatabaseFacts> databases;  // by name
  std::uint64_t packs = 0;
  std::uint64_t packBytes = 0;
  std::uint64_t otherBytes = 0;  // of packs whose own savesets are deleted
  std::uint64_t damagedPacks = 0;
  std::uint64_t uncheckedPacks = 0;
  std::optional<std::int64_t> oldestCheck;  // of the packs that were checked

  // The age of a database's newest good backup; none without one.
  [[nodiscard]] std::optional<std::int64_t> AgeOf(const DatabaseFacts& database) const;
  // Whether each database has a good backup that is not older.
  [[nodiscard]] bool AllYoungerThan(std::int64_t age) const;
};

// Fills `databases` (by name and pool) from `backups`, which stay where they are from then on.
void SortByDatabase(Facts& facts);
store::Status GatherFacts(store::Store& store, Facts& facts);

}  // namespace korvo
