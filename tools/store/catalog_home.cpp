#include "store/catalog_home.h"

#include "store/catalog/postgres_engine.h"
#include "store/catalog/schema.h"
#include "store/catalog_homes.h"

namespace store {

std::unique_ptr<CatalogHome> CatalogHomeOf(const ServerConfig& config) {
  return config.database.empty() ? MakeFileHome(config) : MakeDatabaseHome(config);
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
