// What a check of the repository asks the catalog.
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

constexpr int kPortion = 500;

// Savesets whose numbers do not agree with their items.
const std::string kWrongCounts =
    "SELECT s.name FROM saveset s WHERE s.deleting = 0 AND s.mover <> 1 AND (s.items <> (SELECT count(*) "
    "FROM "
    "item i WHERE i.saveset = s.id AND i.directory = 0) OR s.bytes <> coalesce((SELECT sum(i.size) FROM item "
    "i "
    "WHERE i.saveset = s.id AND i.kind = 0), 0))";

const std::string kSelectPacks =
    "SELECT p.uid, s.uid, p.size, p.state, p.checked FROM pack p LEFT JOIN saveset s ON s.id = p.saveset "
    "WHERE "
    "p.state IN (1, 2)";

Status ReadPackFacts(const SqlRow& row, PackFacts& pack) {
  pack.size = static_cast<std::uint64_t>(row.Number(2));
  pack.damaged = row.Number(3) == static_cast<int>(PackState::kDamaged);
  pack.checked = row.IsNull(4) ? std::nullopt : std::optional(row.Number(4));
  const bool good = row.IsNull(1) || Uid::FromBytes(row.Bytes(1), pack.saveset);
  return good && Uid::FromBytes(row.Bytes(0), pack.uid) ? Status() : DamagedRow("the id of a pack");
}

// The item after which the next portion begins.
struct Place {
  std::int64_t saveset = 0;
  std::int64_t number = 0;
};

// The next items of the pack with this number; `from` chooses the rows.
Status ReadPortion(Catalog::Inside& inside, std::int64_t pack, const std::string& from, Place& place,
                   std::vector<Catalog::PackItem>& items) {
  items.clear();
  const std::string text = "SELECT s.uid, s.name, i.saveset, " + kItemColumns + from +
                           " JOIN saveset s ON s.id = i.saveset WHERE s.deleting = 0 AND ";
  const auto take = [&](const SqlRow& row) {
    Catalog::PackItem& item = items.emplace_back();
    if (!Uid::FromBytes(row.Bytes(0), item.saveset)) {
      return DamagedRow("the id of a saveset");
    }
    item.savesetName = row.Bytes(1);
    place = {row.Number(2), row.Number(3)};
    item.record = row.Bytes(3 + kItemColumnCount - 1);
    return ReadItem(row, 3, inside.repository, item.saveset, item.item);
  };
  const bool own = from.find("needs") == std::string::npos;
  const std::string row = own ? "i" : "n";
  return inside.engine->Run(text + row + ".pack = $1 AND (" + row + ".saveset, " + row +
                                ".number) > ($2, $3) ORDER BY " + row + ".saveset, " + row +
                                ".number LIMIT $4",
                            {pack, place.saveset, place.number, kPortion}, take);
}

Status ListThem(Catalog::Inside& inside, std::int64_t pack, const std::string& from,
                const Catalog::EachPackItem& each) {
  Place place;
  std::vector<Catalog::PackItem> items;
  do {
    if (Status read = ReadPortion(inside, pack, from, place, items); !read) {
      return read;
    }
    for (const Catalog::PackItem& item : items) {
      if (Status done = each(item); !done) {
        return done;
      }
    }
  } while (items.size() == kPortion);
  return {};
}

// Directories that are whole must have as many items as their records say.
Status CheckDirectories(Catalog::Inside& inside, const std::function<void(const std::string&)>& tell) {
  return inside.engine->Run(
      "SELECT s.uid, s.name, (SELECT count(*) FROM item e WHERE e.saveset = i.saveset AND e.directory = "
      "i.number), " +
          kItemColumns +
          " FROM saveset s JOIN item i ON i.saveset = s.id WHERE s.deleting = 0 AND i.kind = 1 AND "
          "i.directory = 0",
      {}, [&](const SqlRow& row) {
        Uid saveset;
        (void)Uid::FromBytes(row.Bytes(0), saveset);
        Item item;
        if (Status read = ReadItem(row, 3, inside.repository, saveset, item); !read) {
          return read;
        }
        if (Unsigned(item.entries).Number() != row.Number(2)) {
          tell("the catalog has " + std::to_string(row.Number(2)) + " of the " +
               std::to_string(item.entries) + " entries of directory " + item.name + " in saveset " +
               std::string(row.Bytes(1)));
        }
        return Status();
      });
}

}  // namespace

Status Catalog::CheckWhole(const std::function<void(const std::string&)>& tell) {
  if (Status checked = inside_->engine->CheckWhole(tell); !checked) {
    return checked;
  }
  if (Status counted = inside_->engine->Run(kWrongCounts, {},
                                            [&tell](const SqlRow& row) {
                                              tell("the catalog has not as many items of saveset " +
                                                   std::string(row.Bytes(0)) + " as it says");
                                              return Status();
                                            });
      !counted) {
    return counted;
  }
  if (Status checked = CheckDirectories(*inside_, tell); !checked) {
    return checked;
  }
  // Compares each row with its hash.
  return ListAllSavesets([this](const Saveset& saveset) {
    return ListRecords(saveset, [](const ItemRecord& /*record*/) { return Status(); });
  });
}

Status Catalog::FindRepositoryObject(std::string& object) {
  object.clear();
  bool made = false;
  Status looked = inside_->engine->HasTable("founding", made);
  if (!looked || !made) {
    return looked;
  }
  return inside_->engine->Run("SELECT object FROM founding WHERE number = 1", {},
                              [&object](const SqlRow& row) {
                                object = row.Bytes(0);
                                return Status();
                              });
}

Status Catalog::FindClosedState(std::int64_t saveset, std::optional<State>& state) {
  std::optional<std::int64_t> number;
  Status found = inside_->FindNumber(
      "SELECT state FROM job WHERE saveset = $1 AND mode = 0 AND state IS NOT NULL ORDER BY id DESC LIMIT 1",
      {saveset}, number);
  state = number ? std::optional(static_cast<State>(*number)) : std::nullopt;
  return found;
}

Status Catalog::ListPacks(std::vector<PackFacts>& packs) {
  packs.clear();
  return inside_->engine->Run(kSelectPacks + " ORDER BY coalesce(p.checked, 0), p.id", {},
                              [&](const SqlRow& row) { return ReadPackFacts(row, packs.emplace_back()); });
}

Status Catalog::FindPackFacts(const Uid& uid, std::optional<PackFacts>& pack) {
  pack.reset();
  return inside_->engine->Run(kSelectPacks + " AND p.uid = $1", {uid.Bytes()},
                              [&](const SqlRow& row) { return ReadPackFacts(row, pack.emplace()); });
}

Status Catalog::KnowsSaveset(const Uid& uid, bool& known) {
  return inside_->Exists(
      "SELECT 1 FROM saveset WHERE uid = $1 UNION ALL SELECT 1 FROM deleted WHERE uid = $1 LIMIT 1",
      {uid.Bytes()}, known);
}

Status Catalog::KnowsPack(const Uid& uid, bool& known) {
  return inside_->Exists("SELECT id FROM pack WHERE uid = $1", {uid.Bytes()}, known);
}

Status Catalog::ListPacksOf(const Saveset& saveset, std::vector<Uid>& packs) {
  packs.clear();
  return inside_->ListUids(
      "SELECT p.uid FROM pack p WHERE p.id IN (SELECT i.pack FROM item i WHERE i.saveset = $1 UNION SELECT "
      "n.pack "
      "FROM needs n WHERE n.saveset = $1) ORDER BY p.id",
      {saveset.id}, packs);
}

Status Catalog::ListItemsOfPack(const Uid& pack, bool own, const EachPackItem& each) {
  std::optional<std::int64_t> id;
  if (Status found = inside_->FindNumber("SELECT id FROM pack WHERE uid = $1", {pack.Bytes()}, id);
      !found || !id) {
    return found;
  }
  Status listed = ListThem(*inside_, *id, " FROM item i", each);
  return !listed || own
             ? listed
             : ListThem(*inside_, *id,
                        " FROM needs n JOIN item i ON i.saveset = n.saveset AND i.number = n.number", each);
}

Status Catalog::HasItem(const Uid& saveset, std::uint64_t number, std::string_view name, bool& has) {
  return inside_->Exists(
      "SELECT 1 FROM saveset s JOIN item i ON i.saveset = s.id WHERE s.uid = $1 AND (i.number = $2 OR i.key "
      "= "
      "$3) LIMIT 1",
      {saveset.Bytes(), Unsigned(number), ItemKey(name)}, has);
}

Status Catalog::ListDamagedPacks(std::vector<PackFacts>& packs) {
  packs.clear();
  return inside_->engine->Run(
      kSelectPacks + " AND p.state = 2 AND p.state <> 1", {},
      [&packs](const SqlRow& row) { return ReadPackFacts(row, packs.emplace_back()); });
}

Status Catalog::NoteChecked(const std::vector<Uid>& packs, bool mended) {
  return inside_->Transact([&] {
    std::int64_t now = 0;
    Status done = Now(now);
    for (auto pack = packs.begin(); done && pack != packs.end(); ++pack) {
      done = inside_->Run(
          "UPDATE pack SET checked = $1, state = CASE WHEN $2 = 1 THEN 1 ELSE state END WHERE uid "
          "= $3 AND state IN (1, 2)",
          {now, mended, pack->Bytes()});
    }
    return done;
  });
}

}  // namespace store
