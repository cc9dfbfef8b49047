#include "store/catalog.h"

#include "platform/platform.h"
#include "store/catalog_schema.h"
#include "store/names.h"
#include "store/sqlite.h"

namespace store {
namespace {

Status ReadNames(Statement& statement, std::vector<std::string>& names) {
  while (statement.Step()) {
    names.push_back(statement.TakeBlob());
  }
  return statement.Result();
}

constexpr std::int64_t kNanoseconds = 1000000000;

std::int64_t Nanoseconds(const platform::FileTime& time) {
  return time.seconds * kNanoseconds + time.nanoseconds;
}

platform::FileTime FromNanoseconds(std::int64_t whole) {
  const std::int64_t rest = ((whole % kNanoseconds) + kNanoseconds) % kNanoseconds;
  return {(whole - rest) / kNanoseconds, static_cast<std::uint32_t>(rest)};
}

// What `TakeItem` reads; the condition follows.
const std::string kSelectItem =
    "SELECT name, kind, inside, link, size, modified, mode, owner, owner_group, sparse, position, hash "
    "FROM item WHERE saveset = ? AND ";

Item TakeItem(Statement& statement) {
  Item item;
  item.name = statement.TakeBlob();
  item.kind = static_cast<ItemKind>(statement.TakeNumber());
  item.inside = statement.TakeNumber() != 0;
  item.link = statement.TakeBlob();
  item.facts.size = static_cast<std::uint64_t>(statement.TakeNumber());
  item.facts.modified = FromNanoseconds(statement.TakeNumber());
  item.facts.mode = static_cast<std::uint32_t>(statement.TakeNumber());
  item.facts.owner = static_cast<std::uint32_t>(statement.TakeNumber());
  item.facts.group = static_cast<std::uint32_t>(statement.TakeNumber());
  item.facts.sparse = statement.TakeNumber() != 0;
  item.position = static_cast<std::uint64_t>(statement.TakeNumber());
  item.hash = statement.TakeBlob();
  return item;
}

bool LiesIn(std::string_view item, const std::string& directory) {
  return ItemKey(item).starts_with(platform::FoldName(directory + '/'));
}

// Which of the directories that the item lies in bears the key, or is shown by it.
std::string DirectoryShownAs(std::string_view item, const std::string& key) {
  std::string_view directory = ParentOf(item);
  while (!directory.empty() && ItemKey(directory) != key && ItemKey(ListedName(directory)) != key) {
    directory = ParentOf(directory);
  }
  return std::string(directory);
}

}  // namespace

struct Catalog::Engine {
  Database database;
};

Catalog::Catalog() : engine_(std::make_unique<Engine>()) {}
Catalog::~Catalog() = default;

Status Catalog::Open(const std::string& path, Access access) {
  return OpenCatalog(engine_->database, path, access);
}

Status Catalog::AddSession(Mode mode, std::string_view client, std::int64_t& id) {
  Statement statement(engine_->database, "INSERT INTO session(mode, client, opened) VALUES(?, ?, ?)");
  Status added = statement.Number(static_cast<int>(mode)).Blob(client).Number(platform::Time32()).Run();
  id = engine_->database.LastRow();
  return added;
}

Status Catalog::FindSession(std::int64_t id, std::optional<Session>& session) {
  Statement statement(engine_->database, "SELECT mode, closed FROM session WHERE id = ?");
  if (statement.Number(id).Step()) {
    session = Session{id, static_cast<Mode>(statement.TakeNumber()), !statement.IsNull(1)};
  }
  return statement.Result();
}

Status Catalog::CloseSession(std::int64_t id, State state) {
  Transaction transaction(engine_->database);
  if (!transaction.Begun()) {
    return transaction.Begun();
  }
  Statement session(engine_->database, "UPDATE session SET closed = ?, state = ? WHERE id = ?");
  if (Status closed = session.Number(platform::Time32()).Number(static_cast<int>(state)).Number(id).Run();
      !closed) {
    return closed;
  }
  // A job that its caller never closed says nothing about its saveset; it is only no longer open.
  Statement jobs(engine_->database, "UPDATE job SET closed = ? WHERE session = ? AND closed IS NULL");
  if (Status closed = jobs.Number(platform::Time32()).Number(id).Run(); !closed) {
    return closed;
  }
  return transaction.Commit();
}

Status Catalog::AddSaveset(std::string_view proposed, std::string_view database, Saveset& saveset) {
  Transaction transaction(engine_->database);
  if (!transaction.Begun()) {
    return transaction.Begun();
  }
  saveset.name = proposed;
  saveset.database = database;
  for (int number = 2;; ++number) {
    std::optional<Saveset> taken;
    if (Status found = FindSaveset(saveset.name, taken); !found) {
      return found;
    }
    if (!taken) {
      break;
    }
    saveset.name = std::string(proposed) + "_" + std::to_string(number);
  }
  if (saveset.name.size() > kSavesetNameWidth) {
    return Status::Failed("no free saveset name is left for " + std::string(proposed) +
                          ": wait a second and try again");
  }
  Statement statement(engine_->database,
                      "INSERT INTO saveset(name, database, created, mover) VALUES(?, ?, ?, 0)");
  if (Status added = statement.Blob(saveset.name).Blob(database).Number(platform::Time32()).Run(); !added) {
    return added;
  }
  saveset.id = engine_->database.LastRow();
  return transaction.Commit();
}

Status Catalog::FindSaveset(std::string_view name, std::optional<Saveset>& saveset) {
  Statement statement(engine_->database,
                      "SELECT id, database, EXISTS(SELECT 1 FROM item WHERE item.saveset = saveset.id) "
                      "FROM saveset WHERE name = ?");
  if (statement.Blob(name).Step()) {
    saveset.emplace();
    saveset->name = name;
    saveset->id = statement.TakeNumber();
    saveset->database = statement.TakeBlob();
    saveset->hasItems = statement.TakeNumber() != 0;
  }
  return statement.Result();
}

Status Catalog::ClaimSaveset(std::int64_t saveset, bool& claimed) {
  Statement statement(engine_->database, "UPDATE saveset SET mover = 1 WHERE id = ? AND mover = 0");
  Status updated = statement.Number(saveset).Run();
  claimed = updated && engine_->database.ChangedRows() == 1;
  return updated;
}

Status Catalog::EndSaveset(std::int64_t saveset, Mover mover) {
  Statement statement(engine_->database, "UPDATE saveset SET mover = ? WHERE id = ?");
  return statement.Number(static_cast<int>(mover)).Number(saveset).Run();
}

Status Catalog::AddJob(const NewJob& job) {
  Statement statement(engine_->database,
                      "INSERT INTO job(session, saveset, mode, name, pool, opened) VALUES(?, ?, ?, ?, ?, ?)");
  statement.Number(job.session).Number(job.saveset).Number(static_cast<int>(job.mode));
  return statement.Blob(job.name).Blob(job.pool).Number(platform::Time32()).Run();
}

Status Catalog::HasOpenJob(std::int64_t saveset, Mode mode, bool& open) {
  Statement statement(engine_->database,
                      "SELECT 1 FROM job WHERE saveset = ? AND mode = ? AND closed IS NULL");
  open = statement.Number(saveset).Number(static_cast<int>(mode)).Step();
  return statement.Result();
}

Status Catalog::CloseJob(std::int64_t session, std::int64_t saveset, State state, bool& found) {
  Statement statement(engine_->database,
                      "UPDATE job SET closed = ?, state = ? WHERE id = (SELECT max(id) FROM job "
                      "WHERE session = ? AND saveset = ? AND closed IS NULL)");
  statement.Number(platform::Time32()).Number(static_cast<int>(state));
  Status closed = statement.Number(session).Number(saveset).Run();
  found = closed && engine_->database.ChangedRows() == 1;
  return closed;
}

Status Catalog::AddItems(std::int64_t saveset, const std::vector<Item>& items) {
  Transaction transaction(engine_->database);
  if (!transaction.Begun()) {
    return transaction.Begun();
  }
  Statement statement(
      engine_->database,
      "INSERT OR IGNORE INTO item(saveset, name, key, kind, inside, link, size, modified, mode, owner, "
      "owner_group, sparse, position, hash, listed) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  for (const Item& item : items) {
    const platform::FileFacts& facts = item.facts;
    statement.Reset();
    statement.Number(saveset).Blob(item.name).Blob(ItemKey(item.name));
    statement.Number(static_cast<int>(item.kind)).Number(item.inside ? 1 : 0).Blob(item.link);
    statement.Number(static_cast<std::int64_t>(facts.size))
        .Number(Nanoseconds(facts.modified))
        .Number(facts.mode);
    statement.Number(facts.owner).Number(facts.group).Number(facts.sparse ? 1 : 0);
    statement.Number(static_cast<std::int64_t>(item.position)).Blob(item.hash);
    if (item.name.find(' ') == std::string::npos) {
      statement.Null();
    } else {
      statement.Blob(ItemKey(ListedName(item.name)));
    }
    if (Status added = statement.Run(); !added) {
      return added;
    }
  }
  return transaction.Commit();
}

Status Catalog::FindItem(std::int64_t saveset, std::string_view asked, std::optional<Item>& item) {
  for (const char* condition : {"key = ?", "listed = ? ORDER BY id LIMIT 1"}) {
    Statement statement(engine_->database, (kSelectItem + condition).c_str());
    if (statement.Number(saveset).Blob(ItemKey(asked)).Step()) {
      item = TakeItem(statement);
      return {};
    }
    if (Status result = statement.Result(); !result) {
      return result;
    }
  }
  return {};
}

Status Catalog::FindItemsIn(std::int64_t saveset, std::string_view asked, std::string& directory,
                            std::vector<Item>& items) {
  const std::string key = ItemKey(asked);
  // Everything that begins with the name and a separator stands between these two.
  const std::string first = platform::FoldName(key + '/');
  std::string behind = first;
  ++behind.back();
  items.clear();
  for (const char* condition :
       {"key > ? AND key < ? ORDER BY key", "listed > ? AND listed < ? ORDER BY key"}) {
    Statement statement(engine_->database, (kSelectItem + condition).c_str());
    statement.Number(saveset).Blob(first).Blob(behind);
    while (!key.empty() && statement.Step()) {
      items.push_back(TakeItem(statement));
    }
    if (Status result = statement.Result(); !result || !items.empty()) {
      directory = items.empty() ? std::string() : DirectoryShownAs(items.front().name, key);
      std::erase_if(items, [&directory](const Item& item) { return !LiesIn(item.name, directory); });
      return result;
    }
  }
  return {};
}

Status Catalog::ListSavesets(std::string_view database, std::vector<std::string>& names) {
  Statement statement(engine_->database,
                      "SELECT name FROM saveset WHERE database = ? AND "
                      "EXISTS(SELECT 1 FROM item WHERE item.saveset = saveset.id) ORDER BY id DESC");
  return ReadNames(statement.Blob(database), names);
}

Status Catalog::ListSavesetsWith(std::string_view database, std::string_view file,
                                 std::vector<std::string>& names) {
  Statement statement(
      engine_->database,
      "SELECT saveset.name FROM (SELECT saveset AS id, 0 AS shown FROM item WHERE key = ?1 UNION ALL "
      "SELECT saveset, 1 FROM item WHERE listed = ?1) AS holder JOIN saveset ON saveset.id = holder.id "
      "WHERE database = ?2 GROUP BY saveset.id ORDER BY min(shown), "
      "mover = 2 AND EXISTS(SELECT 1 FROM job WHERE job.saveset = saveset.id AND mode = 0 AND state = 3), "
      "saveset.id DESC");
  return ReadNames(statement.Blob(ItemKey(file)).Blob(database), names);
}

Status Catalog::ListItems(std::int64_t saveset, std::vector<std::string>& names) {
  Statement statement(engine_->database, "SELECT name FROM item WHERE saveset = ? ORDER BY id");
  return ReadNames(statement.Number(saveset), names);
}

}  // namespace store
