// Copies of a file in all savesets, by its name or by a pattern.
#include "store/catalog/catalog_inside.h"
#include "store/names.h"

namespace store {
namespace {

// How many names one statement looks at. Those of them that match are kept.
constexpr int kPortion = 5000;

// Searches column `key` or `listed`. The index of each has the number behind the name, so no rows are read.
struct Search {
  std::string column;
  std::string pattern;         // as a key
  std::string windowsPattern;  // the same for keys of Windows paths, which have no letters in lower case
  std::string first;           // all that matches begins with this
  bool exact = false;

  [[nodiscard]] bool Matches(std::string_view key) const {
    const bool windows = IsWindowsPath(key) || key.starts_with("//");
    return exact || MatchesPattern(key, pattern) || (windows && MatchesPattern(key, windowsPattern));
  }
};

Search SearchFor(std::string_view pattern, const std::string& column) {
  Search search;
  search.column = column;
  search.pattern = ItemKey(pattern);
  search.windowsPattern = ItemKey("C:/x" + std::string(pattern)).substr(4);
  search.first = search.pattern.substr(0, search.pattern.find_first_of("*?"));
  search.exact = search.first == search.pattern;
  // `d*` and `d:*` may stand for a drive, whose letter is in upper case in a key.
  if (!search.exact && search.first.size() <= 2 && !search.first.starts_with('/')) {
    search.first.clear();
  }
  return search;
}

struct Position {
  std::string key;
  std::int64_t number = 0;
};

// The items of the next portion that match, in the order of their names; of several with one name only the
// first. `more` is false after the last portion.
Status ReadMatches(Catalog::Inside& inside, std::int64_t saveset, const Search& search, Position& last,
                   std::vector<std::int64_t>& numbers, bool& more) {
  const std::string& c = search.column;
  const std::string end = search.exact ? " AND i." + c + " <= $2" : "";
  std::string previous = last.key;
  bool any = last.number != 0;
  std::int64_t rows = 0;
  numbers.clear();
  more = true;
  Status read = inside.engine->Run(
      "SELECT i." + c + ", i.number FROM item i WHERE i.saveset = $1 AND i." + c + " >= $2" + end +
          " AND (i." + c + " > $2 OR i.number > $3) ORDER BY i." + c + ", i.number LIMIT $4",
      {saveset, last.number == 0 ? search.first : last.key, last.number, kPortion}, [&](const SqlRow& row) {
        ++rows;
        const std::string_view key = row.Bytes(0);
        if (!key.starts_with(search.first)) {
          more = false;
          return Status();
        }
        if ((!any || key != previous) && search.Matches(key)) {
          numbers.push_back(row.Number(1));
        }
        any = true;
        previous = key;
        last.number = row.Number(1);
        return Status();
      });
  last.key = previous;
  more = more && rows == kPortion;
  return read;
}

Status HandOut(Catalog::Inside& inside, const Saveset& saveset, const std::vector<std::int64_t>& numbers,
               const Catalog::EachFound& each, bool& found) {
  static const std::string text =
      "SELECT " + kItemColumns +
      ", CASE WHEN EXISTS(SELECT 1 FROM pack p WHERE p.id = i.pack AND p.state <> 1) OR EXISTS(SELECT 1 FROM "
      "needs n JOIN pack p ON p.id = n.pack WHERE n.saveset = i.saveset AND n.number = i.number AND p.state "
      "<> "
      "1) THEN 1 ELSE 0 END FROM item i WHERE i.saveset = $1 AND i.number = $2 AND " +
      kItemVisible;
  for (const std::int64_t number : numbers) {
    std::optional<Item> item;
    bool damaged = false;
    if (Status read = inside.engine->Run(text, {saveset.id, number},
                                         [&](const SqlRow& row) {
                                           damaged = row.Number(kItemColumnCount) != 0;
                                           return ReadItem(row, 0, inside.repository, saveset.uid,
                                                           item.emplace());
                                         });
        !read) {
      return read;
    }
    if (item) {
      found = true;
      if (Status done = each(saveset, *item, damaged); !done) {
        return done;
      }
    }
  }
  return {};
}

Status FindIn(Catalog::Inside& inside, const Saveset& saveset, const Search& search,
              const Catalog::EachFound& each, bool& found) {
  Position last;
  std::vector<std::int64_t> numbers;
  bool more = true;
  while (more) {
    if (Status read = ReadMatches(inside, saveset.id, search, last, numbers, more); !read) {
      return read;
    }
    if (Status done = HandOut(inside, saveset, numbers, each, found); !done) {
      return done;
    }
  }
  return {};
}

}  // namespace

Status Catalog::FindCopies(std::string_view pattern, const EachFound& each) {
  std::vector<Saveset> savesets;
  if (Status listed = ListAllSavesets([&savesets](const Saveset& saveset) {
        savesets.push_back(saveset);
        return Status();
      });
      !listed) {
    return listed;
  }
  bool found = false;
  for (const char* column : {"key", "listed"}) {
    const Search search = SearchFor(pattern, column);
    for (const Saveset& saveset : savesets) {
      if (Status done = FindIn(*inside_, saveset, search, each, found); !done) {
        return done;
      }
    }
    if (found || !search.exact) {
      break;
    }
  }
  return {};
}

}  // namespace store
