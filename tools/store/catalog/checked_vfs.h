// Below SQLite, above its way to the system: checksums that make every flipped bit of the catalog's files an
// error, and reading where nothing can be written.
//
// - Each page of the database ends with a checksum of its bytes and its place (`kReservedBytes` are kept free
// for
//   it). It is set when a page is written and checked when one is read, from the database or a rollback
//   journal. Pages in the write-ahead log are checked against the log's own checksums, and the log against
//   its mark (write_ahead_log.h). What is not right is SQLITE_IOERR_DATA.
// - After a failed synchronisation or write nothing more is written through that file.
// - Where the shared memory beside the database cannot be made (a write-protected directory, a full disk),
// SQLite is
//   told to build the index of the log in its own memory, and reads; it does not write then.
#pragma once

#include <sqlite3.h>

namespace store {

inline constexpr int kReservedBytes = 8;

// The name of the file system to give to sqlite3_open_v2, registered with the first call: over the system's
// own, or over a test's of this name.
const char* CheckedVfs(const char* below = nullptr);

// Of the main file of a connection that was opened through it: whether nothing can be written. Known after
// the first statement that reads.
bool IsReadOnly(sqlite3_file* file);

}  // namespace store
