// Rows of items: what is in them, and the check that the record and the columns beside it say the same.
#include <algorithm>

#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

char LowerCase(char letter) {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool SameLetter(char a, char b) {
  const bool special = static_cast<unsigned char>(a) >= 0x80 && static_cast<unsigned char>(b) >= 0x80;
  return special || LowerCase(a) == LowerCase(b);
}

// The key may have been made by a system that treats the case of letters in another way.
bool IsKeyOf(std::string_view key, const std::string& name) {
  const std::string expected = ItemKey(name);
  return std::equal(key.begin(), key.end(), expected.begin(), expected.end(), SameLetter);
}

bool IsListedKeyOf(const SqlRow& row, int column, const std::string& name) {
  if (name.find(' ') == std::string::npos) {
    return row.IsNull(column);
  }
  return !row.IsNull(column) && IsKeyOf(row.Bytes(column), ListedName(name));
}

}  // namespace

std::optional<std::string> ListedKey(std::string_view name) {
  if (name.find(' ') == std::string_view::npos) {
    return std::nullopt;
  }
  return ItemKey(ListedName(name));
}

Status ReadItem(const SqlRow& row, int first, const Uid& repository, const Uid& saveset, Item& item) {
  item = {};
  if (Status decoded = DecodeRecord(row.Bytes(first + 7), repository, saveset, item); !decoded) {
    return decoded.What() == Status::Kind::kDamaged
               ? DamagedRow("the record of item " + std::to_string(row.Number(first)))
               : decoded;
  }
  const bool same = Unsigned(item.number).Number() == row.Number(first) &&
                    IsKeyOf(row.Bytes(first + 1), item.name) && IsListedKeyOf(row, first + 2, item.name) &&
                    static_cast<std::int64_t>(item.kind) == row.Number(first + 3) &&
                    Unsigned(item.directory).Number() == row.Number(first + 4) &&
                    Unsigned(item.facts.size).Number() == row.Number(first + 5) &&
                    item.stored == row.Number(first + 6);
  return same ? Status() : DamagedRow("the row of item " + std::to_string(row.Number(first)));
}

Status Catalog::Inside::AddItem(std::int64_t saveset, std::int64_t family, const Item& item,
                                std::string_view record, std::int64_t recordPack,
                                std::vector<std::int64_t> packs) {
  const std::string key = ItemKey(item.name);
  const std::optional<std::string> listed = ListedKey(item.name);
  if (Status added =
          Run("INSERT INTO item(saveset, number, family, key, listed, kind, directory, size, stored, "
              "pack, record) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11)",
              {saveset, Unsigned(item.number), family, key, listed ? SqlValue(*listed) : SqlValue(nullptr),
               static_cast<std::int64_t>(item.kind), Unsigned(item.directory), Unsigned(item.facts.size),
               item.stored, recordPack, record});
      !added) {
    return added;
  }
  std::sort(packs.begin(), packs.end());
  packs.erase(std::unique(packs.begin(), packs.end()), packs.end());
  for (const std::int64_t pack : packs) {
    if (pack == recordPack) {
      continue;
    }
    if (Status added = Run("INSERT INTO needs(saveset, number, pack) VALUES($1, $2, $3)",
                           {saveset, Unsigned(item.number), pack});
        !added) {
      return added;
    }
  }
  return {};
}

Status Catalog::Inside::CountItems(const Uid& saveset) {
  return Run(
      "UPDATE saveset SET items = (SELECT count(*) FROM item WHERE item.saveset = saveset.id AND "
      "item.directory = 0), bytes = coalesce((SELECT sum(size) FROM item WHERE item.saveset = saveset.id AND "
      "item.kind = 0), 0) WHERE uid = $1",
      {saveset.Bytes()});
}

}  // namespace store
