// Finding savesets, items and packs. Long answers are read in portions, each by a statement of its own, so
// that no reader is in anybody's way for long.
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

constexpr int kPortion = 500;

// The keys of everything in the directory with this key are between these two.
struct KeyRange {
  explicit KeyRange(const std::string& key) : first(key + '/'), behind(first) { ++behind.back(); }
  std::string first;
  std::string behind;
};

// The directory above the item that has this key, or is shown by it.
std::string DirectoryShownAs(std::string_view item, const std::string& key) {
  std::string_view directory = ParentOf(item);
  while (!directory.empty() && ItemKey(directory) != key && ItemKey(ListedName(directory)) != key) {
    directory = ParentOf(directory);
  }
  return std::string(directory);
}

Status FindOne(Catalog::Inside& inside, const Saveset& saveset, const std::string& condition,
               const std::vector<SqlValue>& values, std::optional<Item>& item) {
  item.reset();
  return inside.engine->Run(
      "SELECT " + kItemColumns + " FROM item i WHERE i.saveset = $1 AND " + condition, values,
      [&](const SqlRow& row) { return ReadItem(row, 0, inside.repository, saveset.uid, item.emplace()); });
}

// The directory with this name, or else the first one that is shown by it; empty if there is neither.
Status FindDirectory(Catalog::Inside& inside, const Saveset& saveset, const std::string& key,
                     std::string& directory) {
  directory.clear();
  if (key.empty()) {
    return {};
  }
  const KeyRange range(key);
  std::optional<Item> first;
  if (Status found =
          FindOne(inside, saveset,
                  "i.key > $2 AND i.key < $3 AND " + kItemVisible + " ORDER BY i.key, i.number LIMIT 1",
                  {saveset.id, range.first, range.behind}, first);
      !found) {
    return found;
  }
  if (!first) {
    if (Status found = FindOne(
            inside, saveset,
            "i.listed > $2 AND i.listed < $3 AND " + kItemVisible + " ORDER BY i.key, i.number LIMIT 1",
            {saveset.id, range.first, range.behind}, first);
        !found) {
      return found;
    }
  }
  if (first) {
    directory = DirectoryShownAs(first->name, key);
  }
  return {};
}

// Reads a portion of items behind the place that `values` tell; `text` has the condition and the order.
// `lastKey` gets the key of the last row. It need not be the key that this system would make of the name.
Status ReadPortion(Catalog::Inside& inside, const Saveset& saveset, const std::string& text,
                   const std::vector<SqlValue>& values, std::vector<Item>& items, std::string& lastKey) {
  items.clear();
  return inside.engine->Run(text, values, [&](const SqlRow& row) {
    lastKey = row.Bytes(1);
    return ReadItem(row, 0, inside.repository, saveset.uid, items.emplace_back());
  });
}

// A saveset that is deleted while it is read in portions must not look like a shorter one.
Status CheckStillThere(Catalog::Inside& inside, const Saveset& saveset) {
  bool there = false;
  Status looked = inside.Exists("SELECT id FROM saveset WHERE id = $1 AND deleting = 0", {saveset.id}, there);
  return looked && !there ? Status::Missing("the saveset " + saveset.name + " was deleted meanwhile")
                          : looked;
}

Status HandOut(const std::vector<Item>& items, const Catalog::EachItem& each) {
  for (const Item& item : items) {
    if (Status done = each(item); !done) {
      return done;
    }
  }
  return {};
}

// As a range, and without an order: otherwise an engine without statistics would go through all items of the
// saveset.
const std::string kSelectItems = "SELECT " + kItemColumns + " FROM item i WHERE i.saveset = $1 AND ";
const std::string kItemsOfKey = kSelectItems + "i.key >= $2 AND i.key <= $2 AND " + kItemVisible;
const std::string kItemsShownBy = kSelectItems + "i.listed >= $2 AND i.listed <= $2 AND " + kItemVisible;

const std::string kSelectSaveset =
    "SELECT s.id, s.uid, s.name, f.name, f.pool, s.created, s.mover, s.items, s.marked, s.failed, "
    "s.warnings, s.ended, s.bytes, s.together, s.protected, s.reason, coalesce((SELECT max(CASE WHEN n.state "
    "= 3 THEN 2 WHEN n.closed IS NULL AND n.process <> 0 THEN 1 ELSE 0 END) FROM job j JOIN session n ON "
    "n.id "
    "= j.session WHERE j.saveset = s.id AND j.mode = 0), 0) FROM saveset s JOIN family f ON f.id = s.family ";

Status ReadSaveset(const SqlRow& row, Saveset& saveset) {
  saveset.id = row.Number(0);
  saveset.name = row.Bytes(2);
  saveset.database = row.Bytes(3);
  saveset.pool = row.Bytes(4);
  saveset.created = row.Number(5);
  saveset.mover = static_cast<Mover>(row.Number(6));
  saveset.items = row.Number(7);
  saveset.marked = !row.IsNull(8);
  saveset.failed = row.Number(9) != 0;
  saveset.warnings = row.Number(10) != 0;
  saveset.ended = row.IsNull(11) ? std::nullopt : std::optional(row.Number(11));
  saveset.bytes = row.Number(12);
  saveset.isProtected = row.Number(14) != 0;
  saveset.reason = row.Bytes(15);
  saveset.sessionOpen = row.Number(16) == 1;
  saveset.sessionFailed = row.Number(16) == 2;
  return Uid::FromBytes(row.Bytes(1), saveset.uid) && Uid::FromBytes(row.Bytes(13), saveset.together)
             ? Status()
             : DamagedRow("the id of a saveset");
}

Status ReadNames(Catalog::Inside& inside, const std::string& text, const std::vector<SqlValue>& values,
                 std::vector<std::string>& names) {
  names.clear();
  return inside.engine->Run(text, values, [&names](const SqlRow& row) {
    names.emplace_back(row.Bytes(0));
    return Status();
  });
}

}  // namespace

Status Catalog::FindSaveset(std::string_view name, std::optional<Saveset>& saveset) {
  saveset.reset();
  return inside_->engine->Run(kSelectSaveset + "WHERE s.name = $1 AND s.deleting = 0", {name},
                              [&](const SqlRow& row) { return ReadSaveset(row, saveset.emplace()); });
}

Status Catalog::FindSavesetByUid(const Uid& uid, std::optional<Saveset>& saveset) {
  saveset.reset();
  return inside_->engine->Run(kSelectSaveset + "WHERE s.uid = $1 AND s.deleting = 0", {uid.Bytes()},
                              [&](const SqlRow& row) { return ReadSaveset(row, saveset.emplace()); });
}

Status Catalog::FindSavesetOfRun(const Uid& run, std::optional<Saveset>& saveset) {
  saveset.reset();
  return inside_->engine->Run(
      kSelectSaveset + "JOIN run r ON r.saveset = s.id WHERE r.uid = $1 AND s.deleting = 0", {run.Bytes()},
      [&](const SqlRow& row) { return ReadSaveset(row, saveset.emplace()); });
}

Status Catalog::ListAllSavesets(const std::function<Status(const Saveset& saveset)>& each) {
  std::vector<Saveset> savesets;
  if (Status listed = inside_->engine->Run(
          kSelectSaveset + "WHERE s.deleting = 0 ORDER BY s.id DESC", {},
          [&savesets](const SqlRow& row) { return ReadSaveset(row, savesets.emplace_back()); });
      !listed) {
    return listed;
  }
  for (const Saveset& saveset : savesets) {
    if (Status done = each(saveset); !done) {
      return done;
    }
  }
  return {};
}

Status Catalog::FindItem(const Saveset& saveset, std::string_view asked, std::optional<Item>& item) {
  item.reset();
  const std::string key = ItemKey(asked);
  for (const std::string& text : {kItemsOfKey, kItemsShownBy}) {
    Status found = inside_->engine->Run(text, {saveset.id, key}, [&](const SqlRow& row) {
      return item && Unsigned(item->number).Number() < row.Number(0)
                 ? Status()
                 : ReadItem(row, 0, inside_->repository, saveset.uid, item.emplace());
    });
    if (!found || item) {
      return found;
    }
  }
  return {};
}

Status Catalog::FindItemsIn(const Saveset& saveset, std::string_view asked, std::string& directory,
                            const EachItem& each) {
  if (Status found = FindDirectory(*inside_, saveset, ItemKey(asked), directory);
      !found || directory.empty()) {
    return found ? CheckStillThere(*inside_, saveset) : found;
  }
  const KeyRange range(ItemKey(directory));
  // Of several items with one name the first counts.
  const std::string text = "SELECT " + kItemColumns +
                           " FROM item i WHERE i.saveset = $1 AND i.key > $2 AND i.key < $3 AND " +
                           kItemVisible +
                           " AND NOT EXISTS(SELECT 1 FROM item e WHERE e.saveset = i.saveset AND e.key = "
                           "i.key AND e.number < i.number" +
                           kForEachRow + " ORDER BY i.key LIMIT $4";
  std::string last = range.first;
  std::vector<Item> items;
  do {
    const std::string behind = last;
    if (Status read =
            ReadPortion(*inside_, saveset, text, {saveset.id, behind, range.behind, kPortion}, items, last);
        !read) {
      return read;
    }
    if (Status there = CheckStillThere(*inside_, saveset); !there) {
      return there;
    }
    if (Status done = HandOut(items, each); !done) {
      return done;
    }
  } while (items.size() == kPortion);
  return {};
}

Status Catalog::CountEntriesOf(const Saveset& saveset, std::uint64_t directory, std::uint64_t& entries) {
  std::optional<std::int64_t> count;
  Status counted = inside_->FindNumber("SELECT count(*) FROM item WHERE saveset = $1 AND directory = $2",
                                       {saveset.id, Unsigned(directory)}, count);
  entries = static_cast<std::uint64_t>(count.value_or(0));
  return counted;
}

Status Catalog::ListItems(const Saveset& saveset, const EachItem& each) {
  const std::string text = "SELECT " + kItemColumns +
                           " FROM item i WHERE i.saveset = $1 AND i.number > $2 AND " + kItemVisible +
                           " AND NOT EXISTS(SELECT 1 FROM item e WHERE e.saveset = i.saveset AND e.key = "
                           "i.key AND e.number < i.number" +
                           kForEachRow + " ORDER BY i.number LIMIT $3";
  std::uint64_t last = 0;
  std::string lastKey;
  std::vector<Item> items;
  do {
    if (Status read =
            ReadPortion(*inside_, saveset, text, {saveset.id, Unsigned(last), kPortion}, items, lastKey);
        !read) {
      return read;
    }
    if (Status there = CheckStillThere(*inside_, saveset); !there) {
      return there;
    }
    if (Status done = HandOut(items, each); !done) {
      return done;
    }
    last = items.empty() ? last : items.back().number;
  } while (items.size() == kPortion);
  return {};
}

Status Catalog::FindPack(const Uid& uid, std::optional<Pack>& pack) {
  pack.reset();
  return inside_->engine->Run(
      "SELECT size, state FROM pack WHERE uid = $1 AND state IN (1, 2)", {uid.Bytes()},
      [&](const SqlRow& row) {
        pack = Pack{uid, static_cast<std::uint64_t>(row.Number(0)), row.Number(1) == 2};
        return Status();
      });
}

Status Catalog::MarkPackDamaged(const Uid& uid) {
  return inside_->Transact(
      [&] { return inside_->Run("UPDATE pack SET state = 2 WHERE uid = $1 AND state = 1", {uid.Bytes()}); });
}

Status Catalog::ListSavesets(std::string_view database, std::vector<std::string>& names) {
  return ReadNames(*inside_,
                   "SELECT s.name FROM saveset s JOIN family f ON f.id = s.family WHERE f.name = $1 AND "
                   "s.items > 0 AND s.marked IS NULL AND s.deleting = 0 ORDER BY s.id DESC",
                   {database}, names);
}

Status Catalog::ListSavesetsWith(std::string_view database, std::string_view file,
                                 std::vector<std::string>& names) {
  const auto holders = [](const std::string& column, const std::string& shown) {
    return "SELECT i.saveset AS id, " + shown +
           " AS shown FROM family f JOIN item i ON i.family = f.id AND i." + column +
           " = $2 WHERE f.name = $1 AND " + kItemVisible;
  };
  return ReadNames(
      *inside_,
      "SELECT s.name FROM (" + holders("key", "0") + " UNION ALL " + holders("listed", "1") +
          ") AS holder JOIN saveset s ON s.id = holder.id WHERE s.marked IS NULL AND s.deleting = 0 "
          "GROUP BY s.id, s.name, s.mover, s.failed ORDER BY min(holder.shown), "
          "CASE WHEN s.mover = 2 AND s.failed = 1 THEN 1 ELSE 0 END, s.id DESC",
      {database, ItemKey(file)}, names);
}

}  // namespace store
