// A catalog in a file, beside the objects or elsewhere.
#include <algorithm>
#include <array>

#include "platform/data_file.h"
#include "platform/open_files.h"
#include "platform/platform.h"
#include "store/catalog/schema.h"
#include "store/catalog_homes.h"
#include "store/repository_place.h"

namespace store {
namespace {

// The endings of the files that the engine may keep for a catalog.
constexpr std::array<const char*, 4> kEndings = {"", "-wal", "-shm", "-journal"};

Status Rename(const std::string& from, const std::string& to) {
  std::string why;
  return platform::ReplaceFile(from, to, why)
             ? Status()
             : Status::Failed(from + " cannot be renamed to " + to + ": " + why);
}

// catalog.db has catalog.new.db beside it, and catalog.old-1.db.
std::string Beside(const std::string& catalog, const std::string& which) {
  constexpr std::string_view kEnding = ".db";
  const std::size_t end = catalog.ends_with(kEnding) ? catalog.size() - kEnding.size() : catalog.size();
  return catalog.substr(0, end) + "." + which + std::string(kEnding);
}

// Undoes PutFileAside, as far as the system lets it.
void PutBack(const std::string& catalog, const std::string& aside) {
  for (const char* ending : kEndings) {
    if (!aside.empty() && platform::Exists(aside + ending)) {
      Ignore(Rename(aside + ending, catalog + ending));
    }
  }
}

Status ReadState(SqlEngine& engine, std::string& state) {
  state.clear();
  return engine.Run(kSelectChanges, {"saveset", "pack"},
                    [&state](const SqlRow& row) { return ReadChanges(row, state); });
}

}  // namespace

bool HasAnyFile(const std::string& catalog) {
  return std::any_of(kEndings.begin(), kEndings.end(),
                     [&](const char* ending) { return platform::Exists(catalog + ending); });
}

// A log that stayed behind without its catalog would be taken for the log of the new one.
Status PutFileAside(const std::string& catalog, std::string& aside) {
  if (!HasAnyFile(catalog)) {
    return {};
  }
  int number = 1;
  do {
    aside = Beside(catalog, "old-" + std::to_string(number++));
  } while (HasAnyFile(aside));
  for (const char* ending : kEndings) {
    if (platform::Exists(catalog + ending)) {
      if (Status renamed = Rename(catalog + ending, aside + ending); !renamed) {
        return renamed;
      }
    }
  }
  return {};
}

Status ReadFileState(const std::string& catalog, std::string& state) {
  std::unique_ptr<SqlEngine> engine;
  Status read = OpenSqlite(catalog, MakeCatalog::kNever, engine);
  if (read) {
    read = ReadState(*engine, state);
  }
  if (!read) {
    state.clear();
  }
  return PassIfLost(read);
}

Status HoldUnchanged(const std::string& catalog, const std::string& state, std::unique_ptr<SqlEngine>& held) {
  if (state.empty()) {
    return {};
  }
  std::string now;
  Status done = OpenSqlite(catalog, MakeCatalog::kNever, held);
  if (done) {
    done = held->Begin();
  }
  if (done) {
    done = ReadState(*held, now);
  }
  if (!platform::CanRenameOpenFiles()) {
    held.reset();
  }
  return !done || now == state ? done : Status::Conflict(kCatalogChanged);
}

void EndHold(const std::string& aside, std::unique_ptr<SqlEngine>& held) {
  if (held != nullptr) {
    held.reset();
    std::unique_ptr<SqlEngine> engine;
    Ignore(OpenSqlite(aside, MakeCatalog::kNever, engine));
  }
}

namespace {

class FileHome : public CatalogHome {
 public:
  explicit FileHome(std::string path) : path_(std::move(path)) {}

  Status Connect(MakeCatalog make, std::unique_ptr<SqlEngine>& engine) override {
    return OpenSqlite(path_, make, engine);
  }
  void KeepRoom() override { KeepSpareRoom(path_); }
  bool GiveRoom() override { return GiveSpareRoom(path_); }
  Status BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) override;
  Status EndNew(std::string& aside) override;
  void DropNew() override;

 private:
  [[nodiscard]] std::string NewPath() const { return Beside(path_, "new"); }
  Status RefuseOthers(const Uid& repository) const;
  Status RemoveNew() const;

  std::string path_;
  std::unique_ptr<platform::FileClaim> claim_;  // of the program that makes a new catalog
  std::string state_;                           // of the old catalog, as it was when the new one was begun
};

Status FileHome::RemoveNew() const {
  for (const char* ending : kEndings) {
    const std::string path = NewPath() + ending;
    if (!platform::RemoveFile(path) && platform::Exists(path)) {
      return Status::Failed(path + " cannot be deleted");
    }
  }
  return {};
}

void FileHome::DropNew() {
  if (claim_ != nullptr) {
    Ignore(RemoveNew());
    GiveSpareRoom(NewPath());
    claim_.reset();
  }
}

Status FileHome::RefuseOthers(const Uid& repository) const {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  return OpenSqlite(NewPath(), MakeCatalog::kNever, engine) && IsOfAnother(*engine, repository, other)
             ? Status::Failed("the file " + NewPath() +
                              ", which is to be the new catalog, is another one's (" + other.Hex() +
                              "): let that one have another name")
             : Status();
}

Status FileHome::BeginNew(const Uid& repository, std::unique_ptr<SqlEngine>& engine) {
  // A catalog outside the repository may have been lost together with its directory.
  std::string why;
  const std::string directory = platform::DirectoryOf(path_);
  if (!platform::MakeDirectories(directory, platform::DirectoryAccess::kPrivate, why)) {
    return Status::Failed("the directory " + directory + " cannot be made: " + why);
  }
  claim_ = platform::FileClaim::TryClaim(path_ + "-rebuild", 0);
  if (claim_ == nullptr) {
    return Status::Failed("another korvo rebuild is at work, or the file " + path_ +
                          "-rebuild cannot be made and locked: wait for its end, or look at the file");
  }
  if (Status ours = RefuseOthers(repository); !ours) {
    claim_.reset();  // nothing was begun that would have to be deleted
    return ours;
  }
  if (Status removed = RemoveNew(); !removed) {
    return removed;
  }
  if (Status read = ReadFileState(path_, state_); !read) {
    return read;
  }
  return OpenSqlite(NewPath(), MakeCatalog::kIfMissing, engine);
}

Status FileHome::EndNew(std::string& aside) {
  // These files hold changes that the new catalog would lack.
  for (const char* ending : {"-wal", "-journal"}) {
    if (platform::Exists(NewPath() + ending)) {
      return Status::NoRoom("the new catalog could not be brought to its file whole: " + NewPath() + ending +
                            " is left");
    }
  }
  std::unique_ptr<SqlEngine> held;
  if (Status unchanged = HoldUnchanged(path_, state_, held); !unchanged) {
    return unchanged;
  }
  Status exchanged = PutFileAside(path_, aside);
  if (exchanged) {
    exchanged = Rename(NewPath(), path_);
  }
  if (!exchanged) {
    PutBack(path_, aside);
    return exchanged;
  }
  EndHold(aside, held);
  GiveSpareRoom(NewPath());
  std::string why;
  return platform::SyncDirectory(platform::DirectoryOf(path_), why)
             ? Status()
             : Status::Failed("the new catalog may not outlive a power failure: " + why);
}

}  // namespace

std::unique_ptr<CatalogHome> MakeFileHome(const ServerConfig& config) {
  return std::make_unique<FileHome>(CatalogPath(config));
}

}  // namespace store
