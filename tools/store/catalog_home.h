// Where a repository keeps its catalog: in a file beside its objects, or in a database that many hosts share.
#pragma once

#include <memory>
#include <string>
#include <vector>

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

  virtual Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) = 0;

  // Room that is kept for deleting on a full disk (catalog.h).
  virtual void KeepRoom() = 0;
  virtual bool GiveRoom() = 0;

  // ---- A new catalog in the place of this one: begin, fill what `engine` leads to and close it, end ----

  // `engine` leads to an empty catalog beside the one in use. What an earlier rebuild of this repository left
  // there goes; anything else in that place is refused.
  virtual Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) = 0;
  // The new one takes the old one's place. `aside` tells where that is now; empty if there was none. A
  // conflict, and nothing happens, if the old one was changed meanwhile and that can be seen.
  virtual Status EndNew(std::string& aside) = 0;
  // The new one goes, if one was begun: it does not take the place.
  virtual void DropNew() = 0;
};

[[nodiscard]] std::unique_ptr<CatalogHome> CatalogHomeOf(const ServerConfig& config);

// Whether the catalog is another repository's, whose id is `other` then. One that cannot be read is nobody's.
[[nodiscard]] bool IsOfAnother(SqlEngine& engine, const Uid& repository, Uid& other);

// A database may have a schema for each of many repositories: one that is in use is refused to a place
// without a repository.
Status CheckCatalogIsFree(const ServerConfig& config, SqlEngine& engine, Place& place);
// Two catalogs for one repository would each delete what the other one needs: the repository's object
// `catalog` says that it is in a database. Fails where the configuration and that say different things.
Status CheckCatalogIsMeant(const ServerConfig& config, Place& place);
// The same for the schema of that database alone.
Status CheckSchemaIsMeant(const ServerConfig& config, Place& place);
// Notes which it is.
Status NoteCatalog(const ServerConfig& config, Place& place);

}  // namespace store
