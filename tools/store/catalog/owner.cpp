// What the owner asks about savesets and packs as a whole.
#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

Status HasDamagedPack(Catalog::Inside& inside, bool& has) {
  return inside.Exists("SELECT id FROM pack WHERE " + std::string(kIsDamaged) + " LIMIT 1", {}, has);
}

// The condition that none of the packs which the item needs is damaged.
std::string Whole(const std::string& item) {
  const std::string damaged = "(SELECT id FROM pack WHERE " + std::string(kIsDamaged) + ")";
  return item + ".pack NOT IN " + damaged +
         " AND NOT EXISTS(SELECT 1 FROM needs d WHERE d.saveset = " + item +
         ".saveset AND d.number = " + item + ".number AND d.pack IN " + damaged + kForEachRow;
}

// Every pack that the saveset added, or that one of its items needs.
Status AddPacksNeeded(Catalog::Inside& inside, std::int64_t saveset, std::set<std::int64_t>& packs) {
  return inside.engine->Run(
      "SELECT id FROM pack WHERE saveset = $1 UNION SELECT pack FROM needs WHERE saveset = $1", {saveset},
      [&packs](const SqlRow& row) {
        packs.insert(row.Number(0));
        return Status();
      });
}

// Whether an item of another saveset than these needs the pack. Steps from saveset to saveset, not from item
// to item.
Status IsNeededByOthers(Catalog::Inside& inside, std::int64_t pack, const std::set<std::int64_t>& savesets,
                        bool& needed) {
  needed = false;
  for (const char* text :
       {"SELECT saveset FROM item WHERE pack = $1 AND saveset > $2 ORDER BY saveset LIMIT 1",
        "SELECT saveset FROM needs WHERE pack = $1 AND saveset > $2 ORDER BY saveset LIMIT 1"}) {
    std::optional<std::int64_t> next = 0;
    while (next && !needed) {
      const std::int64_t behind = *next;
      if (Status found = inside.FindNumber(text, {pack, behind}, next); !found) {
        return found;
      }
      needed = next && savesets.count(*next) == 0;
    }
  }
  return {};
}

}  // namespace

Status Catalog::ListInUse(std::set<std::int64_t>& savesets) {
  savesets.clear();
  return inside_->engine->Run("SELECT saveset FROM job WHERE closed IS NULL UNION SELECT saveset FROM run",
                              {}, [&savesets](const SqlRow& row) {
                                savesets.insert(row.Number(0));
                                return Status();
                              });
}

Status Catalog::HoldsNewest(const Saveset& saveset, bool& holds) {
  holds = false;
  const bool withdrawn = saveset.mover == Mover::kEndedClean && saveset.failed;
  if (saveset.mover == Mover::kNone || saveset.mover == Mover::kRunning || withdrawn || saveset.marked) {
    return {};
  }
  bool anyDamaged = false;
  if (Status looked = HasDamagedPack(*inside_, anyDamaged); !looked) {
    return looked;
  }
  const auto whole = [anyDamaged](const std::string& item) {
    return anyDamaged ? " AND " + Whole(item) : std::string();
  };
  return inside_->Exists("SELECT 1 FROM item i WHERE i.saveset = $1 AND i.directory = 0 AND i.kind <> 3" +
                             whole("i") +
                             " AND NOT EXISTS(SELECT 1 FROM item n CROSS JOIN saveset s WHERE s.id = "
                             "n.saveset AND n.key = i.key AND n.kind <> 3 AND "
                             "n.family IN (SELECT id FROM family WHERE name = $2) AND n.saveset > $1 AND "
                             "s.mover = 2 AND s.failed = 0 AND s.marked IS NULL AND s.deleting = 0" +
                             whole("n") + kForEachRow + " LIMIT 1",
                         {saveset.id, saveset.database}, holds);
}

Status Catalog::RoomOf(const std::set<std::int64_t>& savesets, std::int64_t markedBefore,
                       std::uint64_t& bytes) {
  bytes = 0;
  std::set<std::int64_t> packs;
  for (const std::int64_t saveset : savesets) {
    if (Status listed = AddPacksNeeded(*inside_, saveset, packs); !listed) {
      return listed;
    }
  }
  std::vector<std::int64_t> marked;
  if (Status listed =
          inside_->ListNumbers("SELECT id FROM saveset WHERE marked <= $1", {markedBefore}, marked);
      !listed) {
    return listed;
  }
  std::set<std::int64_t> going(savesets);
  going.insert(marked.begin(), marked.end());
  for (const std::int64_t pack : packs) {
    bool needed = false;
    if (Status looked = IsNeededByOthers(*inside_, pack, going, needed); !looked) {
      return looked;
    }
    std::optional<std::int64_t> size;
    if (Status found = needed ? Status()
                              : inside_->FindNumber("SELECT size FROM pack WHERE id = $1 AND state IN (1, 2)",
                                                    {pack}, size);
        !found) {
      return found;
    }
    bytes += static_cast<std::uint64_t>(size.value_or(0));
  }
  return {};
}

}  // namespace store
