// Making the catalog anew from packs and saveset objects. The new one is made beside the old one, and takes
// its place when it is complete.
#include <memory>

#include "store/catalog_home.h"
#include "store/open_store.h"
#include "store/rebuild/object_import.h"
#include "store/rebuild/old_catalog.h"
#include "store/repository_place.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {
namespace {

using Tell = ObjectImport::Tell;

Status RefuseRunning(const ServerConfig& config) {
  RunLocks::Alive alive;
  if (Status asked = LocksOf(config).FindAlive(alive); !asked || alive.path.empty()) {
    return asked;
  }
  const std::string wait = "a backup is running: wait for its end, then call again";
  return Status::Failed(alive.host.empty()
                            ? wait
                            : wait + ". File " + alive.path + " says that it runs on " + alive.host +
                                  ": if that machine is gone for good, delete the file");
}

// Takes the repository's own object from the copy in the catalog.
Status RecoverObject(CatalogHome& home, Place& place, std::string& object) {
  std::unique_ptr<SqlEngine> engine;
  object.clear();
  Status asked = home.ConnectOld(engine);
  if (asked) {
    asked = Catalog::Found(*engine, object);
  }
  if (!asked || object.empty()) {
    return Status::Damaged(
        "its object \"repository\" is missing or damaged, and the catalog has no copy: bring the"
        " file back from a copy of the repository");
  }
  if (Status put = place.Put(kRepositoryObject, object); !put) {
    return put;
  }
  // Some systems do not replace a file that another program has open; then the old one was taken for the new
  // one.
  std::string there;
  if (Status read = ReadRepositoryObject(place, there); !read) {
    return read;
  }
  return there == object
             ? Status()
             : Status::Failed("its object \"repository\" cannot be replaced: another program reads it");
}

Status ReadObject(CatalogHome& home, Place& place, std::string& object, Store::Rebuilt& rebuilt) {
  Uid id;
  std::string keysPart;
  Status read = ReadRepositoryObject(place, object);
  if (read && !object.empty() && DecodeRepository(object, id, keysPart)) {
    return {};
  }
  if (Status recovered = RecoverObject(home, place, object); !recovered) {
    return recovered;
  }
  rebuilt.notes.emplace_back(
      "the object \"repository\" was missing or damaged: it is back from the catalog's copy");
  return {};
}

Status MakeNewCatalog(CatalogHome& home, const std::string& object, const ObjectShelf& shelf,
                      const Tell& tell, Store::Rebuilt& rebuilt) {
  std::unique_ptr<SqlEngine> engine;
  if (Status begun = home.BeginNew(shelf.repository, engine); !begun) {
    return begun;
  }
  std::optional<std::vector<PackFacts>> packs;
  if (Status looked = LookAtOld(home, shelf, packs); !looked) {
    return looked;
  }
  std::string same = object;
  if (Status founded = Catalog::Found(*engine, same); !founded) {
    return founded;
  }
  Catalog catalog(std::move(engine), shelf.repository);
  if (Status prepared = catalog.Prepare(); !prepared) {
    return prepared;
  }
  Status done = ObjectImport(shelf, catalog, tell).Run(rebuilt);
  if (!packs && rebuilt.packs > 0) {
    rebuilt.notes.emplace_back(
        "which packs are damaged, and when they were checked, is not known any more: korvo verify finds out");
  }
  return done && packs ? catalog.ImportChecks(*packs) : done;
}

// A catalog in a database is not replaced by a file: other hosts may go on with it.
Status RefuseFileForDatabase(const ServerConfig& config, Place& place) {
  return config.database.empty() ? CheckCatalogIsMeant(config, place) : CheckSchemaIsMeant(config, place);
}

Status RebuildIn(const ServerConfig& config, Place& place, const Tell& tell, Store::Rebuilt& rebuilt) {
  const std::unique_ptr<CatalogHome> home = CatalogHomeOf(config);
  std::string object;
  Uid id;
  Keys keys;
  Status done = RefuseRunning(config);
  if (done) {
    done = RefuseFileForDatabase(config, place);
  }
  if (done) {
    done = ReadObject(*home, place, object, rebuilt);
  }
  if (done) {
    done = ReadKeys(config, object, id, keys);
  }
  if (done) {
    done = keys.CanSave();
  }
  if (done) {
    done = CheckEncryptionIsMeant(config, keys);
  }
  if (done) {
    done = MakeNewCatalog(*home, object, {place, keys, id}, tell, rebuilt);
  }
  if (done) {
    done = RefuseRunning(config);
  }
  // The note comes first: from then on nobody uses an old catalog in a file.
  if (done) {
    done = NoteCatalog(config, place);
  }
  if (done) {
    done = home->EndNew(rebuilt.oldCatalog);
  }
  if (!done) {
    home->DropNew();
  }
  return done;
}

}  // namespace

Status Store::Rebuild(const ServerConfig& config, const Tell& tell, Rebuilt& rebuilt) {
  RepositoryState state = RepositoryState::kNone;
  // Damage is no obstacle: a rebuild is made for it.
  Status looked = LookAtRepository(config, state);
  if (!looked && looked.What() != Status::Kind::kDamaged) {
    return looked;
  }
  if (looked && state == RepositoryState::kNone) {
    return NoRepository(config);
  }
  const std::unique_ptr<Place> place = PlaceOf(config);
  Status done = RebuildIn(config, *place, tell, rebuilt).Within("repository " + config.repository);
  if (!done || rebuilt.unneeded == 0) {
    return done;
  }
  rebuilt.notes.push_back("packs that no item needs, left by programs that were killed, are deleted: " +
                          std::to_string(rebuilt.unneeded));
  std::unique_ptr<Store> store;
  return Open(config, Access::kWrite, store);
}

}  // namespace store
