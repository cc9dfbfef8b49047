#include "store/catalog/sqlite_engine.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <unordered_map>

#include "platform/data_file.h"
#include "platform/failures.h"
#include "platform/network.h"
#include "platform/platform.h"
#include "store/catalog/checked_vfs.h"
#include "store/catalog/write_ahead_log.h"

namespace store {
namespace {

constexpr int kApplication = 0x4b4f5256;
constexpr std::uint64_t kMostBusyMilliseconds = 1'200'000;
// What is committed after an interrupt still counts.
constexpr std::uint64_t kMostAfterInterrupt = 3000;
constexpr std::uint32_t kMostPauseMilliseconds = 20;
constexpr int kLongestValue = 256 * 1024 * 1024;
constexpr int kLongestText = 100'000;
constexpr const char* kRebuild = "make it anew with `korvo rebuild`";

struct Closer {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct Finalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, Closer>;
using Statement = std::unique_ptr<sqlite3_stmt, Finalizer>;

Status DamagedFile(const std::string& what) {
  return Status::Damaged("the catalog " + what + ": " + kRebuild);
}

bool MeansBusy(int code) {
  return (code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED || (code & 0xff) == SQLITE_PROTOCOL;
}

bool MeansDamage(int code) {
  return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB || code == SQLITE_IOERR_DATA ||
         code == SQLITE_IOERR_CORRUPTFS || code == SQLITE_IOERR_SHORT_READ;
}

class SqliteRow : public SqlRow {
 public:
  explicit SqliteRow(sqlite3_stmt* statement) : statement_(statement) {}
  [[nodiscard]] bool IsNull(int column) const override {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
  }
  [[nodiscard]] std::int64_t Number(int column) const override {
    return sqlite3_column_int64(statement_, column);
  }
  [[nodiscard]] std::string_view Bytes(int column) const override {
    const void* bytes = sqlite3_column_blob(statement_, column);
    const int size = sqlite3_column_bytes(statement_, column);
    return bytes == nullptr
               ? std::string_view()
               : std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }

 private:
  sqlite3_stmt* statement_;
};

int Bind(sqlite3_stmt* statement, int place, const SqlValue& value) {
  switch (value.What()) {
    case SqlValue::Kind::kNull:
      return sqlite3_bind_null(statement, place);
    case SqlValue::Kind::kNumber:
      return sqlite3_bind_int64(statement, place, value.Number());
    case SqlValue::Kind::kBytes:
      break;
  }
  // An empty text may have no address, and a null address would be bound as no value at all.
  const std::string_view bytes = value.Bytes();
  return sqlite3_bind_blob64(statement, place, bytes.empty() ? "" : bytes.data(), bytes.size(),
                             SQLITE_STATIC);
}

// In milliseconds of the steady clock.
struct BusyWait {
  std::uint64_t began = 0;
  std::uint64_t interrupted = 0;  // when the interrupt was first seen; 0 if there was none
};

// Called while somebody else has a lock. Waits a little; 0 gives up.
int Wait(void* wait, int count) {
  auto& busy = *static_cast<BusyWait*>(wait);
  const std::uint64_t now = platform::SteadyMilliseconds();
  if (count == 0) {
    busy = {now, 0};
  }
  if (busy.interrupted == 0 && platform::Interrupted()) {
    busy.interrupted = now;
  }
  if (now - busy.began > kMostBusyMilliseconds ||
      (busy.interrupted != 0 && now - busy.interrupted > kMostAfterInterrupt)) {
    return 0;
  }
  // The length of the wait differs between programs, so that they do not wait in step.
  const auto turn = static_cast<std::uint32_t>(count + platform::ProcessId()) * 2654435761U >> 16;
  platform::SleepMilliseconds(
      1 + turn % std::min<std::uint32_t>(static_cast<std::uint32_t>(count) + 1, kMostPauseMilliseconds));
  return 1;
}

class SqliteEngine : public SqlEngine {
 public:
  Status Open(const std::string& path, const SqliteOptions& options);

  Status Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) override;
  [[nodiscard]] std::int64_t Changed() const override { return sqlite3_changes64(connection_.get()); }
  Status Begin() override;
  Status Commit() override { return Execute("COMMIT"); }
  void Rollback() override;
  [[nodiscard]] SqlTypes Types() const override { return {"INTEGER", "BLOB", " WITHOUT ROWID", SIZE_MAX}; }
  Status HasTable(std::string_view name, bool& has) override;
  Status CheckWhole(const std::function<void(const std::string&)>& wrong) override;
  Status Now(std::int64_t& seconds) override;
  [[nodiscard]] bool CanWrite() const override { return !readOnly_; }
  [[nodiscard]] bool IsShared() const override { return false; }

 private:
  Status Connect(const std::string& path, const char* files);
  Status Defend();
  Status CheckFile(const SqliteOptions& options, bool& isNew);
  Status CheckHeader();
  Status SetUpNew();
  Status ChooseJournal(bool sharedMemory);
  Status ReadPragma(const std::string& text, std::string& answer);
  Status SwitchJournal(const std::string& mode, std::string& answer);
  Status Execute(const char* text);
  Status Failure(const std::string& text = "") const;
  Status Prepare(const std::string& text, sqlite3_stmt*& statement);

  BusyWait busy_;
  Connection connection_;
  std::unordered_map<std::string, Statement> prepared_;
  sqlite3_file* file_ = nullptr;  // of the connection
  std::string path_;
  bool readOnly_ = false;
};

// ---- What went wrong -------------------------------------------------------------------------------------

Status SqliteEngine::Failure(const std::string& text) const {
  sqlite3* connection = connection_.get();
  if (connection == nullptr) {
    return Status::Failed("the catalog cannot be opened: out of memory");
  }
  const int code = sqlite3_extended_errcode(connection);
  if (MeansDamage(code)) {
    return DamagedFile("is damaged");
  }
  if (MeansBusy(code)) {
    return platform::Interrupted()
               ? Status::Interrupted()
               : Status::Failed("the catalog is in use by another program: try again when that has ended");
  }
  if ((code & 0xff) == SQLITE_FULL ||
      ((code & 0xff) == SQLITE_IOERR &&
       platform::MeansNoRoom(platform::ErrorName(sqlite3_system_errno(connection))))) {
    return Status::NoRoom("the catalog cannot be written: the disk is full");
  }
  if ((code & 0xff) == SQLITE_READONLY) {
    return Status::Failed("the catalog cannot be written: it is write-protected");
  }
  const std::string_view words = sqlite3_errmsg(connection);
  // Tables and columns are the same in every catalog.
  if (words.starts_with("no such ")) {
    return DamagedFile("is damaged (" + std::string(words) + ")");
  }
  std::string message = "the catalog cannot be used: " + std::string(words);
  const bool closed = (code & 0xff) == SQLITE_CANTOPEN;
  if (closed) {
    message += ", " + path_;
  }
  if (const int system = sqlite3_system_errno(connection);
      (closed || (code & 0xff) == SQLITE_IOERR) && system != 0) {
    message += " (" + platform::ErrorName(system) + ")";
  }
  return Status::Failed((code & 0xff) == SQLITE_ERROR ? message + ": " + text : message);
}

// ---- Opening ---------------------------------------------------------------------------------------------

Status SqliteEngine::Connect(const std::string& path, const char* files) {
  path_ = path;
  sqlite3* connection = nullptr;
  const int result =
      sqlite3_open_v2(platform::NativePath(path).c_str(), &connection,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, CheckedVfs(files));
  connection_.reset(connection);
  if (result != SQLITE_OK) {
    return Failure();
  }
  sqlite3_busy_handler(connection, Wait, &busy_);
  return sqlite3_file_control(connection, "main", SQLITE_FCNTL_FILE_POINTER, &file_) == SQLITE_OK ? Status()
                                                                                                  : Failure();
}

// Whoever can write the file must not be able to do more with it than damage it.
Status SqliteEngine::Defend() {
  sqlite3* connection = connection_.get();
  sqlite3_db_config(connection, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  for (const int off :
       {SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW,
        SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, SQLITE_DBCONFIG_DQS_DML, SQLITE_DBCONFIG_DQS_DDL}) {
    sqlite3_db_config(connection, off, 0, nullptr);
  }
  sqlite3_limit(connection, SQLITE_LIMIT_LENGTH, kLongestValue);
  sqlite3_limit(connection, SQLITE_LIMIT_SQL_LENGTH, kLongestText);
  sqlite3_limit(connection, SQLITE_LIMIT_ATTACHED, 0);
  return Execute(
      "PRAGMA cell_size_check = ON; PRAGMA mmap_size = 0; PRAGMA temp_store = MEMORY; "
      "PRAGMA cache_size = -4096; PRAGMA synchronous = EXTRA");
}

// Checks the beginning of the file before the engine makes anything of it.
Status SqliteEngine::CheckHeader() {
  constexpr std::string_view kStart("SQLite format 3\0", 16);
  std::array<unsigned char, 100> header{};
  if (file_->pMethods->xRead(file_, header.data(), static_cast<int>(header.size()), 0) != SQLITE_OK) {
    return DamagedFile("is damaged: its file is cut off");
  }
  const auto number = [&header](std::size_t at) {
    return header[at] << 24 | header[at + 1] << 16 | header[at + 2] << 8 | header[at + 3];
  };
  const bool isDatabase =
      std::string_view(reinterpret_cast<const char*>(header.data()), kStart.size()) == kStart;
  // If one of the three is wrong, that may be damage. If more are, the file is somebody else's.
  const int ours =
      (isDatabase ? 1 : 0) + (header[20] == kReservedBytes ? 1 : 0) + (number(68) == kApplication ? 1 : 0);
  if (ours < 2) {
    return Status::Damaged("the file " + path_ + " belongs to another program: put the catalog back, or " +
                           kRebuild);
  }
  return ours == 3 ? Status() : DamagedFile("is damaged: its beginning is not what was written");
}

Status SqliteEngine::CheckFile(const SqliteOptions& options, bool& isNew) {
  sqlite3_int64 size = 0;
  if (file_->pMethods->xFileSize(file_, &size) != SQLITE_OK) {
    return Failure();
  }
  if (size == 0 && (options.make == MakeCatalog::kNever || platform::LookUp(path_ + "-wal").size > 0)) {
    // Unless another program has made it meanwhile: the file's first page comes before anything in the log.
    if (file_->pMethods->xFileSize(file_, &size) != SQLITE_OK) {
      return Failure();
    }
    if (size == 0) {
      return DamagedFile("is empty");
    }
  }
  isNew = size == 0;
  return isNew ? Status() : CheckHeader();
}

Status SqliteEngine::SetUpNew() {
  int reserved = kReservedBytes;
  if (sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved) != SQLITE_OK) {
    return Failure();
  }
  // Two programs may be first at once. So what the file is gets written in one piece, with its first page.
  const std::string size = "PRAGMA page_size = " + std::to_string(kPageSize);
  if (Status set = Execute(size.c_str()); !set) {
    return set;
  }
  if (Status begun = Execute("BEGIN IMMEDIATE"); !begun) {
    return begun;
  }
  const std::string application = "PRAGMA application_id = " + std::to_string(kApplication);
  if (Status set = Execute(application.c_str()); !set) {
    Rollback();
    return set;
  }
  return Commit();
}

Status SqliteEngine::ReadPragma(const std::string& text, std::string& answer) {
  return Run(text, {}, [&answer](const SqlRow& row) {
    answer = row.Bytes(0);
    return Status();
  });
}

// The switch needs the file for itself for a moment, but does not wait for that.
Status SqliteEngine::SwitchJournal(const std::string& mode, std::string& answer) {
  Status switched;
  for (int tries = 0; tries < 3000; ++tries) {
    switched = ReadPragma("PRAGMA journal_mode = " + mode, answer);
    if (!MeansBusy(sqlite3_errcode(connection_.get())) || platform::Interrupted()) {
      break;
    }
    platform::SleepMilliseconds(kMostPauseMilliseconds);
  }
  return switched;
}

Status SqliteEngine::ChooseJournal(bool sharedMemory) {
  std::string mode;
  // First a look at what is in the file, then at its kind of journal.
  for (const char* pragma : {"PRAGMA schema_version", "PRAGMA journal_mode"}) {
    if (Status read = ReadPragma(pragma, mode); !read) {
      return read;
    }
  }
  readOnly_ = sqlite3_db_readonly(connection_.get(), "main") != 0 || IsReadOnly(file_);
  if (readOnly_) {
    return {};
  }
  const std::string wanted = sharedMemory ? "wal" : "delete";
  if (mode != wanted) {
    if (Status switched = SwitchJournal(wanted, mode); !switched) {
      return switched;
    }
  }
  if (mode == "wal" && sharedMemory) {
    return Execute("PRAGMA synchronous = FULL");
  }
  if (mode != "delete") {
    if (Status switched = SwitchJournal("delete", mode); !switched || mode != "delete") {
      return Status::Failed("the catalog cannot be written safely on this file system (journal " + mode +
                            "): use a local one, or a shared catalog (PostgreSQL)");
    }
  }
  return {};
}

Status SqliteEngine::Open(const std::string& path, const SqliteOptions& options) {
  bool isNew = false;
  if (Status connected = Connect(path, options.files); !connected) {
    return connected;
  }
  if (Status checked = CheckFile(options, isNew); !checked) {
    return checked;
  }
  if (Status defended = Defend(); !defended) {
    return defended;
  }
  if (Status made = isNew ? SetUpNew() : Status(); !made) {
    return made;
  }
  return ChooseJournal(options.sharedMemory);
}

// ---- Statements ------------------------------------------------------------------------------------------

Status SqliteEngine::Execute(const char* text) {
  return sqlite3_exec(connection_.get(), text, nullptr, nullptr, nullptr) == SQLITE_OK ? Status()
                                                                                       : Failure(text);
}

Status SqliteEngine::Prepare(const std::string& text, sqlite3_stmt*& statement) {
  auto prepared = prepared_.find(text);
  if (prepared == prepared_.end()) {
    sqlite3_stmt* made = nullptr;
    if (sqlite3_prepare_v3(connection_.get(), text.data(), static_cast<int>(text.size()),
                           SQLITE_PREPARE_PERSISTENT, &made, nullptr) != SQLITE_OK) {
      return Failure(text);
    }
    prepared = prepared_.emplace(text, Statement(made)).first;
  }
  statement = prepared->second.get();
  return {};
}

Status SqliteEngine::Run(const std::string& text, const std::vector<SqlValue>& values, const Row& row) {
  sqlite3_stmt* statement = nullptr;
  if (Status prepared = Prepare(text, statement); !prepared) {
    return prepared;
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string name = "$" + std::to_string(i + 1);
    if (Bind(statement, sqlite3_bind_parameter_index(statement, name.c_str()), values[i]) != SQLITE_OK) {
      return Failure(text);
    }
  }
  Status done;
  int result = SQLITE_ROW;
  while (done && (result = sqlite3_step(statement)) == SQLITE_ROW) {
    done = row ? row(SqliteRow(statement)) : Status();
  }
  if (done && result != SQLITE_DONE) {
    done = Failure(text);
  }
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  return done;
}

Status SqliteEngine::Begin() {
  if (readOnly_) {
    return Status::Failed("the catalog cannot be written: it is write-protected, or its disk is full");
  }
  if (Status begun = Execute("BEGIN IMMEDIATE"); !begun) {
    return begun;
  }
  // What is written into a catalog that a rebuild has put aside never comes into the new one.
  int moved = 0;
  if (sqlite3_file_control(connection_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK &&
      moved != 0) {
    Rollback();
    return Status::Failed("the catalog was made anew meanwhile, or its file is gone: call again");
  }
  return {};
}

void SqliteEngine::Rollback() {
  if (sqlite3_get_autocommit(connection_.get()) == 0) {
    sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

Status SqliteEngine::HasTable(std::string_view name, bool& has) {
  has = false;
  return Run("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = CAST($1 AS TEXT)", {name},
             [&has](const SqlRow&) {
               has = true;
               return Status();
             });
}

// Checks every page that is in use, and every index against its table.
Status SqliteEngine::CheckWhole(const std::function<void(const std::string&)>& wrong) {
  return Run("PRAGMA integrity_check", {}, [&wrong](const SqlRow& row) {
    if (std::string what(row.Bytes(0)); what != "ok") {
      std::replace(what.begin(), what.end(), '\n', ' ');
      wrong(what);
    }
    return Status();
  });
}

Status SqliteEngine::Now(std::int64_t& seconds) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  seconds = std::chrono::duration_cast<std::chrono::seconds>(now).count();
  return {};
}

}  // namespace

Status OpenSqliteWith(const std::string& path, const SqliteOptions& options,
                      std::unique_ptr<SqlEngine>& engine) {
  std::string why;
  if (const platform::PathInfo info = platform::LookUp(path); info.kind == platform::PathKind::kMissing) {
    if (!platform::MeansMissing(info.error)) {
      return Status::Failed("the catalog " + path + " cannot be looked up (error " +
                            std::to_string(info.error) + ")");
    }
    if (options.make == MakeCatalog::kNever) {
      return Status::Missing("the catalog " + path + " is missing: " + kRebuild);
    }
    // Made here for the sake of its access rights, which the engine's other files take over.
    const std::unique_ptr<platform::DataFile> made = platform::DataFile::CreateNew(path, why);
    if (made == nullptr && !platform::Exists(path)) {
      return OfSystem(why).Within("the catalog cannot be made");
    }
  } else if (info.kind != platform::PathKind::kFile) {
    return Status::Failed("the catalog " + path + " is no file");
  }
  auto opened = std::make_unique<SqliteEngine>();
  if (Status done = opened->Open(path, options); !done) {
    return done;
  }
  if (options.make == MakeCatalog::kIfMissing && !platform::SyncDirectory(platform::DirectoryOf(path), why)) {
    return Status::Failed("the repository cannot be synchronised: " + why);
  }
  engine = std::move(opened);
  return {};
}

Status OpenSqlite(const std::string& path, MakeCatalog make, std::unique_ptr<SqlEngine>& engine) {
  const bool alone = !platform::IsOnNetwork(platform::DirectoryOf(path));
  Status opened = OpenSqliteWith(path, {make, alone, nullptr}, engine);
  if (opened && make == MakeCatalog::kIfMissing && engine->CanWrite()) {
    KeepSpareRoom(path);
  }
  return opened;
}

}  // namespace store
