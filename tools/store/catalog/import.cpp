// Making the catalog anew from packs and saveset objects. Many parts are committed together: only the whole
// is worth anything.
#include <map>
#include <set>
#include <utility>

#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

constexpr std::size_t kRowsOfCommit = 50'000;
// A greater number cannot come from counting.
constexpr std::int64_t kMostSavesets = std::int64_t{1} << 40;

Status Begin(Catalog::Inside& inside) {
  if (inside.importing) {
    return {};
  }
  Status begun = inside.engine->Begin();
  inside.importing = static_cast<bool>(begun);
  return begun;
}

Status Commit(Catalog::Inside& inside) {
  if (!inside.importing) {
    return {};
  }
  inside.importing = false;
  inside.imported = 0;
  Status committed = inside.engine->Commit();
  if (!committed) {
    inside.engine->Rollback();
  }
  return committed;
}

Status CommitIfMany(Catalog::Inside& inside, std::size_t rows) {
  inside.imported += rows;
  return inside.imported >= kRowsOfCommit ? Commit(inside) : Status();
}

struct SavesetRow {
  std::int64_t id = 0;
  std::int64_t family = 0;
};

Status FindSavesetRow(Catalog::Inside& inside, const Uid& uid, std::optional<SavesetRow>& found) {
  found.reset();
  return inside.engine->Run("SELECT id, family FROM saveset WHERE uid = $1", {uid.Bytes()},
                            [&](const SqlRow& row) {
                              found = SavesetRow{row.Number(0), row.Number(1)};
                              return Status();
                            });
}

// The row of a pack that came, or that an item needs; made if need be.
Status PackIdOf(Catalog::Inside& inside, const Uid& uid, std::int64_t& id) {
  std::optional<std::int64_t> found;
  if (Status looked = inside.FindNumber("SELECT id FROM pack WHERE uid = $1", {uid.Bytes()}, found);
      !looked || found) {
    id = found.value_or(0);
    return looked;
  }
  if (Status counted = inside.Count("pack", id); !counted) {
    return counted;
  }
  return inside.Run("INSERT INTO pack(id, uid, saveset, state, size) VALUES($1, $2, 0, $3, 0)",
                    {id, uid.Bytes(), static_cast<int>(PackState::kUnseen)});
}

Status ImportItem(Catalog::Inside& inside, const SavesetRow& row, const Item& item, std::string_view record,
                  std::int64_t pack) {
  std::vector<std::int64_t> packs;
  for (const Uid& uid : item.packs) {
    if (Status known = PackIdOf(inside, uid, packs.emplace_back()); !known) {
      return known;
    }
  }
  return inside.AddItem(row.id, row.family, item, record, pack, std::move(packs));
}

// An item has only one record.
Status CheckNumber(Catalog::Inside& inside, const SavesetRow& row, const Item& item,
                   std::set<std::uint64_t>& numbers) {
  bool taken = false;
  if (Status looked = inside.Exists("SELECT number FROM item WHERE saveset = $1 AND number = $2",
                                    {row.id, Unsigned(item.number)}, taken);
      !looked) {
    return looked;
  }
  return !taken && numbers.insert(item.number).second
             ? Status()
             : Status::Damaged("item " + std::to_string(item.number) + " of its saveset has two records");
}

// An item that cannot stay, and why.
struct Lost {
  std::int64_t number = 0;
  std::string name;
  std::string why;
};

struct ImportedSaveset {
  std::int64_t id = 0;
  Uid uid;
  std::string name;
};

Status ListImported(Catalog::Inside& inside, std::vector<ImportedSaveset>& savesets) {
  return inside.engine->Run(
      "SELECT id, uid, name FROM saveset ORDER BY id", {}, [&savesets](const SqlRow& row) {
        ImportedSaveset& saveset = savesets.emplace_back();
        saveset.id = row.Number(0);
        saveset.name = row.Bytes(2);
        return Uid::FromBytes(row.Bytes(1), saveset.uid) ? Status() : DamagedRow("the id of a saveset");
      });
}

Status FindLost(Catalog::Inside& inside, const ImportedSaveset& saveset, const std::string& text,
                const std::string& why, std::vector<Lost>& lost) {
  return inside.engine->Run("SELECT " + kItemColumns + " FROM item i WHERE i.saveset = $1 AND " + text,
                            {saveset.id}, [&](const SqlRow& row) {
                              Item item;
                              Status read = ReadItem(row, 0, inside.repository, saveset.uid, item);
                              lost.push_back({row.Number(0), item.name, why});
                              return read;
                            });
}

// Directories with another number of items than their record says.
Status FindTornDirectories(Catalog::Inside& inside, const ImportedSaveset& saveset, std::vector<Lost>& lost) {
  std::map<std::int64_t, std::int64_t> entries;
  if (Status counted = inside.engine->Run(
          "SELECT directory, count(*) FROM item WHERE saveset = $1 AND directory <> 0 GROUP BY directory",
          {saveset.id},
          [&entries](const SqlRow& row) {
            entries[row.Number(0)] = row.Number(1);
            return Status();
          });
      !counted) {
    return counted;
  }
  return inside.engine->Run(
      "SELECT " + kItemColumns + " FROM item i WHERE i.saveset = $1 AND i.kind = 1 AND i.directory = 0",
      {saveset.id}, [&](const SqlRow& row) {
        Item item;
        if (Status read = ReadItem(row, 0, inside.repository, saveset.uid, item); !read) {
          return read;
        }
        if (Unsigned(item.entries).Number() != entries[row.Number(0)]) {
          lost.push_back({row.Number(0), item.name, "not all of the directory is there"});
        }
        return Status();
      });
}

Status DropLost(Catalog::Inside& inside, const ImportedSaveset& saveset, const std::vector<Lost>& lost,
                const std::function<void(const std::string&)>& tell) {
  for (const Lost& item : lost) {
    for (const char* statement : {"DELETE FROM needs WHERE saveset = $1 AND number = $2",
                                  "DELETE FROM item WHERE saveset = $1 AND number = $2"}) {
      if (Status done = inside.Run(statement, {saveset.id, item.number}); !done) {
        return done;
      }
    }
    tell("the item " + item.name + " of the saveset " + saveset.name + " is lost: " + item.why);
  }
  return {};
}

// A pack may hold the record of an item that could not be committed, since a pack that it refers to had gone.
// Then the item was saved once more, and this record is dropped.
Status DropReplaced(Catalog::Inside& inside, const ImportedSaveset& saveset) {
  std::vector<Lost> replaced;
  std::set<std::pair<std::uint64_t, std::string>> there;  // directory and name of those with all their packs
  // The latest first. Those of one key alone: they are found in an index, and are few.
  Status found = inside.engine->Run(
      "SELECT CASE WHEN EXISTS(SELECT 1 FROM needs n JOIN pack p ON p.id = n.pack WHERE n.saveset = "
      "i.saveset "
      "AND n.number = i.number AND p.state <> 1) THEN 0 ELSE 1 END, " +
          kItemColumns +
          " FROM item i WHERE i.saveset = $1 AND i.key IN (SELECT key FROM item WHERE saveset = $1 GROUP BY "
          "key HAVING count(*) > 1) ORDER BY i.number DESC",
      {saveset.id}, [&](const SqlRow& row) {
        Item item;
        Status read = ReadItem(row, 1, inside.repository, saveset.uid, item);
        const std::pair<std::uint64_t, std::string> name(item.directory, item.name);
        if (read && there.count(name) != 0) {
          replaced.push_back({row.Number(1), item.name, ""});
        } else if (read && row.Number(0) != 0) {
          there.insert(name);
        }
        return read;
      });
  return found ? DropLost(inside, saveset, replaced, [](const std::string& /*what*/) {}) : found;
}

// What is in directories that are not there. If as many items are there as the end of the saveset says, these
// directories were given up, and nobody has lost anything.
Status DropOfMissingDirectories(Catalog::Inside& inside, const ImportedSaveset& saveset,
                                const std::function<void(const std::string&)>& tell) {
  std::vector<Lost> lost;
  bool allThere = false;
  Status found = FindLost(inside, saveset,
                          "i.directory <> 0 AND NOT EXISTS(SELECT 1 FROM item d WHERE d.saveset = i.saveset "
                          "AND d.number = i.directory AND d.kind = 1)",
                          "the directory that it is part of is not there whole", lost);
  if (found && !lost.empty()) {
    found = inside.Exists(
        "SELECT 1 FROM saveset s WHERE s.id = $1 AND s.ended IS NOT NULL AND s.items <= (SELECT count(*) "
        "FROM "
        "item i WHERE i.saveset = s.id AND i.directory = 0)",
        {saveset.id}, allThere);
  }
  return found ? DropLost(inside, saveset, lost, allThere ? [](const std::string& /*what*/) {} : tell)
               : found;
}

// Drops first the items that lack a pack, then directories that lack something, then what is in directories
// that went.
Status CheckSaveset(Catalog::Inside& inside, const ImportedSaveset& saveset,
                    const std::function<void(const std::string&)>& tell) {
  std::vector<Lost> lost;
  if (Status dropped = DropReplaced(inside, saveset); !dropped) {
    return dropped;
  }
  if (Status found = FindLost(inside, saveset,
                              "EXISTS(SELECT 1 FROM needs n JOIN pack p ON p.id = n.pack WHERE "
                              "n.saveset = i.saveset AND n.number = i.number AND p.state <> 1)",
                              "a pack that it needs is missing or damaged", lost);
      !found) {
    return found;
  }
  if (Status dropped = DropLost(inside, saveset, lost, tell); !dropped) {
    return dropped;
  }
  lost.clear();
  if (Status found = FindTornDirectories(inside, saveset, lost); !found) {
    return found;
  }
  if (Status dropped = DropLost(inside, saveset, lost, tell); !dropped) {
    return dropped;
  }
  Status dropped = DropOfMissingDirectories(inside, saveset, tell);
  return dropped ? inside.CountItems(saveset.uid) : dropped;
}

}  // namespace

Status Catalog::ImportSaveset(const Saveset& saveset) {
  if (Status begun = Begin(*inside_); !begun) {
    return begun;
  }
  std::int64_t id = 0;
  std::int64_t family = 0;
  bool taken = false;
  if (Status looked = inside_->Exists("SELECT id FROM saveset WHERE id = $1", {saveset.id}, taken); !looked) {
    return looked;
  }
  if (Status done =
          saveset.id <= 0 || saveset.id > kMostSavesets || taken ? inside_->Count("saveset", id) : Status();
      !done) {
    return done;
  }
  id = id == 0 ? saveset.id : id;
  if (Status raised =
          inside_->Run("UPDATE counter SET value = $1 WHERE name = $2 AND value < $1", {id, "saveset"});
      !raised) {
    return raised;
  }
  if (Status found = inside_->FamilyOf(saveset.database, saveset.pool, family); !found) {
    return found;
  }
  if (Status added = inside_->AddSaveset(saveset, id, family); !added) {
    return added;
  }
  // As many as its end tells, until those that are there are counted.
  if (Status noted = inside_->Run("UPDATE saveset SET items = $1 WHERE id = $2", {saveset.items, id});
      !noted) {
    return noted;
  }
  return CommitIfMany(*inside_, 1);
}

Status Catalog::ImportPack(const Pack& pack, const Uid& saveset, const std::vector<std::string>& records) {
  if (Status begun = Begin(*inside_); !begun) {
    return begun;
  }
  std::optional<SavesetRow> row;
  if (Status found = FindSavesetRow(*inside_, saveset, row); !found) {
    return found;
  }
  if (!row && !records.empty()) {
    return Status::Missing("the saveset of the pack is missing");
  }
  std::vector<Item> items(records.size());
  std::set<std::uint64_t> numbers;
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (Status decoded = DecodeRecord(records[i], inside_->repository, saveset, items[i]); !decoded) {
      return decoded;
    }
    if (Status checked = CheckNumber(*inside_, *row, items[i], numbers); !checked) {
      return checked;
    }
  }
  std::int64_t id = 0;
  if (Status known = PackIdOf(*inside_, pack.uid, id); !known) {
    return known;
  }
  if (Status seen =
          inside_->Run("UPDATE pack SET saveset = $1, state = $2, size = $3 WHERE id = $4",
                       {row ? row->id : 0, static_cast<int>(PackState::kGood), Unsigned(pack.size), id});
      !seen) {
    return seen;
  }
  for (std::size_t i = 0; i < records.size(); ++i) {
    if (Status imported = ImportItem(*inside_, *row, items[i], records[i], id); !imported) {
      return imported;
    }
  }
  return CommitIfMany(*inside_, records.size() + 1);
}

Status Catalog::NoteTorn(std::int64_t saveset, const std::string& reason) {
  return inside_->Transact([&] {
    return inside_->Run("UPDATE saveset SET mover = $1, reason = $2 WHERE id = $3 AND failed = 0",
                        {static_cast<int>(Mover::kEndedFailed), reason, saveset});
  });
}

Status Catalog::FinishImport(const std::function<void(const std::string& what)>& tell) {
  std::vector<ImportedSaveset> savesets;
  if (Status listed = ListImported(*inside_, savesets); !listed) {
    return listed;
  }
  for (const ImportedSaveset& saveset : savesets) {
    if (Status begun = Begin(*inside_); !begun) {
      return begun;
    }
    if (Status checked = CheckSaveset(*inside_, saveset, tell); !checked) {
      return checked;
    }
  }
  std::int64_t now = 0;
  Status done = Begin(*inside_);
  if (done) {
    done = inside_->Run("DELETE FROM pack WHERE state = $1", {static_cast<int>(PackState::kUnseen)});
  }
  if (done) {
    done = Now(now);
  }
  // No number that the old catalog gave to a session comes again: somebody may still use it.
  if (done) {
    done = inside_->Run("UPDATE counter SET value = $1 WHERE name = $2 AND value < $1", {now, "session"});
  }
  return done ? Commit(*inside_) : done;
}

Status Catalog::ImportChecks(const std::vector<PackFacts>& packs) {
  Status done = Begin(*inside_);
  for (auto pack = packs.begin(); done && pack != packs.end(); ++pack) {
    if (!pack->damaged && !pack->checked) {
      continue;
    }
    done = inside_->Run("UPDATE pack SET state = $1, checked = $2 WHERE uid = $3 AND size = $4 AND state = 1",
                        {static_cast<int>(pack->damaged ? PackState::kDamaged : PackState::kGood),
                         pack->checked ? SqlValue(*pack->checked) : SqlValue(nullptr), pack->uid.Bytes(),
                         Unsigned(pack->size)});
    done = done ? CommitIfMany(*inside_, 1) : done;
    done = done ? Begin(*inside_) : done;
  }
  return done ? Commit(*inside_) : done;
}

Status Catalog::NameUnneededPacks(std::uint64_t& count) {
  return inside_->Transact([&] {
    Status named = inside_->Run(
        "UPDATE pack SET state = $1 WHERE state = 1 AND saveset IN (SELECT id FROM saveset WHERE ended IS "
        "NOT "
        "NULL) AND " +
            kIsUnneeded,
        {static_cast<int>(PackState::kDeleted)});
    count = static_cast<std::uint64_t>(inside_->engine->Changed());
    return named;
  });
}

}  // namespace store
