#include "store/catalog/checked_vfs.h"

#include <xxhash.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "platform/failures.h"
#include "store/catalog/write_ahead_log.h"

namespace store {
namespace {

constexpr auto kPage = static_cast<std::int64_t>(kPageSize);
constexpr std::size_t kSumOffset = kPageSize - kReservedBytes;
constexpr std::int64_t kJournalPageNumber = 4;  // bytes in front of a page in a rollback journal
constexpr std::int64_t kBeginning = 100;        // bytes of the database that are also read by themselves
constexpr int kRecoveryLock = 2;                // held exclusively only by whoever reads the whole log anew

enum class FileKind { kDatabase, kLog, kJournal };

// What SQLite has for an open file: this, and behind it the system's own file.
struct CheckedFile {
  sqlite3_file base;
  sqlite3_file* real;  // null: a log that is not there and cannot be made
  CheckedFile* log;    // of a database: its open log
  CheckedFile* database;
  const char* name;
  FileKind kind;
  bool readOnly;
  bool failed;     // a write or a synchronisation has failed: nothing more is written
  bool ownIndex;   // of a database: the log's index is in SQLite's own memory
  char* noMemory;  // of a database without shared memory to lock: the name of the file that would have it
  std::int64_t header;  // of a log: the frame whose header was written last, with no page behind it yet
  bool headerEndsCommit;
  std::int64_t frames;     // in the log, up to the last one that was appended
  bool endsCommit;         // the last frame ends a commit
  std::int64_t unchecked;  // frames from this one on were changed in place; their sums are still old
};

constexpr std::int64_t kNone = INT64_MAX;

CheckedFile& Of(sqlite3_file* file) { return *reinterpret_cast<CheckedFile*>(file); }

// ---- Pages -----------------------------------------------------------------------------------------------

std::uint64_t SumOf(const char* page, std::int64_t number) {
  return XXH3_64bits_withSeed(page, kSumOffset, static_cast<std::uint64_t>(number) * 0x9E3779B97F4A7C15U);
}

bool IsPageGood(const char* page, std::int64_t number) {
  const std::uint64_t sum = SumOf(page, number);
  return std::memcmp(page + kSumOffset, &sum, sizeof sum) == 0;
}

// Sets it in SQLite's own buffer, so that a page that is later copied to a rollback journal has its checksum
// too.
void SetSum(const void* page, std::int64_t number) {
  const std::uint64_t sum = SumOf(static_cast<const char*>(page), number);
  std::memcpy(const_cast<char*>(static_cast<const char*>(page)) + kSumOffset, &sum, sizeof sum);
}

bool IsDatabasePage(int size, sqlite3_int64 offset) { return size == kPage && offset % kPage == 0; }

bool ReadReal(CheckedFile& file, std::int64_t offset, std::size_t size, char* bytes) {
  return file.real != nullptr &&
         file.real->pMethods->xRead(file.real, bytes, static_cast<int>(size), offset) == SQLITE_OK;
}

ReadLog Reader(CheckedFile& log) {
  return [&log](std::int64_t offset, std::size_t size, char* bytes) {
    return ReadReal(log, offset, size, bytes);
  };
}

// The frame whose page is at this offset; negative for anything else.
std::int64_t FrameOfPage(int size, sqlite3_int64 offset) {
  const std::int64_t behind = offset - FrameOffset(0) - static_cast<std::int64_t>(kFrameHeaderSize);
  return size == kPage && behind >= 0 && behind % static_cast<std::int64_t>(kFrameSize) == 0
             ? behind / static_cast<std::int64_t>(kFrameSize)
             : -1;
}

std::int64_t FrameOfHeader(int size, sqlite3_int64 offset) {
  const std::int64_t behind = offset - FrameOffset(0);
  return size == static_cast<int>(kFrameHeaderSize) && behind >= 0 &&
                 behind % static_cast<std::int64_t>(kFrameSize) == 0
             ? behind / static_cast<std::int64_t>(kFrameSize)
             : -1;
}

// ---- Reading ---------------------------------------------------------------------------------------------

// SQLite reads whole pages, and besides the beginning of the file by itself. It reads the beginning again as
// part of a page before it relies on it.
int CheckDatabaseRead(CheckedFile& file, const char* bytes, int size, sqlite3_int64 offset, int result) {
  if (offset + size <= kBeginning) {
    return result;
  }
  if (result == SQLITE_IOERR_SHORT_READ) {
    sqlite3_int64 whole = 0;
    const bool told = file.real->pMethods->xFileSize(file.real, &whole) == SQLITE_OK;
    return told && whole == 0 && offset < kPage ? result : SQLITE_IOERR_DATA;
  }
  return IsDatabasePage(size, offset) && IsPageGood(bytes, offset / kPage + 1) ? SQLITE_OK
                                                                               : SQLITE_IOERR_DATA;
}

int CheckLogRead(CheckedFile& file, const char* bytes, int size, sqlite3_int64 offset) {
  const std::int64_t frame = FrameOfPage(size, offset);
  if (frame < 0 || frame >= file.unchecked) {
    return SQLITE_OK;
  }
  return IsFrameGood(Reader(file), frame, {bytes, kPageSize}) ? SQLITE_OK : SQLITE_IOERR_DATA;
}

int CheckJournalRead(CheckedFile& file, const char* bytes, int size, sqlite3_int64 offset) {
  std::array<unsigned char, kJournalPageNumber> number{};
  if (size != kPage) {
    return SQLITE_OK;
  }
  if (!ReadReal(file, offset - kJournalPageNumber, number.size(), reinterpret_cast<char*>(number.data()))) {
    return SQLITE_IOERR_DATA;
  }
  const std::int64_t page =
      static_cast<std::int64_t>(number[0]) << 24 | number[1] << 16 | number[2] << 8 | number[3];
  return IsPageGood(bytes, page) ? SQLITE_OK : SQLITE_IOERR_DATA;
}

// This connection reads without locks, since nobody could write. If somebody does write after all, what it
// reads does not fit together.
bool HasWriterCome(CheckedFile& file) {
  sqlite3_vfs* system = sqlite3_vfs_find(nullptr);
  int there = 0;
  return file.ownIndex && file.noMemory != nullptr &&
         system->xAccess(system, file.noMemory, SQLITE_ACCESS_EXISTS, &there) == SQLITE_OK && there != 0;
}

int Read(sqlite3_file* base, void* bytes, int size, sqlite3_int64 offset) {
  CheckedFile& file = Of(base);
  if (file.real == nullptr) {
    std::memset(bytes, 0, static_cast<std::size_t>(size));
    return SQLITE_IOERR_SHORT_READ;
  }
  const int result = file.real->pMethods->xRead(file.real, bytes, size, offset);
  const char* read = static_cast<const char*>(bytes);
  if (file.kind == FileKind::kDatabase && (result == SQLITE_OK || result == SQLITE_IOERR_SHORT_READ)) {
    return HasWriterCome(file) ? SQLITE_PROTOCOL : CheckDatabaseRead(file, read, size, offset, result);
  }
  if (result != SQLITE_OK) {
    return result;
  }
  return file.kind == FileKind::kLog ? CheckLogRead(file, read, size, offset)
                                     : CheckJournalRead(file, read, size, offset);
}

// ---- Writing ---------------------------------------------------------------------------------------------

// A used-up quota, or the largest size of a file, counts as a full disk, too.
bool HasNoRoom(CheckedFile& file) {
  int error = 0;
  return file.real->pMethods->xFileControl(file.real, SQLITE_FCNTL_LAST_ERRNO, &error) == SQLITE_OK &&
         platform::MeansNoRoom(platform::ErrorName(error));
}

int Final(CheckedFile& file, int result) {
  if (result == SQLITE_IOERR_WRITE && HasNoRoom(file)) {
    return SQLITE_FULL;
  }
  // A full disk is reported before anything is lost. With any other failure something may have been lost.
  file.failed = file.failed || (result != SQLITE_OK && result != SQLITE_FULL);
  return result;
}

void NoteLogWrite(CheckedFile& log, const void* bytes, int size, sqlite3_int64 offset) {
  if (offset == 0) {
    log.frames = 0;
    log.endsCommit = false;
    log.unchecked = kNone;
  }
  if (const std::int64_t header = FrameOfHeader(size, offset); header >= 0) {
    log.header = header;
    log.headerEndsCommit = EndsCommit({static_cast<const char*>(bytes), kFrameHeaderSize});
    return;
  }
  if (const std::int64_t page = FrameOfPage(size, offset); page >= 0 && page == log.header) {
    log.frames = page + 1;
    log.endsCommit = log.headerEndsCommit;
    log.unchecked = page <= log.unchecked ? kNone : log.unchecked;
  } else if (page >= 0) {
    log.unchecked = std::min(log.unchecked, page);
  }
  log.header = kNone;
}

int Write(sqlite3_file* base, const void* bytes, int size, sqlite3_int64 offset) {
  CheckedFile& file = Of(base);
  if (file.real == nullptr || file.failed) {
    return file.real == nullptr ? SQLITE_READONLY : SQLITE_IOERR_WRITE;
  }
  if (file.kind == FileKind::kDatabase) {
    if (!IsDatabasePage(size, offset)) {
      return SQLITE_IOERR_WRITE;
    }
    SetSum(bytes, offset / kPage + 1);
  }
  const int result = Final(file, file.real->pMethods->xWrite(file.real, bytes, size, offset));
  if (result == SQLITE_OK && file.kind == FileKind::kLog) {
    NoteLogWrite(file, bytes, size, offset);
  }
  return result;
}

int Truncate(sqlite3_file* base, sqlite3_int64 size) {
  CheckedFile& file = Of(base);
  if (file.real == nullptr || file.failed) {
    return file.real == nullptr ? SQLITE_READONLY : SQLITE_IOERR_TRUNCATE;
  }
  return Final(file, file.real->pMethods->xTruncate(file.real, size));
}

// If the mark cannot be written, it is only missing.
void WriteMark(CheckedFile& log) {
  const std::string mark = MakeMark(Reader(log), log.frames);
  if (!mark.empty()) {
    (void)log.real->pMethods->xWrite(log.real, mark.data(), static_cast<int>(mark.size()),
                                     FrameOffset(log.frames));
  }
}

int Sync(sqlite3_file* base, int flags) {
  CheckedFile& file = Of(base);
  if (file.real == nullptr || file.failed) {
    return file.real == nullptr ? SQLITE_OK : SQLITE_IOERR_FSYNC;
  }
  const int result = Final(file, file.real->pMethods->xSync(file.real, flags));
  if (result == SQLITE_OK && file.kind == FileKind::kLog && file.endsCommit) {
    file.unchecked = kNone;
    file.endsCommit = false;
    WriteMark(file);
  }
  return result;
}

// ---- The log's index -------------------------------------------------------------------------------------

int CheckLog(CheckedFile& database) {
  CheckedFile* log = database.log;
  sqlite3_int64 size = 0;
  if (log == nullptr || log->real == nullptr) {
    return SQLITE_OK;
  }
  if (const int result = log->real->pMethods->xFileSize(log->real, &size); result != SQLITE_OK) {
    return result;
  }
  return IsLogWhole(Reader(*log), size) ? SQLITE_OK : SQLITE_IOERR_DATA;
}

bool CannotBeMade(int result) {
  switch (result & 0xff) {
    case SQLITE_CANTOPEN:
    case SQLITE_READONLY:
    case SQLITE_PERM:
    case SQLITE_FULL:
      return true;
    default:
      return result == SQLITE_IOERR_SHMOPEN || result == SQLITE_IOERR_SHMSIZE ||
             result == SQLITE_IOERR_SHMMAP;
  }
}

// The engine asks for an index that may not be there yet. It would make one later, at a point where it takes
// a failure as final. So the index is made here at once, under the lock that the engine would take; on a full
// disk that fails here.
int MapOrMake(CheckedFile& file, int region, int size, int extend, void volatile** memory) {
  const sqlite3_io_methods& real = *file.real->pMethods;
  const int result = real.xShmMap(file.real, region, size, extend, memory);
  if (result != SQLITE_OK || *memory != nullptr || region != 0 || file.ownIndex ||
      real.xShmLock(file.real, 0, 1, SQLITE_SHM_LOCK | SQLITE_SHM_EXCLUSIVE) != SQLITE_OK) {
    return result;
  }
  const int made = real.xShmMap(file.real, region, size, 1, memory);
  (void)real.xShmLock(file.real, 0, 1, SQLITE_SHM_UNLOCK | SQLITE_SHM_EXCLUSIVE);
  return made;
}

int ShmMap(sqlite3_file* base, int region, int size, int extend, void volatile** memory) {
  CheckedFile& file = Of(base);
  const int result = MapOrMake(file, region, size, extend, memory);
  const bool isThere = result == SQLITE_OK || result == SQLITE_READONLY;
  if (isThere && (!file.ownIndex || *memory != nullptr)) {
    // A writer has come meanwhile: from now on its index counts.
    const bool changed = file.ownIndex;
    file.ownIndex = false;
    return changed ? SQLITE_READONLY : result;
  }
  if (!isThere && (region != 0 || !CannotBeMade(result))) {
    return result;
  }
  *memory = nullptr;
  if (!file.ownIndex) {
    if (const int checked = CheckLog(file); checked != SQLITE_OK) {
      return checked;
    }
    file.ownIndex = true;
    file.readOnly = true;
  }
  return SQLITE_READONLY_CANTINIT;
}

int ShmLock(sqlite3_file* base, int first, int count, int flags) {
  CheckedFile& file = Of(base);
  const int result = file.real->pMethods->xShmLock(file.real, first, count, flags);
  if (result == SQLITE_IOERR_SHMLOCK && file.ownIndex) {
    if (file.noMemory == nullptr) {
      file.noMemory = sqlite3_mprintf("%s-shm", file.name);
    }
    return SQLITE_OK;
  }
  const bool readsLogAnew = (flags & SQLITE_SHM_LOCK) != 0 && (flags & SQLITE_SHM_EXCLUSIVE) != 0 &&
                            first > 0 && first <= kRecoveryLock && first + count > kRecoveryLock;
  if (result != SQLITE_OK || !readsLogAnew) {
    return result;
  }
  const int checked = CheckLog(file);
  if (checked != SQLITE_OK) {
    (void)file.real->pMethods->xShmLock(file.real, first, count, SQLITE_SHM_UNLOCK | SQLITE_SHM_EXCLUSIVE);
  }
  return checked;
}

void ShmBarrier(sqlite3_file* base) { Of(base).real->pMethods->xShmBarrier(Of(base).real); }

int ShmUnmap(sqlite3_file* base, int remove) {
  Of(base).ownIndex = false;
  return Of(base).real->pMethods->xShmUnmap(Of(base).real, remove);
}

// ---- The rest goes to the system's file ------------------------------------------------------------------

int Close(sqlite3_file* base) {
  CheckedFile& file = Of(base);
  if (file.kind == FileKind::kLog && file.database != nullptr) {
    file.database->log = nullptr;
  }
  if (file.log != nullptr) {
    file.log->database = nullptr;
  }
  sqlite3_free(file.noMemory);
  file.base.pMethods = nullptr;
  return file.real == nullptr ? SQLITE_OK : file.real->pMethods->xClose(file.real);
}

int FileSize(sqlite3_file* base, sqlite3_int64* size) {
  CheckedFile& file = Of(base);
  *size = 0;
  return file.real == nullptr ? SQLITE_OK : file.real->pMethods->xFileSize(file.real, size);
}

int Lock(sqlite3_file* base, int lock) { return Of(base).real->pMethods->xLock(Of(base).real, lock); }
int Unlock(sqlite3_file* base, int lock) { return Of(base).real->pMethods->xUnlock(Of(base).real, lock); }
int CheckReservedLock(sqlite3_file* base, int* held) {
  return Of(base).real->pMethods->xCheckReservedLock(Of(base).real, held);
}

int FileControl(sqlite3_file* base, int operation, void* argument) {
  CheckedFile& file = Of(base);
  return file.real == nullptr ? SQLITE_NOTFOUND
                              : file.real->pMethods->xFileControl(file.real, operation, argument);
}

int SectorSize(sqlite3_file* base) {
  CheckedFile& file = Of(base);
  return file.real == nullptr ? static_cast<int>(kPageSize) : file.real->pMethods->xSectorSize(file.real);
}

int DeviceCharacteristics(sqlite3_file* base) {
  CheckedFile& file = Of(base);
  return file.real == nullptr ? 0 : file.real->pMethods->xDeviceCharacteristics(file.real);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

// ---- Opening ---------------------------------------------------------------------------------------------

sqlite3_vfs* System(sqlite3_vfs* vfs) { return static_cast<sqlite3_vfs*>(vfs->pAppData); }

bool Exists(sqlite3_vfs* system, const char* name) {
  int there = 1;
  return system->xAccess(system, name, SQLITE_ACCESS_EXISTS, &there) != SQLITE_OK || there != 0;
}

FileKind KindOf(int flags) {
  return (flags & SQLITE_OPEN_MAIN_DB) != 0 ? FileKind::kDatabase
         : (flags & SQLITE_OPEN_WAL) != 0   ? FileKind::kLog
                                            : FileKind::kJournal;
}

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* base, int flags, int* outFlags) {
  sqlite3_vfs* system = System(vfs);
  constexpr int kChecked = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL;
  if ((flags & kChecked) == 0) {
    return system->xOpen(system, name, base, flags, outFlags);
  }
  auto* file = new (base) CheckedFile{};
  file->real = reinterpret_cast<sqlite3_file*>(file + 1);
  file->name = name;
  file->kind = KindOf(flags);
  file->header = kNone;
  file->unchecked = kNone;
  int out = 0;
  int result = system->xOpen(system, name, file->real, flags, &out);
  if (result != SQLITE_OK && file->kind == FileKind::kLog && !Exists(system, name)) {
    // There is no log, and none can be made: to the engine it is an empty one.
    file->real = nullptr;
    out = SQLITE_OPEN_READONLY;
    result = SQLITE_OK;
  }
  if (result != SQLITE_OK) {
    return result;
  }
  file->readOnly = (out & SQLITE_OPEN_READONLY) != 0;
  if (file->kind == FileKind::kLog) {
    file->database = &Of(sqlite3_database_file_object(name));
    file->database->log = file;
    file->database->readOnly = file->database->readOnly || file->readOnly;
  }
  if (outFlags != nullptr) {
    *outFlags = out;
  }
  base->pMethods = &kMethods;
  return SQLITE_OK;
}

sqlite3_vfs MakeVfs(sqlite3_vfs* system, const char* ownName) {
  sqlite3_vfs vfs = {};
  vfs.iVersion = 2;
  vfs.szOsFile = static_cast<int>(sizeof(CheckedFile)) + system->szOsFile;
  vfs.mxPathname = system->mxPathname;
  vfs.zName = ownName;
  vfs.pAppData = system;
  vfs.xOpen = Open;
  vfs.xDelete = [](sqlite3_vfs* v, const char* name, int sync) {
    return System(v)->xDelete(System(v), name, sync);
  };
  vfs.xAccess = [](sqlite3_vfs* v, const char* name, int flags, int* out) {
    return System(v)->xAccess(System(v), name, flags, out);
  };
  vfs.xFullPathname = [](sqlite3_vfs* v, const char* name, int size, char* out) {
    return System(v)->xFullPathname(System(v), name, size, out);
  };
  vfs.xRandomness = [](sqlite3_vfs* v, int size, char* out) {
    return System(v)->xRandomness(System(v), size, out);
  };
  vfs.xSleep = [](sqlite3_vfs* v, int microseconds) { return System(v)->xSleep(System(v), microseconds); };
  vfs.xCurrentTime = [](sqlite3_vfs* v, double* out) { return System(v)->xCurrentTime(System(v), out); };
  vfs.xGetLastError = [](sqlite3_vfs* v, int size, char* out) {
    return System(v)->xGetLastError(System(v), size, out);
  };
  vfs.xCurrentTimeInt64 = [](sqlite3_vfs* v, sqlite3_int64* out) {
    return System(v)->xCurrentTimeInt64(System(v), out);
  };
  return vfs;
}

}  // namespace

const char* CheckedVfs(const char* below) {
  static std::mutex mutex;
  static std::map<std::string, sqlite3_vfs> made;  // by name; an entry never moves
  const std::lock_guard lock(mutex);
  sqlite3_initialize();
  const auto [found, isNew] = made.try_emplace(std::string("checked") + (below == nullptr ? "" : below));
  if (isNew) {
    found->second = MakeVfs(sqlite3_vfs_find(below), found->first.c_str());
    sqlite3_vfs_register(&found->second, 0);
  }
  return found->first.c_str();
}

bool IsReadOnly(sqlite3_file* file) { return Of(file).readOnly; }

}  // namespace store
