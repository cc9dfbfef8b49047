// Takes in savesets from another catalog of the same repository, in short transactions. Others find a saveset
// only when all of it has come.
#include <algorithm>
#include <unordered_map>
#include <utility>

#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

constexpr int kPortion = 500;
// Values of the column saveset.deleting.
constexpr int kDeleted = 1;
constexpr int kComing = 2;

struct Row {
  std::int64_t id = 0;
  std::int64_t family = 0;
  bool deleted = false;
  bool listed = false;
};

Status FindRow(Catalog::Inside& inside, const Uid& uid, std::optional<Row>& found) {
  found.reset();
  return inside.engine->Run(
      "SELECT id, family, deleting FROM saveset WHERE uid = $1", {uid.Bytes()}, [&found](const SqlRow& row) {
        found = Row{row.Number(0), row.Number(1), row.Number(2) == kDeleted, row.Number(2) == 0};
        return Status();
      });
}

// By its number in the other catalog a saveset is newer or older than others. It keeps the number if that is
// free.
Status AddRow(Catalog::Inside& inside, const Saveset& saveset) {
  bool taken = false;
  std::int64_t id = saveset.id;
  std::int64_t family = 0;
  Status done = inside.Exists("SELECT id FROM saveset WHERE name = $1", {saveset.name}, taken);
  if (done && taken) {
    return Status::Damaged("another saveset has its name");
  }
  if (done) {
    done = inside.Exists("SELECT id FROM saveset WHERE id = $1", {id}, taken);
  }
  if (done && taken) {
    done = inside.Count("saveset", id);
  }
  if (done) {
    done = inside.Run("UPDATE counter SET value = $1 WHERE name = $2 AND value < $1", {id, "saveset"});
  }
  if (done) {
    done = inside.FamilyOf(saveset.database, saveset.pool, family);
  }
  if (done) {
    done = inside.AddSaveset(saveset, id, family);
  }
  return done ? inside.Run("UPDATE saveset SET deleting = $1 WHERE id = $2", {kComing, id}) : done;
}

struct PackRow {
  std::int64_t id = 0;  // 0: it has none
  std::optional<PackState> state;
};

Status FindPackRow(Catalog::Inside& inside, const Uid& uid, PackRow& found) {
  found = {};
  return inside.engine->Run("SELECT id, state FROM pack WHERE uid = $1", {uid.Bytes()},
                            [&found](const SqlRow& row) {
                              found = {row.Number(0), static_cast<PackState>(row.Number(1))};
                              return Status();
                            });
}

// kMissing if a deletion takes the pack, or took it.
Status FindWholePack(Catalog::Inside& inside, const PackFacts& pack, const Catalog::HasObject& hasObject,
                     PackRow& found) {
  if (Status looked = FindPackRow(inside, pack.uid, found); !looked || found.state == PackState::kGood) {
    return looked;
  }
  if (found.state == PackState::kDamaged) {
    return Status::Damaged("pack " + pack.uid.Hex() + " is damaged there");
  }
  if (found.state == PackState::kDeleted) {
    return Status::Missing("pack " + pack.uid.Hex() + " is being deleted there");
  }
  bool has = false;
  if (Status asked = hasObject(pack, has); !asked || !has) {
    return asked ? Status::Missing("pack " + pack.uid.Hex() + " was deleted there meanwhile") : asked;
  }
  return {};
}

// Makes it a good pack of the saveset that it comes from.
Status KeepPack(Catalog::Inside& inside, const PackFacts& pack, PackRow& row) {
  if (row.state == PackState::kGood) {
    return {};
  }
  if (row.id == 0) {
    Status added = inside.Count("pack", row.id);
    added = added ? inside.Run("INSERT INTO pack(id, uid, saveset, state, size) VALUES($1, $2, 0, 0, 0)",
                               {row.id, pack.uid.Bytes()})
                  : added;
    if (!added) {
      return added;
    }
  }
  return inside.Run(
      "UPDATE pack SET saveset = coalesce((SELECT id FROM saveset WHERE uid = $1), 0), state = 1, size = $2 "
      "WHERE id = $3",
      {pack.saveset.Bytes(), Unsigned(pack.size), row.id});
}

// The next packs, from `at` on; within a transaction. kMissing if a deletion takes one of them.
Status AnnouncePortion(Catalog::Inside& inside, const Row& row, const std::vector<PackFacts>& packs,
                       std::size_t& at) {
  const std::size_t behind = std::min(packs.size(), at + kPortion);
  for (; at < behind; ++at) {
    PackRow pack;
    Status done = FindPackRow(inside, packs[at].uid, pack);
    if (done && pack.state == PackState::kDeleted) {
      return Status::Missing("pack " + packs[at].uid.Hex() + " is being deleted there");
    }
    if (done && !pack.state) {
      done = inside.Count("pack", pack.id);
      // Another copy may have been first.
      done = done ? inside.Run(
                        "INSERT INTO pack(id, uid, saveset, state, size) VALUES($1, $2, $3, 0, 0) ON "
                        "CONFLICT(uid) DO NOTHING",
                        {pack.id, packs[at].uid.Bytes(), row.id})
                  : done;
    }
    if (!done) {
      return done;
    }
  }
  return {};
}

// Names as deleted the packs that were announced for the saveset and that no item needed; within a
// transaction.
Status NameAnnounced(Catalog::Inside& inside, const Uid& saveset) {
  return inside.Run(
      "UPDATE pack SET state = 3 WHERE state = 0 AND saveset = (SELECT id FROM saveset WHERE uid = $1)",
      {saveset.Bytes()});
}

Status AddItem(Catalog::Inside& inside, const Row& row, const Catalog::ItemRecord& item,
               const std::unordered_map<Uid, PackRow, UidHash>& rows) {
  bool there = false;
  if (Status looked = inside.Exists("SELECT 1 FROM item WHERE saveset = $1 AND number = $2",
                                    {row.id, Unsigned(item.item.number)}, there);
      !looked || there) {
    return looked;
  }
  const auto own = rows.find(item.pack);
  if (own == rows.end()) {
    return Status::Damaged("the pack with the record of item " + item.item.name + " is not listed for it");
  }
  std::vector<std::int64_t> packs;
  for (const Uid& pack : item.item.packs) {
    const auto needed = rows.find(pack);
    if (needed == rows.end()) {
      return Status::Damaged("item " + item.item.name + " needs pack " + pack.Hex() +
                             ", which the catalog does not list for it");
    }
    packs.push_back(needed->second.id);
  }
  return inside.AddItem(row.id, row.family, item.item, item.record, own->second.id, std::move(packs));
}

// A saveset of which items did not come does not count as a good backup, until they come.
Status NoteWhetherWhole(Catalog::Inside& inside, const Saveset& saveset) {
  return inside.Run(
      "UPDATE saveset SET mover = CASE WHEN items < $2 THEN $3 ELSE $4 END, reason = CASE WHEN items < $2 "
      "THEN $5 ELSE $6 END WHERE uid = $1 AND failed = 0",
      {saveset.uid.Bytes(), saveset.items, static_cast<int>(Mover::kEndedFailed),
       static_cast<int>(saveset.mover), std::string_view("not all of its items could be copied"),
       saveset.reason});
}

}  // namespace

Status Catalog::ListRecords(const Saveset& saveset, const std::function<Status(const ItemRecord&)>& each) {
  const std::string text =
      "SELECT p.uid, " + kItemColumns +
      " FROM item i JOIN pack p ON p.id = i.pack WHERE i.saveset = $1 AND i.number > $2 AND " + kItemVisible +
      " ORDER BY i.number LIMIT $3";
  std::uint64_t last = 0;
  std::vector<ItemRecord> records;
  do {
    records.clear();
    if (Status read = inside_->engine->Run(text, {saveset.id, Unsigned(last), kPortion},
                                           [&](const SqlRow& row) {
                                             ItemRecord& record = records.emplace_back();
                                             record.record = row.Bytes(kItemColumnCount);
                                             return Uid::FromBytes(row.Bytes(0), record.pack)
                                                        ? ReadItem(row, 1, inside_->repository, saveset.uid,
                                                                   record.item)
                                                        : DamagedRow("the id of a pack");
                                           });
        !read) {
      return read;
    }
    for (const ItemRecord& record : records) {
      if (Status done = each(record); !done) {
        return done;
      }
    }
    last = records.empty() ? last : records.back().item.number;
  } while (records.size() == kPortion);
  return {};
}

Status Catalog::BeginAdoption(const Saveset& saveset) {
  bool deleted = false;  // to repeat would not change that
  Status done = inside_->Transact([&] {
    std::optional<Row> row;
    deleted = false;
    if (Status found = FindRow(*inside_, saveset.uid, row); !found || row) {
      return found;
    }
    Status looked = inside_->Exists("SELECT 1 FROM deleted WHERE uid = $1", {saveset.uid.Bytes()}, deleted);
    return looked && !deleted ? AddRow(*inside_, saveset) : looked;
  });
  return done && deleted ? Status::Conflict("its objects are being deleted there") : done;
}

Status Catalog::AnnounceAdopted(const Uid& saveset, const std::vector<PackFacts>& packs) {
  Status gone;  // to repeat would not bring it back
  for (std::size_t next = 0; gone && next < packs.size();) {
    std::size_t at = next;
    Status done = inside_->Transact([&](bool& keep) {
      std::optional<Row> row;
      at = next;
      gone = {};
      Status announced = FindRow(*inside_, saveset, row);
      if (announced) {
        announced = row && !row->deleted ? AnnouncePortion(*inside_, *row, packs, at)
                                         : Status::Missing("the saveset was taken out meanwhile");
      }
      keep = announced.What() != Status::Kind::kMissing;
      gone = keep ? Status() : Status::Conflict(announced.Message());
      return keep ? announced : Status();
    });
    if (!done) {
      return done;
    }
    next = at;
  }
  return gone;
}

Status Catalog::AdoptItems(const Uid& saveset, const std::vector<PackFacts>& packs,
                           const std::vector<ItemRecord>& items, const HasObject& hasObject) {
  Status gone;  // to repeat would not bring it back
  Status done = inside_->Transact([&](bool& keep) {
    std::optional<Row> row;
    if (Status found = FindRow(*inside_, saveset, row); !found) {
      return found;
    }
    keep = row && !row->deleted;
    if (!keep) {
      gone = Status::Conflict("the saveset was taken out meanwhile");
      return Status();
    }
    std::unordered_map<Uid, PackRow, UidHash> rows;
    for (const PackFacts& pack : packs) {
      Status known = FindWholePack(*inside_, pack, hasObject, rows[pack.uid]);
      if (known.What() == Status::Kind::kMissing) {
        gone = Status::Conflict(known.Message());
        keep = false;
        return Status();
      }
      if (!known) {
        return known;
      }
    }
    // From here on all others wait for the counter.
    for (const PackFacts& pack : packs) {
      if (Status kept = KeepPack(*inside_, pack, rows[pack.uid]); !kept) {
        return kept;
      }
    }
    for (const ItemRecord& item : items) {
      if (Status added = AddItem(*inside_, *row, item, rows); !added) {
        return added;
      }
    }
    return row->listed ? inside_->CountItems(saveset) : Status();
  });
  return done ? gone : done;
}

Status Catalog::EndAdoption(const Saveset& saveset) {
  bool there = false;
  Status done = inside_->Transact([&] {
    Status ended = inside_->Run(
        "UPDATE saveset SET protected = CASE WHEN deleting = 0 THEN protected ELSE $3 END, deleting = 0 "
        "WHERE "
        "uid = $1 AND deleting <> $2",
        {saveset.uid.Bytes(), kDeleted, saveset.isProtected});
    there = inside_->engine->Changed() != 0;
    if (ended && there) {
      ended = NameAnnounced(*inside_, saveset.uid);
    }
    if (ended && there) {
      ended = inside_->CountItems(saveset.uid);
    }
    return ended && there ? NoteWhetherWhole(*inside_, saveset) : ended;
  });
  return done && !there ? Status::Conflict("the saveset was taken out meanwhile") : done;
}

Status Catalog::HasSavesetRow(const Uid& saveset, bool& has) {
  return inside_->Exists("SELECT 1 FROM saveset WHERE uid = $1", {saveset.Bytes()}, has);
}

Status Catalog::ListAdoptions(std::vector<Uid>& savesets) {
  savesets.clear();
  return inside_->ListUids("SELECT uid FROM saveset WHERE deleting = $1", {kComing}, savesets);
}

Status Catalog::GiveUpAdoption(const Uid& saveset) {
  return inside_->Transact([&] {
    return inside_->Run("UPDATE saveset SET deleting = 1, marked = 0 WHERE uid = $1 AND deleting = $2",
                        {saveset.Bytes(), kComing});
  });
}

}  // namespace store
