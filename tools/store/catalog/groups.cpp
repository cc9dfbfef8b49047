// Making items known, and taking back those of a directory that was never completed.
#include <map>
#include <unordered_map>
#include <utility>

#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

using PackIds = std::unordered_map<Uid, std::int64_t, UidHash>;

struct PackRow {
  std::int64_t id = 0;
  PackState state = PackState::kAnnounced;
};

Status FindPackRow(Catalog::Inside& inside, const Uid& pack, std::optional<PackRow>& found) {
  found.reset();
  return inside.engine->Run("SELECT id, state FROM pack WHERE uid = $1", {pack.Bytes()},
                            [&](const SqlRow& row) {
                              found = PackRow{row.Number(0), static_cast<PackState>(row.Number(1))};
                              return Status();
                            });
}

// Turns the group's own packs from announced to good.
Status KeepPacks(Catalog::Inside& inside, const std::vector<Pack>& packs, PackIds& ids) {
  for (const Pack& pack : packs) {
    std::optional<PackRow> row;
    if (Status found = FindPackRow(inside, pack.uid, row); !found) {
      return found;
    }
    if (!row || row->state != PackState::kAnnounced) {
      return Status::Failed(kTakenForDead);
    }
    if (Status kept =
            inside.Run("UPDATE pack SET state = 1, size = $1 WHERE id = $2", {Unsigned(pack.size), row->id});
        !kept) {
      return kept;
    }
    ids.emplace(pack.uid, row->id);
  }
  return {};
}

// Looks at all other packs that the items need; those that are not good go to `gone`.
Status CheckReferences(Catalog::Inside& inside, const std::vector<Item>& items, PackIds& ids,
                       std::vector<Uid>& gone) {
  for (const Item& item : items) {
    for (const Uid& pack : item.packs) {
      if (ids.count(pack) != 0) {
        continue;
      }
      std::optional<PackRow> row;
      if (Status found = FindPackRow(inside, pack, row); !found) {
        return found;
      }
      if (!row || row->state != PackState::kGood) {
        gone.push_back(pack);
      }
      ids.emplace(pack, row ? row->id : 0);
    }
  }
  return {};
}

// For each directory that is still being saved, counts how many of its items have come.
Status CountUnfinished(Catalog::Inside& inside, std::int64_t saveset, const std::vector<Item>& items) {
  std::map<std::uint64_t, std::int64_t> entries;
  for (const Item& item : items) {
    if (item.directory != 0) {
      ++entries[item.directory];
    }
  }
  for (const auto& [directory, count] : entries) {
    if (Status counted = inside.Run(
            "INSERT INTO unfinished(saveset, directory, entries) VALUES($1, $2, $3) "
            "ON CONFLICT(saveset, directory) DO UPDATE SET entries = unfinished.entries + excluded.entries",
            {saveset, Unsigned(directory), count});
        !counted) {
      return counted;
    }
  }
  return {};
}

// Takes a directory's own record: from here on everybody sees what is in the directory.
Status FinishDirectory(Catalog::Inside& inside, std::int64_t saveset, const Item& item) {
  std::optional<std::int64_t> entries;
  if (Status found =
          inside.FindNumber("DELETE FROM unfinished WHERE saveset = $1 AND directory = $2 RETURNING entries",
                            {saveset, Unsigned(item.number)}, entries);
      !found) {
    return found;
  }
  if (entries.value_or(0) != Unsigned(item.entries).Number()) {
    return Status::Failed("the directory " + item.name + " has " + std::to_string(entries.value_or(0)) +
                          " entries in the catalog and " + std::to_string(item.entries) + " in its record");
  }
  return {};
}

Status AddItems(Catalog::Inside& inside, const Group& group, const PackIds& ids) {
  Uid uid;
  std::int64_t family = 0;
  bool found = false;
  if (Status read = inside.engine->Run("SELECT uid, family FROM saveset WHERE id = $1 AND deleting = 0",
                                       {group.saveset},
                                       [&](const SqlRow& row) {
                                         found = Uid::FromBytes(row.Bytes(0), uid);
                                         family = row.Number(1);
                                         return Status();
                                       });
      !read) {
    return read;
  }
  if (!found || group.packs.empty()) {
    return Status::Failed(found ? "items came without a pack" : "the saveset is not in the catalog any more");
  }
  const std::int64_t recordPack = ids.at(group.packs.back().uid);
  std::int64_t own = 0;
  std::uint64_t bytes = 0;
  for (const Item& item : group.items) {
    std::vector<std::int64_t> packs;
    for (const Uid& pack : item.packs) {
      packs.push_back(ids.at(pack));
    }
    const std::string record = EncodeRecord(item, inside.repository, uid);
    if (Status added = inside.AddItem(group.saveset, family, item, record, recordPack, std::move(packs));
        !added) {
      return added;
    }
    own += item.directory == 0 ? 1 : 0;
    bytes += item.kind == ItemKind::kFile ? item.facts.size : 0;
    if (item.kind == ItemKind::kDirectory && item.directory == 0) {
      if (Status finished = FinishDirectory(inside, group.saveset, item); !finished) {
        return finished;
      }
    }
  }
  return inside.Run("UPDATE saveset SET items = items + $1, bytes = bytes + $2 WHERE id = $3",
                    {own, Unsigned(bytes), group.saveset});
}

}  // namespace

Status Catalog::CommitGroup(const Group& group, std::vector<Uid>& gone) {
  Status committed = inside_->Transact([&](bool& keep) {
    gone.clear();
    PackIds ids;
    if (Status kept = KeepPacks(*inside_, group.packs, ids); !kept) {
      return kept;
    }
    if (Status checked = CheckReferences(*inside_, group.items, ids, gone); !checked) {
      return checked;
    }
    keep = gone.empty();
    if (!keep || group.items.empty()) {
      return Status();
    }
    if (Status counted = CountUnfinished(*inside_, group.saveset, group.items); !counted) {
      return counted;
    }
    Status added = AddItems(*inside_, group, ids);
    return added ? inside_->TellInPassing() : added;
  });
  if (committed && !gone.empty()) {
    return Status::Conflict("packs that the items refer to have gone meanwhile, or are damaged");
  }
  return committed;
}

Status Catalog::DropDirectory(std::int64_t saveset, std::uint64_t directory, std::vector<Uid>& packs) {
  if (Status dropped = inside_->TakeItemsOut(saveset, Unsigned(directory).Number(), packs); !dropped) {
    return dropped;
  }
  return inside_->Transact([&] {
    return inside_->Run("DELETE FROM unfinished WHERE saveset = $1 AND directory = $2",
                        {saveset, Unsigned(directory)});
  });
}

}  // namespace store
