#include "store/catalog.h"

#include "platform/platform.h"
#include "store/names.h"
#include "store/sqlite.h"

namespace store {
namespace {

constexpr int kSchemaVersion = 2;
constexpr int kBusyMilliseconds = 60000;
constexpr int kRetryMilliseconds = 20;

constexpr const char* kSchema = R"sql(
CREATE TABLE session(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  mode INTEGER NOT NULL,
  client BLOB NOT NULL,
  opened INTEGER NOT NULL,
  closed INTEGER,
  state INTEGER);
CREATE TABLE saveset(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  name BLOB NOT NULL UNIQUE,
  database BLOB NOT NULL,
  created INTEGER NOT NULL,
  mover INTEGER NOT NULL);
CREATE TABLE job(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  session INTEGER NOT NULL REFERENCES session(id),
  saveset INTEGER NOT NULL REFERENCES saveset(id),
  mode INTEGER NOT NULL,
  name BLOB NOT NULL,
  pool BLOB NOT NULL,
  opened INTEGER NOT NULL,
  closed INTEGER,
  state INTEGER);
CREATE INDEX job_of_saveset ON job(saveset);
CREATE INDEX job_of_session ON job(session);
CREATE TABLE item(
  id INTEGER PRIMARY KEY,
  saveset INTEGER NOT NULL REFERENCES saveset(id),
  name BLOB NOT NULL,
  key BLOB NOT NULL,
  listed BLOB,
  kind INTEGER NOT NULL,
  inside INTEGER NOT NULL,
  link BLOB NOT NULL,
  size INTEGER NOT NULL,
  modified INTEGER NOT NULL,
  mode INTEGER NOT NULL,
  owner INTEGER NOT NULL,
  owner_group INTEGER NOT NULL,
  sparse INTEGER NOT NULL,
  position INTEGER NOT NULL,
  hash BLOB NOT NULL);
CREATE UNIQUE INDEX item_of_saveset ON item(saveset, key);
CREATE INDEX item_by_key ON item(key);
CREATE INDEX item_by_listed ON item(listed) WHERE listed IS NOT NULL;
PRAGMA user_version = 2;
)sql";

Status ReadNumber(Database& database, const char* sql, std::int64_t& number) {
  Statement statement(database, sql);
  number = statement.Step() ? statement.TakeNumber() : 0;
  return statement.Result();
}

Status ReadNames(Statement& statement, std::vector<std::string>& names) {
  while (statement.Step()) {
    names.push_back(statement.TakeBlob());
  }
  return statement.Result();
}

// The switch to a write-ahead log needs the file for itself for a moment and does not wait by itself.
Status UseWriteAheadLog(Database& database) {
  Status status;
  for (int waited = 0; waited < kBusyMilliseconds; waited += kRetryMilliseconds) {
    status = database.Execute("PRAGMA journal_mode = WAL");
    if (status) {
      return status;
    }
    platform::SleepMilliseconds(kRetryMilliseconds);
  }
  return status;
}

Status MakeSchema(Database& database) {
  if (Status log = UseWriteAheadLog(database); !log) {
    return log;
  }
  Transaction transaction(database);
  if (!transaction.Begun()) {
    return transaction.Begun();
  }
  // Another process may have been first.
  std::int64_t version = 0;
  if (Status read = ReadNumber(database, "PRAGMA user_version", version); !read) {
    return read;
  }
  if (version == 0) {
    if (Status made = database.Execute(kSchema); !made) {
      return made;
    }
  }
  return transaction.Commit();
}

Status CheckVersion(Database& database, std::int64_t& version) {
  // The tables first: another process may be about to make them, and gives the version in the same moment.
  std::int64_t tables = 0;
  if (Status read = ReadNumber(database, "SELECT count(*) FROM sqlite_master", tables); !read) {
    return read;
  }
  if (Status read = ReadNumber(database, "PRAGMA user_version", version); !read) {
    return read;
  }
  if (version > kSchemaVersion) {
    return Status::Failed("the catalog was written by a newer release (schema " + std::to_string(version) +
                          "): use the tools of that release");
  }
  if (version != 0 && version < kSchemaVersion) {
    return Status::Failed("the catalog was written by an older release (schema " + std::to_string(version) +
                          "): restore from it with that release's tools, and name another repository here");
  }
  if (version == 0 && tables > 0) {
    return Status::Failed("the catalog file belongs to another program: name another repository");
  }
  return {};
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
  item.facts.modifiedNs = statement.TakeNumber();
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
  std::string why;
  if (!platform::Exists(path)) {
    if (access == Access::kMustExist) {
      return Status::Failed("there is no catalog: nothing has been backed up to this repository yet");
    }
    // Made here for its access rights, which the engine's other files take over.
    if (platform::DataFile::CreateNew(path, why) == nullptr && !platform::Exists(path)) {
      return Status::Failed("the catalog cannot be made: " + why);
    }
  }
  Database& database = engine_->database;
  if (Status opened = database.Open(platform::NativePath(path), kBusyMilliseconds); !opened) {
    return opened;
  }
  std::int64_t version = 0;
  if (Status checked = CheckVersion(database, version); !checked) {
    return checked;
  }
  if (version == 0) {
    if (access == Access::kMustExist) {
      return Status::Failed("the catalog is empty: nothing has been backed up to this repository yet");
    }
    if (Status made = MakeSchema(database); !made) {
      return made;
    }
    if (!platform::SyncDirectory(platform::DirectoryOf(path), why)) {
      return Status::Failed("the repository cannot be synchronised: " + why);
    }
  }
  return database.Execute("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON");
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
    statement.Number(static_cast<std::int64_t>(facts.size)).Number(facts.modifiedNs).Number(facts.mode);
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
