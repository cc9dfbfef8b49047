// The catalog's tables, and how a file becomes one that holds them.
#pragma once

#include <string>

#include "store/catalog.h"
#include "store/sqlite.h"

namespace store {

// Connects `database` to the catalog in this file, or makes it, and waits for what others are writing. A
// catalog of another release, and a file of another program, is left alone.
Status OpenCatalog(Database& database, const std::string& path, Catalog::Access access);

}  // namespace store
