// The two homes of a catalog. What a rebuild does with a catalog in a file serves both: the catalog may move
// from a file into a database.
#pragma once

#include <memory>
#include <string>

#include "store/catalog_home.h"

namespace store {

[[nodiscard]] std::unique_ptr<CatalogHome> MakeFileHome(const ServerConfig& config);
[[nodiscard]] std::unique_ptr<CatalogHome> MakeDatabaseHome(const ServerConfig& config);

// Whether anything is left of the catalog in this file.
[[nodiscard]] bool HasAnyFile(const std::string& catalog);
// Renames it, or what is left of it, to a name that is free: `aside`. Empty if nothing is there.
Status PutFileAside(const std::string& catalog, std::string& aside);

// `state` tells whether the catalog was changed (`kSelectChanges`). No backup can change a catalog that is
// missing or damaged: then there is no state, and nothing to compare later.
Status ReadFileState(const std::string& catalog, std::string& state);
// Fails if the catalog is not as it was. Afterwards nobody changes it until `held` goes: whoever waits for
// that finds out that the file has moved. Where open files cannot be renamed, nothing is held.
Status HoldUnchanged(const std::string& catalog, const std::string& state, std::unique_ptr<SqlEngine>& held);
// For a catalog that was held and has another name now: brings what is in its log into its file, and deletes
// the log.
void EndHold(const std::string& aside, std::unique_ptr<SqlEngine>& held);

}  // namespace store
