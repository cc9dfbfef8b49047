#include "store/catalog_home.h"

#include <algorithm>
#include <array>

#include "platform/data_file.h"
#include "platform/open_files.h"
#include "platform/platform.h"
#include "store/catalog/postgres_engine.h"
#include "store/catalog/schema.h"
#include "store/repository_place.h"

namespace store {
namespace {

// ---- A file beside the objects ---------------------------------------------------------------

// The endings of the files that the engine may keep for a catalog.
constexpr std::array<const char*, 4> kEndings = {"", "-wal", "-shm", "-journal"};

Status Rename(const std::string& from, const std::string& to) {
  std::string why;
  return platform::ReplaceFile(from, to, why)
             ? Status()
             : Status::Failed(from + " cannot be renamed to " + to + ": " + why);
}

// catalog.db has catalog.new.db beside it, and catalog.old-1.db.
std::string Beside(const std::string& catalog, const std::string& which) {
  constexpr std::string_view kEnding = ".db";
  const std::size_t end = catalog.ends_with(kEnding) ? catalog.size() - kEnding.size() : catalog.size();
  return catalog.substr(0, end) + "." + which + std::string(kEnding);
}

bool HasAnyFile(const std::string& catalog) {
  return std::any_of(kEndings.begin(), kEndings.end(),
                     [&](const char* ending) { return platform::Exists(catalog + ending); });
}

// Renames the catalog, or what is left of it, to a name that is free. A log that stayed behind without its
// catalog would be taken for the log of the new one.
Status PutFileAside(const std::string& catalog, std::string& aside) {
  if (!HasAnyFile(catalog)) {
    return {};
  }
  int number = 1;
  do {
    aside = Beside(catalog, "old-" + std::to_string(number++));
  } while (HasAnyFile(aside));
  for (const char* ending : kEndings) {
    if (platform::Exists(catalog + ending)) {
      if (Status renamed = Rename(catalog + ending, aside + ending); !renamed) {
        return renamed;
      }
    }
  }
  return {};
}

// Undoes PutFileAside, as far as the system lets it.
void PutBack(const std::string& catalog, const std::string& aside) {
  for (const char* ending : kEndings) {
    if (!aside.empty() && platform::Exists(aside + ending)) {
      Ignore(Rename(aside + ending, catalog + ending));
    }
  }
}

Status ReadState(SqlEngine& engine, std::string& state) {
  state.clear();
  return engine.Run(kSelectChanges, {"saveset", "pack"},
                    [&state](const SqlRow& row) { return ReadChanges(row, state); });
}

// No backup can change a catalog that is missing or damaged: then there is no state, and nothing to compare
// later.
Status ReadFileState(const std::string& catalog, std::string& state) {
  std::unique_ptr<SqlEngine> engine;
  Status read = OpenSqlite(catalog, MakeCatalog::kNever, engine);
  if (read) {
    read = ReadState(*engine, state);
  }
  if (!read) {
    state.clear();
  }
  return PassIfLost(read);
}

// Fails if the catalog is not as it was. Afterwards nobody changes it until `held` goes: whoever waits for
// that finds out that the file has moved. Where open files cannot be renamed, nothing is held.
Status HoldUnchanged(const std::string& catalog, const std::string& state, std::unique_ptr<SqlEngine>& held) {
  if (state.empty()) {
    return {};
  }
  std::string now;
  Status done = OpenSqlite(catalog, MakeCatalog::kNever, held);
  if (done) {
    done = held->Begin();
  }
  if (done) {
    done = ReadState(*held, now);
  }
  if (!platform::CanRenameOpenFiles()) {
    held.reset();
  }
  return !done || now == state ? done : Status::Conflict(kCatalogChanged);
}

// For a catalog that was held and has another name now: brings what is in its log into its file, and deletes
// the log.
void EndHold(const std::string& aside, std::unique_ptr<SqlEngine>& held) {
  if (held != nullptr) {
    held.reset();
    std::unique_ptr<SqlEngine> engine;
    Ignore(OpenSqlite(aside, MakeCatalog::kNever, engine));
  }
}

class FileHome : public CatalogHome {
 public:
  explicit FileHome(std::string path) : path_(std::move(path)) {}

  Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) override {
    return OpenSqlite(path_, make, engine);
  }
  void KeepRoom() override { KeepSpareRoom(path_); }
  bool GiveRoom() override { return GiveSpareRoom(path_); }
  Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) override;
  Status EndNew(std::string& aside) override;
  void DropNew() override;

 private:
  [[nodiscard]] std::string NewPath() const { return Beside(path_, "new"); }
  Status RefuseOthers(const Uid& repository) const;
  Status RemoveNew() const;

  std::string path_;
  std::unique_ptr<platform::FileClaim> claim_;  // of the program that makes a new catalog
  std::string state_;                           // of the old catalog, as it was when the new one was begun
};

Status FileHome::RemoveNew() const {
  for (const char* ending : kEndings) {
    const std::string path = NewPath() + ending;
    if (!platform::RemoveFile(path) && platform::Exists(path)) {
      return Status::Failed(path + " cannot be deleted");
    }
  }
  return {};
}

void FileHome::DropNew() {
  if (claim_ != nullptr) {
    Ignore(RemoveNew());
    GiveSpareRoom(NewPath());
    claim_.reset();
  }
}

Status FileHome::RefuseOthers(const Uid& repository) const {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  return OpenSqlite(NewPath(), MakeCatalog::kNever, engine) && IsOfAnother(*engine, repository, other)
             ? Status::Failed("the file " + NewPath() +
                              ", which is to be the new catalog, is another one's (" + other.Hex() +
                              "): let that one have another name")
             : Status();
}

Status FileHome::BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) {
  // A catalog outside the repository may have been lost together with its directory.
  std::string why;
  const std::string directory = platform::DirectoryOf(path_);
  if (!platform::MakeDirectories(directory, platform::DirectoryAccess::kPrivate, why)) {
    return Status::Failed("the directory " + directory + " cannot be made: " + why);
  }
  claim_ = platform::FileClaim::TryClaim(path_ + "-rebuild", 0);
  if (claim_ == nullptr) {
    return Status::Failed("another korvo rebuild is at work, or the file " + path_ +
                          "-rebuild cannot be made and locked: wait for its end, or look at the file");
  }
  if (Status ours = RefuseOthers(repository); !ours) {
    claim_.reset();  // nothing was begun that would have to be deleted
    return ours;
  }
  if (Status removed = RemoveNew(); !removed) {
    return removed;
  }
  if (Status read = ReadFileState(path_, state_); !read) {
    return read;
  }
  return OpenSqlite(NewPath(), MakeCatalog::kIfMissing, engine);
}

Status FileHome::EndNew(std::string& aside) {
  // These files hold changes that the new catalog would lack.
  for (const char* ending : {"-wal", "-journal"}) {
    if (platform::Exists(NewPath() + ending)) {
      return Status::NoRoom("the new catalog could not be brought to its file whole: " + NewPath() + ending +
                            " is left");
    }
  }
  std::unique_ptr<SqlEngine> held;
  if (Status unchanged = HoldUnchanged(path_, state_, held); !unchanged) {
    return unchanged;
  }
  Status exchanged = PutFileAside(path_, aside);
  if (exchanged) {
    exchanged = Rename(NewPath(), path_);
  }
  if (!exchanged) {
    PutBack(path_, aside);
    return exchanged;
  }
  EndHold(aside, held);
  GiveSpareRoom(NewPath());
  std::string why;
  return platform::SyncDirectory(platform::DirectoryOf(path_), why)
             ? Status()
             : Status::Failed("the new catalog may not outlive a power failure: " + why);
}

// ---- A schema of a database ------------------------------------------------------------------

class DatabaseHome : public CatalogHome {
 public:
  explicit DatabaseHome(const ServerConfig& config)
      : options_{config.database, config.catalogSchema, MakeCatalog::kNever}, file_(CatalogPath(config)) {}

  Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) override {
    return OpenPostgres({options_.url, options_.schema, make}, engine);
  }
  void KeepRoom() override {}
  bool GiveRoom() override { return false; }
  Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) override;
  Status EndNew(std::string& aside) override;
  // The schema stays: the next rebuild begins by deleting it.
  void DropNew() override {}

 private:
  [[nodiscard]] std::string NewSchema() const { return options_.schema + "_new"; }
  static Status DropOld(const PostgresOptions& anew, const Uid& repository);

  PostgresOptions options_;
  std::string file_;             // the file that had the catalog before, if there was one
  std::string fileState_;        // of the catalog in that file, as it was when the new one was begun
  std::string state_;            // of the old catalog in the database
  std::shared_ptr<void> claim_;  // of the program that makes a new catalog
};

// A schema without the tables of a catalog belongs to somebody else, unless it is empty.
Status DatabaseHome::DropOld(const PostgresOptions& anew, const Uid& repository) {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  Status found = OpenPostgres({anew.url, anew.schema, MakeCatalog::kNever}, engine);
  if (!found && found.What() != Status::Kind::kMissing) {
    return found;
  }
  if (found && IsOfAnother(*engine, repository, other)) {
    return Status::Failed("the schema " + anew.schema +
                          ", which is to be the new catalog, is another repository's (" + other.Hex() +
                          "): let that one have another name");
  }
  engine.reset();
  return DropPostgres(anew, static_cast<bool>(found))
      .Within("the schema " + anew.schema + ", which is to be the new catalog");
}

Status DatabaseHome::BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) {
  if (Status claimed = ClaimPostgres(options_, claim_); !claimed) {
    return claimed;
  }
  Status read = ReadPostgresState(options_, state_);
  if (!read) {
    state_.clear();
  }
  const PostgresOptions anew = {options_.url, NewSchema(), MakeCatalog::kIfMissing};
  Status done = PassIfLost(read);
  // Programs with the configuration of before use the file until it is put aside.
  if (done && state_ == kNoCatalog && HasAnyFile(file_)) {
    done = ReadFileState(file_, fileState_);
  }
  if (done) {
    done = DropOld(anew, repository);
  }
  if (done) {
    done = OpenPostgres(anew, engine);
  }
  // Between two rows the rebuild reads packs, perhaps from a bucket.
  return done ? engine->Run("SET idle_in_transaction_session_timeout = '1h'", {}) : done;
}

Status DatabaseHome::EndNew(std::string& aside) {
  std::unique_ptr<SqlEngine> held;
  if (Status unchanged = HoldUnchanged(file_, fileState_, held); !unchanged) {
    return unchanged;
  }
  if (Status exchanged = ExchangePostgres(options_, NewSchema(), state_, aside); !exchanged) {
    return exchanged;
  }
  if (!aside.empty()) {
    aside = TellPostgres({options_.url, aside, MakeCatalog::kNever});
    return {};
  }
  // Until now the catalog was a file.
  Status put = PutFileAside(file_, aside);
  if (put) {
    EndHold(aside, held);
  }
  return put;
}

}  // namespace

std::unique_ptr<CatalogHome> CatalogHomeOf(const ServerConfig& config) {
  if (config.database.empty()) {
    return std::make_unique<FileHome>(CatalogPath(config));
  }
  return std::make_unique<DatabaseHome>(config);
}

Status PassIfLost(const Status& looked) {
  return looked || IsDamage(looked) ? Status()
                                    : looked.Within(
                                          "the old catalog cannot be looked at, and a backup may be using "
                                          "it: call again; if it is lost for good, rename it first");
}

bool IsOfAnother(SqlEngine& engine, const Uid& repository, Uid& other) {
  other = repository;
  const bool read =
      static_cast<bool>(engine.Run("SELECT repository FROM catalog", {}, [&](const SqlRow& row) {
        (void)Uid::FromBytes(row.Bytes(0), other);
        return Status();
      }));
  return read && other != repository;
}

// ---- Which of them ---------------------------------------------------------------------------

namespace {

Status ReadNote(Place& place, std::string& note) {
  constexpr std::uint64_t kLargest = 4096;
  std::optional<std::uint64_t> size;
  return place.GetSmall(kCatalogObject, kLargest, size, note);
}

}  // namespace

Status CheckCatalogIsFree(const ServerConfig& config, SqlEngine& engine, Place& place) {
  bool used = false;
  // A catalog beside the objects is theirs. A catalog elsewhere may be what a program left that was killed
  // while it made the repository; then it has no savesets.
  const bool isElsewhere = engine.IsShared() || !config.catalog.empty();
  Status looked = isElsewhere ? engine.HasTable(kCatalogTable, used) : Status();
  if (looked && used && !engine.IsShared()) {
    used = false;
    looked = engine.Run("SELECT id FROM saveset LIMIT 1", {}, [&used](const SqlRow& /*row*/) {
      used = true;
      return Status();
    });
  }
  if (!looked || !used) {
    return looked;
  }
  // Another program may have made the repository meanwhile.
  std::optional<std::uint64_t> size;
  if (Status found = place.Size(kRepositoryObject, size); !found || size) {
    return found;
  }
  if (config.database.empty()) {
    return Status::Failed("the catalog of another repository is in " + config.catalog +
                          ": let catalog name another file");
  }
  return Status::Failed("the catalog of another repository is in " +
                        TellPostgres({config.database, config.catalogSchema, MakeCatalog::kNever}) +
                        ": let catalog_schema name another schema");
}

namespace {

// Compares the schemas only: a server may have several names, but the schema has one.
Status CheckSchemaIsMeant(const ServerConfig& config, const std::string& note) {
  const std::string whole = config.database.empty()
                                ? ""
                                : TellPostgres({config.database, config.catalogSchema, MakeCatalog::kNever});
  if (note.empty() || whole.empty() || note.ends_with(whole.substr(whole.rfind(", ")))) {
    return {};
  }
  return Status::Failed(
      "its catalog is in " + note +
      ", and the configuration names another schema: let catalog_schema, in section [" + config.section +
      "], name that one. If the catalog is to move, delete the object \"catalog\" first, then call "
      "korvo rebuild " +
      config.section);
}

}  // namespace

Status CheckCatalogIsMeant(const ServerConfig& config, Place& place) {
  std::string note;
  if (Status read = ReadNote(place, note); !read) {
    return read;
  }
  if (config.database.empty() && !note.empty()) {
    return Status::Failed(
        "its catalog is in a database, and the configuration does not say so: let catalog, in section [" +
        config.section + "], name it (" + note + ")");
  }
  if (!config.database.empty() && note.empty()) {
    return Status::Failed(
        "its catalog is a file, and the configuration names a database: take catalog out, or let korvo "
        "rebuild " +
        config.section + " make the catalog there");
  }
  return CheckSchemaIsMeant(config, note);
}

Status CheckSchemaIsMeant(const ServerConfig& config, Place& place) {
  std::string note;
  Status read = ReadNote(place, note);
  return read ? CheckSchemaIsMeant(config, note) : read;
}

Status NoteCatalog(const ServerConfig& config, Place& place) {
  std::string old;
  if (Status read = ReadNote(place, old); !read) {
    return read;
  }
  const std::string note = config.database.empty()
                               ? ""
                               : TellPostgres({config.database, config.catalogSchema, MakeCatalog::kNever});
  if (old == note) {
    return {};
  }
  if (note.empty()) {
    return place.Delete(kCatalogObject);
  }
  if (Status put = place.Put(kCatalogObject, note); !put) {
    return put;
  }
  // Some systems do not replace a file that another program has open; then the old one was taken for the new
  // one.
  if (Status read = ReadNote(place, old); !read) {
    return read;
  }
  return old == note ? Status()
                     : Status::Failed("its object \"catalog\" cannot be replaced: another program reads it");
}

}  // namespace store
