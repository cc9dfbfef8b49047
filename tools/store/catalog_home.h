// Where a repository keeps its catalog: in a file, or in a database that many hosts share.
#pragma once

#include <memory>
#include <string>

#include "store/catalog/catalog.h"
#include "store/place/place.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

class CatalogHome {
 public:
  CatalogHome() = default;
  CatalogHome(const CatalogHome&) = delete;
  CatalogHome& operator=(const CatalogHome&) = delete;
  virtual ~CatalogHome() = default;

  // Opens the catalog. If there is none, `make` decides whether it is made; if not, the failure is kMissing.
  virtual Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) = 0;

  // Opens the catalog that a new one is to replace. That may be one in a file, if this home is a database.
  virtual Status ConnectOld(std::unique_ptr<SqlEngine>& engine) {
    return Connect(MakeCatalog::kNever, engine);
  }

  // Room that is reserved so that deleting works on a full disk (catalog.h). `GiveRoom` is false if there was
  // none.
  virtual void KeepRoom() = 0;
  virtual bool GiveRoom() = 0;

  // ---- A new catalog in the place of this one: begin, fill what `engine` leads to and close it, end ----

  // `engine` gets a new, empty catalog beside the one in use. What an earlier rebuild of this repository left
  // there is deleted first; anything else that is there is a failure.
  virtual Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) = 0;
  // The new catalog takes the place of the old one. `aside` tells where the old one is now; empty if there
  // was none. kConflict, and nothing happens, if the old one was changed since `BeginNew` and that can be
  // seen.
  virtual Status EndNew(std::string& aside) = 0;
  // Gives up the new catalog, if one was begun: the old one stays in use.
  virtual void DropNew() = 0;
};

[[nodiscard]] std::unique_ptr<CatalogHome> CatalogHomeOf(const ServerConfig& config);

// For a failure to look at the catalog that a rebuild replaces. If the catalog is missing or damaged, this is
// no failure: a rebuild is made for that. After any other failure, a backup may be using the catalog.
Status PassIfLost(const Status& looked);

// Whether the catalog belongs to another repository; `other` gets its id. One that cannot be read belongs to
// none.
[[nodiscard]] bool IsOfAnother(SqlEngine& engine, const Uid& repository, Uid& other);

// Fails if the place has no repository, but the catalog is in use: then it is another repository's. (A
// database may have a schema for each of many repositories.)
Status CheckCatalogIsFree(const ServerConfig& config, SqlEngine& engine, Place& place);
// Two catalogs for one repository would each delete what the other one needs. So the repository's object
// `catalog` says that the catalog is in a database. Fails if the configuration says something else.
Status CheckCatalogIsMeant(const ServerConfig& config, Place& place);
// The same, but only for the name of the schema.
Status CheckSchemaIsMeant(const ServerConfig& config, Place& place);
// Puts or deletes that object, as the configuration says.
Status NoteCatalog(const ServerConfig& config, Place& place);

}  // namespace store
