#include "store/catalog_schema.h"

#include "platform/data_file.h"
#include "platform/platform.h"

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

}  // namespace

Status OpenCatalog(Database& database, const std::string& path, Catalog::Access access) {
  std::string why;
  if (!platform::Exists(path)) {
    if (access == Catalog::Access::kMustExist) {
      return Status::Failed("there is no catalog: nothing has been backed up to this repository yet");
    }
    // Made here for its access rights, which the engine's other files take over.
    if (platform::DataFile::CreateNew(path, why) == nullptr && !platform::Exists(path)) {
      return Status::Failed("the catalog cannot be made: " + why);
    }
  }
  if (Status opened = database.Open(platform::NativePath(path), kBusyMilliseconds); !opened) {
    return opened;
  }
  std::int64_t version = 0;
  if (Status checked = CheckVersion(database, version); !checked) {
    return checked;
  }
  if (version == 0) {
    if (access == Catalog::Access::kMustExist) {
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

}  // namespace store
