// Finding savesets, items and packs. Long answers are read in portions, each of its own, so that no reader
// keeps anybody from anything for long.
#include "platform/data_file.h"
#include "store/base/time.h"
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

constexpr int kPortion = 500;
// Of how many of a file's last copies one is looked for that can be referred to.
constexpr int kCopiesLookedAt = 32;

// Everything in the directory with this key is between these two.
struct KeyRange {
  explicit KeyRange(const std::string& key) : first(platform::FoldName(key + '/')), behind(first) {
    ++behind.back();
  }
  std::string first;
  std::string behind;
};

// Which of the directories that the item is in has the key, or is shown by it.
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

// The directory that has the name, else the first that is shown by it; empty without either.
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

// Reads a portion of items behind the place that `values` name; its condition and order are in `text`.
Status ReadPortion(Catalog::Inside& inside, const Saveset& saveset, const std::string& text,
                   const std::vector<SqlValue>& values, std::vector<Item>& items) {
  items.clear();
  return inside.engine->Run(text, values, [&](const SqlRow& row) {
    return ReadItem(row, 0, inside.repository, saveset.uid, items.emplace_back());
  });
}

// A saveset that goes while it is read in portions must not look like a shorter one.
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

// As a range, without an order: an engine without statistics would rather go through all items of the
// saveset.
const std::string kSelectItems = "SELECT " + kItemColumns + " FROM item i WHERE i.saveset = $1 AND ";
const std::string kItemsOfKey = kSelectItems + "i.key >= $2 AND i.key <= $2 AND " + kItemVisible;
const std::string kItemsShownBy = kSelectItems + "i.listed >= $2 AND i.listed <= $2 AND " + kItemVisible;

// From the index alone.
const std::string kLastCopies =
    "SELECT saveset, number FROM item WHERE key = $1 AND family = (SELECT family FROM saveset WHERE id = $2) "
    "ORDER BY saveset DESC LIMIT $3";

// A copy: whether it can be referred to, and what `TakeCopy` reads. `oldest` is the parameter's name.
// Withdrawn: closed as failed although the mover had ended well.
std::string CopyColumns(const std::string& oldest) {
  return "CASE WHEN i.kind = 0 AND i.stored >= " + oldest +
         " AND s.marked IS NULL AND s.deleting = 0 AND s.mover <> 3 AND NOT (s.mover = 2 AND s.failed = 1) "
         "AND " +
         kItemVisible +
         " AND EXISTS(SELECT 1 FROM pack p WHERE p.id = i.pack AND p.state = 1) AND NOT EXISTS(SELECT 1 FROM "
         "needs n JOIN pack p ON p.id = n.pack WHERE n.saveset = i.saveset AND n.number = i.number AND "
         "p.state <> 1) THEN 1 ELSE 0 END, s.uid, " +
         kItemColumns;
}

const std::string kSelectCopy =
    "SELECT " + CopyColumns("$3") + " FROM item i JOIN saveset s ON s.id = i.saveset WHERE ";
const std::string kCopy = kSelectCopy + "i.saveset = $1 AND i.number = $2";
// Nearly always it is good. Without one there is no copy at all.
const std::string kLastCopy =
    kSelectCopy +
    "(i.saveset, i.number) = (SELECT saveset, number FROM item WHERE key = $1 AND "
    "family = (SELECT family FROM saveset WHERE id = $2) ORDER BY saveset DESC LIMIT 1)";

// The same of many names, each with its place among them. The engines are told in which order to go: each
// name is looked up in the index, then its last copy by its primary key.
std::string LastCopiesOfNames() {
  std::string names;
  for (std::size_t place = 0; place < Catalog::kNamesAtOnce; ++place) {
    names += (place == 0 ? "(" : ", (") + std::to_string(place) + ", $" + std::to_string(place + 1) + ")";
  }
  const std::string saveset = "$" + std::to_string(Catalog::kNamesAtOnce + 1);
  const std::string oldest = "$" + std::to_string(Catalog::kNamesAtOnce + 2);
  const auto lastCopys = [&saveset](const std::string& column) {
    return "(SELECT e." + column +
           " FROM item e WHERE e.key = a.key AND e.family = (SELECT family FROM saveset " +
           "WHERE id = " + saveset + ") ORDER BY e.saveset DESC LIMIT 1)";
  };
  return "WITH asked(place, key) AS (VALUES " + names +
         "), last(place, saveset, number) AS MATERIALIZED (SELECT a.place, " + lastCopys("saveset") + ", " +
         lastCopys("number") + " FROM asked a) SELECT " + CopyColumns(oldest) +
         ", l.place FROM last l CROSS JOIN item i CROSS JOIN saveset s WHERE i.saveset = l.saveset AND "
         "i.number = l.number AND s.id = i.saveset";
}
const std::string kLastCopiesOfNames = LastCopiesOfNames();

// Nothing if the copy cannot be referred to.
Status TakeCopy(const SqlRow& row, const Uid& repository, std::optional<Item>& item, Uid& itsSaveset) {
  if (row.Number(0) == 0) {
    return {};
  }
  return Uid::FromBytes(row.Bytes(1), itsSaveset) ? ReadItem(row, 2, repository, itsSaveset, item.emplace())
                                                  : DamagedRow("the id of a saveset");
}

const std::string kSelectSaveset =
    "SELECT s.id, s.uid, s.name, f.name, f.pool, s.created, s.mover, s.items, s.marked, s.failed, "
    "s.warnings, s.ended, s.bytes, s.together, s.protected, s.reason FROM saveset s "
    "JOIN family f ON f.id = s.family ";

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
    return found;
  }
  const KeyRange range(ItemKey(directory));
  // Of several items with one name the first counts.
  const std::string text = "SELECT " + kItemColumns +
                           " FROM item i WHERE i.saveset = $1 AND i.key > $2 AND i.key < $3 AND " +
                           kItemVisible +
                           " AND NOT EXISTS(SELECT 1 FROM item e WHERE e.saveset = i.saveset AND e.key = "
                           "i.key AND e.number < i.number)"
                           " ORDER BY i.key LIMIT $4";
  std::string last = range.first;
  std::vector<Item> items;
  do {
    if (Status read = ReadPortion(*inside_, saveset, text, {saveset.id, last, range.behind, kPortion}, items);
        !read) {
      return read;
    }
    if (Status there = CheckStillThere(*inside_, saveset); !there) {
      return there;
    }
    if (Status done = HandOut(items, each); !done) {
      return done;
    }
    last = items.empty() ? last : ItemKey(items.back().name);
  } while (items.size() == kPortion);
  return {};
}

Status Catalog::ListItems(const Saveset& saveset, const EachItem& each) {
  const std::string text = "SELECT " + kItemColumns +
                           " FROM item i WHERE i.saveset = $1 AND i.number > $2 AND " + kItemVisible +
                           " AND NOT EXISTS(SELECT 1 FROM item e WHERE e.saveset = i.saveset AND e.key = "
                           "i.key AND e.number < i.number)"
                           " ORDER BY i.number LIMIT $3";
  std::uint64_t last = 0;
  std::vector<Item> items;
  do {
    if (Status read = ReadPortion(*inside_, saveset, text, {saveset.id, Unsigned(last), kPortion}, items);
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

Status Catalog::FindBase(const Saveset& saveset, std::string_view name, std::int64_t oldest,
                         std::optional<Item>& item, Uid& itemSaveset) {
  item.reset();
  bool any = false;
  const auto take = [&](const SqlRow& row) {
    any = true;
    return TakeCopy(row, inside_->repository, item, itemSaveset);
  };
  const std::string key = ItemKey(name);
  if (Status found = inside_->engine->Run(kLastCopy, {key, saveset.id, oldest}, take);
      !found || item || !any) {
    return found;
  }
  std::vector<std::pair<std::int64_t, std::int64_t>> copies;
  if (Status listed = inside_->engine->Run(kLastCopies, {key, saveset.id, kCopiesLookedAt},
                                           [&copies](const SqlRow& row) {
                                             copies.emplace_back(row.Number(0), row.Number(1));
                                             return Status();
                                           });
      !listed) {
    return listed;
  }
  for (const auto& [copySaveset, number] : copies) {
    Status found = inside_->engine->Run(kCopy, {copySaveset, number, oldest}, take);
    if (!found || item) {
      return found;
    }
  }
  return {};
}

Status Catalog::FindBases(const Saveset& saveset, const std::vector<std::string>& names, std::int64_t oldest,
                          Copies& copies) {
  const std::size_t count = std::min(names.size(), kNamesAtOnce);
  std::vector<std::string> keys(kNamesAtOnce);  // no item has an empty one
  std::transform(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(count), keys.begin(), ItemKey);
  std::vector<SqlValue> values(keys.begin(), keys.end());
  values.emplace_back(saveset.id);
  values.emplace_back(oldest);
  std::vector<std::optional<Item>> found(count);
  std::vector<bool> any(count, false);
  Status asked = inside_->engine->Run(kLastCopiesOfNames, values, [&](const SqlRow& row) {
    const auto place = static_cast<std::size_t>(row.Number(2 + kItemColumnCount));
    if (place >= count || found[place]) {
      return Status();
    }
    any[place] = true;
    Uid itsSaveset;
    return TakeCopy(row, inside_->repository, found[place], itsSaveset);
  });
  for (std::size_t place = 0; asked && place < count; ++place) {
    // Behind a last copy that is of no use there may be another one.
    if (found[place] || !any[place]) {
      copies[names[place]] = std::move(found[place]);
    }
  }
  return asked;
}

Status Catalog::FindOlderCopies(const Saveset& saveset, std::string_view name, const EachCopy& each) {
  bool enough = false;
  return inside_->engine->Run(
      "SELECT s.uid, s.name, " + kItemColumns +
          " FROM item i JOIN saveset s ON s.id = i.saveset JOIN family f ON f.id = i.family WHERE i.key = $1 "
          "AND "
          "f.name = $2 AND s.id < $3 AND s.marked IS NULL AND s.deleting = 0 AND " +
          kItemVisible +
          " AND NOT EXISTS(SELECT 1 FROM needs n JOIN pack p ON p.id = n.pack WHERE n.saveset = i.saveset "
          "AND "
          "n.number = i.number AND p.state <> 1) AND EXISTS(SELECT 1 FROM pack p WHERE p.id = i.pack AND "
          "p.state = "
          "1) ORDER BY s.id DESC LIMIT $4",
      {ItemKey(name), saveset.database, saveset.id, kCopiesLookedAt}, [&](const SqlRow& row) {
        Uid uid;
        Item item;
        Status read = Uid::FromBytes(row.Bytes(0), uid) ? ReadItem(row, 2, inside_->repository, uid, item)
                                                        : DamagedRow("the id of a saveset");
        if (read && !enough) {
          enough = each(std::string(row.Bytes(1)), item);
        }
        return read;
      });
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
