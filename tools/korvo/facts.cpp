#include "korvo/facts.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

#include "korvo/text.h"
#include "store/retention.h"

namespace korvo {
namespace {

using store::Catalog;
using store::Mover;
using store::Saveset;
using store::Status;

void TakePacks(const std::vector<Catalog::PackSum>& sums, Facts& facts) {
  std::unordered_map<std::int64_t, Backup*> backups;
  for (Backup& backup : facts.backups) {
    backups.emplace(backup.saveset.id, &backup);
  }
  for (const Catalog::PackSum& sum : sums) {
    facts.packs += sum.packs;
    facts.packBytes += sum.bytes;
    facts.damagedPacks += sum.damaged;
    facts.uncheckedPacks += sum.unchecked;
    if (sum.oldestCheck) {
      facts.oldestCheck = std::min(facts.oldestCheck.value_or(*sum.oldestCheck), *sum.oldestCheck);
    }
    const auto backup = backups.find(sum.saveset);
    if (backup == backups.end()) {
      facts.otherBytes += sum.bytes;
    } else {
      backup->second->added = sum.added;
      backup->second->damagedPacks = sum.damaged;
      facts.otherBytes += sum.bytes - sum.added;
    }
  }
}

// The first saveset of the newest session that went well as a whole.
const Backup* NewestGood(const std::vector<const Backup*>& backups) {
  std::vector<Saveset> savesets;
  savesets.reserve(backups.size());
  for (const Backup* backup : backups) {
    savesets.push_back(backup->saveset);
  }
  for (const store::BackupOfSession& session : store::BackupsOf(savesets)) {
    if (session.good) {
      return backups[*std::min_element(
          session.savesets.begin(), session.savesets.end(),
          [&](std::size_t a, std::size_t b) { return savesets[a].created < savesets[b].created; })];
    }
  }
  return nullptr;
}

}  // namespace

std::optional<std::int64_t> DurationOf(const Saveset& saveset) {
  if (!saveset.ended) {
    return std::nullopt;
  }
  return std::max<std::int64_t>(*saveset.ended - saveset.created, 0);
}

std::optional<std::int64_t> Facts::AgeOf(const DatabaseFacts& database) const {
  if (database.newestGood == nullptr) {
    return std::nullopt;
  }
  return std::max<std::int64_t>(now - database.newestGood->saveset.created, 0);
}

// Savesets without a database were recovered without their `begin` object: nobody can back them up again.
bool Facts::IsInTime(const DatabaseFacts& database, std::int64_t maxAge) const {
  return database.name.empty() || (database.newestGood != nullptr &&
                                   !store::IsOverdue(database.newestGood->saveset.created, now, maxAge));
}

bool Facts::AllYoungerThan(std::int64_t age) const {
  return std::all_of(databases.begin(), databases.end(),
                     [&](const DatabaseFacts& database) { return IsInTime(database, age); });
}

void SortByDatabase(Facts& facts) {
  std::map<std::pair<std::string, std::string>, DatabaseFacts> databases;
  std::map<std::string, std::set<std::string>> pools;
  for (const Backup& backup : facts.backups) {
    DatabaseFacts& database = databases[{backup.saveset.database, backup.saveset.pool}];
    database.name = backup.saveset.database;
    database.pool = backup.saveset.pool;
    pools[database.name].insert(database.pool);
    database.backups.push_back(&backup);
    ++database.states[StateName(backup.saveset)];
    database.bytes += static_cast<std::uint64_t>(backup.saveset.bytes);
    database.added += backup.added;
    const bool ended =
        backup.saveset.mover == Mover::kEndedClean || backup.saveset.mover == Mover::kEndedFailed;
    database.last = database.last == nullptr && ended ? &backup : database.last;
  }
  for (auto& [whose, database] : databases) {
    database.title = database.name + (pools[database.name].size() > 1 ? ", pool " + database.pool : "");
    database.newestGood = NewestGood(database.backups);
    facts.databases.push_back(std::move(database));
  }
}

Status GatherFacts(store::Store& store, Facts& facts) {
  if (Status told = store.Rows().Now(facts.now); !told) {
    return told;
  }
  std::vector<Catalog::PackSum> sums;
  if (Status summed = store.Rows().SumPacks(sums); !summed) {
    return summed;
  }
  Status listed = store.Rows().ListAllSavesets([&facts](const Saveset& saveset) {
    facts.backups.push_back({saveset});
    return Status();
  });
  if (listed) {
    TakePacks(sums, facts);
    SortByDatabase(facts);
  }
  return listed;
}

}  // namespace korvo
