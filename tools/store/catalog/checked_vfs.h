// A layer between SQLite and the system's files. Its checksums make every flipped bit of the catalog's files
// an error, and it can read where nothing can be written.
//
// - Each page of the database ends with a checksum of its bytes and its place (SQLite keeps `kReservedBytes`
//   free for it). It is set when a page is written and checked when one is read, from the database or a
//   rollback journal. Pages in the write-ahead log are checked against the log's own checksums, and the log
//   against its mark (write_ahead_log.h). If anything is not right, that is SQLITE_IOERR_DATA.
// - After a failed synchronisation or write nothing more is written through that file.
// - Where the shared memory beside the database cannot be made (a write-protected directory, a full disk),
//   SQLite is told to build the index of the log in its own memory. Then it can read, but not write.
#pragma once

#include <sqlite3.h>

namespace store {

inline constexpr int kReservedBytes = 8;

// The name of the file system for sqlite3_open_v2. The first call registers it. It works on the system's own
// file system, or on the one that a test registered under the name `below`.
const char* CheckedVfs(const char* below = nullptr);

// Whether nothing can be written. `file` is the main file of a connection that was opened through this file
// system. Known after the first statement that reads.
bool IsReadOnly(sqlite3_file* file);

}  // namespace store
