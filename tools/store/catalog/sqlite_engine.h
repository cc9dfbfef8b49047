// The engine of a catalog in a file.
#pragma once

#include <memory>
#include <string>

#include "store/catalog/catalog.h"
#include "store/catalog/sql.h"

namespace store {

struct SqliteOptions {
  MakeCatalog make = MakeCatalog::kNever;
  // False on a network file system, where processes of several machines cannot share memory. Then the catalog
  // has a rollback journal.
  bool sharedMemory = true;
  // The name of SQLite's file system to work on; null: the system's own.
  const char* files = nullptr;
};
// Opens the catalog in the file. kMissing if there is none and none is to be made; kDamaged if it is damaged,
// or if the file belongs to another program.
Status OpenSqliteWith(const std::string& path, const SqliteOptions& options,
                      std::unique_ptr<SqlEngine>& engine);

}  // namespace store
