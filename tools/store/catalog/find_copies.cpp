// Finding the last copies of files, and the items or copies of many names at once.
#include <algorithm>

#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

// So many of a file's last copies are searched for one that can be referred to.
constexpr int kCopiesLookedAt = 32;

// The index alone answers this.
const std::string kLastCopies =
    "SELECT saveset, number FROM item WHERE key = $1 AND family = (SELECT family FROM saveset WHERE id = $2) "
    "ORDER BY saveset DESC LIMIT $3";

// The columns of a copy: whether it can be referred to, then what `TakeCopy` reads. `oldest` is the name of
// the parameter. The saveset was withdrawn if its job was closed as failed although the mover had ended well.
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
// Nearly always this copy is good. If it is not there, there is no copy at all.
const std::string kLastCopy =
    kSelectCopy +
    "(i.saveset, i.number) = (SELECT saveset, number FROM item WHERE key = $1 AND "
    "family = (SELECT family FROM saveset WHERE id = $2) ORDER BY saveset DESC LIMIT 1)";

// Questions about many names at once: `asked(place, key)` has each name with its place among them. The
// engines are told the order of the work: each name is looked up in the index, then its item by its primary
// key.
const std::string kSaveset = "$" + std::to_string(Catalog::kNamesAtOnce + 1);
const std::string kOldest = "$" + std::to_string(Catalog::kNamesAtOnce + 2);

std::string WithAsked() {
  std::string names;
  for (std::size_t place = 0; place < Catalog::kNamesAtOnce; ++place) {
    names += (place == 0 ? "(" : ", (") + std::to_string(place) + ", $" + std::to_string(place + 1) + ")";
  }
  return "WITH asked(place, key) AS (VALUES " + names + "), ";
}

std::string LastCopiesOfNames() {
  const auto lastCopys = [](const std::string& column) {
    return "(SELECT e." + column +
           " FROM item e WHERE e.key = a.key AND e.family = (SELECT family FROM saveset " +
           "WHERE id = " + kSaveset + ") ORDER BY e.saveset DESC LIMIT 1)";
  };
  return WithAsked() + "last(place, saveset, number) AS MATERIALIZED (SELECT a.place, " +
         lastCopys("saveset") + ", " + lastCopys("number") + " FROM asked a) SELECT " + CopyColumns(kOldest) +
         ", l.place FROM last l CROSS JOIN item i CROSS JOIN saveset s WHERE i.saveset = l.saveset AND "
         "i.number = l.number AND s.id = i.saveset";
}
const std::string kLastCopiesOfNames = LastCopiesOfNames();

// Of several items with one name the first counts.
const std::string kItemsOfNames =
    WithAsked() +
    "first(place, number) AS MATERIALIZED (SELECT a.place, (SELECT i.number FROM item i WHERE " +
    "i.saveset = " + kSaveset + " AND i.key >= a.key AND i.key <= a.key AND " + kItemVisible +
    " ORDER BY i.key, i.number LIMIT 1) FROM asked a) SELECT " + kItemColumns +
    ", f.place FROM first f CROSS JOIN item i WHERE i.saveset = " + kSaveset + " AND i.number = f.number";

// The values of such a question: the keys of the names, and in the places that are left empty keys, which no
// item has.
std::vector<SqlValue> AskedKeys(const std::vector<std::string>& keys) {
  std::vector<SqlValue> values(keys.begin(), keys.end());
  values.resize(Catalog::kNamesAtOnce, "");
  return values;
}

std::vector<std::string> KeysOf(const std::vector<std::string>& names) {
  std::vector<std::string> keys(std::min(names.size(), Catalog::kNamesAtOnce));
  std::transform(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(keys.size()), keys.begin(),
                 ItemKey);
  return keys;
}

// `item` stays empty if the copy cannot be referred to.
Status TakeCopy(const SqlRow& row, const Uid& repository, std::optional<Item>& item, Uid& itsSaveset) {
  if (row.Number(0) == 0) {
    return {};
  }
  return Uid::FromBytes(row.Bytes(1), itsSaveset) ? ReadItem(row, 2, repository, itsSaveset, item.emplace())
                                                  : DamagedRow("the id of a saveset");
}

}  // namespace

Status Catalog::FindItems(const Saveset& saveset, const std::vector<std::string>& names, Items& items) {
  const std::vector<std::string> keys = KeysOf(names);
  std::vector<SqlValue> values = AskedKeys(keys);
  values.emplace_back(saveset.id);
  return inside_->engine->Run(kItemsOfNames, values, [&](const SqlRow& row) {
    const auto place = static_cast<std::size_t>(row.Number(kItemColumnCount));
    return place < keys.size() ? ReadItem(row, 0, inside_->repository, saveset.uid, items[names[place]])
                               : Status();
  });
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
  const std::vector<std::string> keys = KeysOf(names);
  const std::size_t count = keys.size();
  std::vector<SqlValue> values = AskedKeys(keys);
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
    // If the last copy is of no use, an older one may be.
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
          "n.number = i.number AND p.state <> 1" +
          kForEachRow + " AND EXISTS(SELECT 1 FROM pack p WHERE p.id = i.pack AND p.state = 1" + kForEachRow +
          " ORDER BY s.id DESC LIMIT $4",
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

}  // namespace store
