// The catalog's engine where the repository is a directory.
#pragma once

#include <memory>
#include <string>

#include "store/catalog/catalog.h"
#include "store/catalog/sql.h"

namespace store {

struct SqliteOptions {
  MakeCatalog make = MakeCatalog::kNever;
  // False: as on a file system of a network, where processes of several machines cannot share memory. The
  // catalog has a rollback journal then.
  bool sharedMemory = true;
  // The name of SQLite's file system to work on; null: the system's own.
  const char* files = nullptr;
};
Status OpenSqliteWith(const std::string& path, const SqliteOptions& options,
                      std::unique_ptr<SqlEngine>& engine);

}  // namespace store
