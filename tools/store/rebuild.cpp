// Making the catalog anew from packs and saveset objects. No data is read, only tables, records and small
// objects. The new catalog is made beside the old one and takes its place when it is whole.
#include <array>
#include <map>
#include <set>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/open_store.h"
#include "store/pack/pack_reader.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {
namespace {

// What the engine may keep beside a catalog.
constexpr std::array<const char*, 4> kEndings = {"", "-wal", "-shm", "-journal"};

using Tell = std::function<void(const std::string&)>;

class Import {
 public:
  Import(const ObjectShelf& shelf, Catalog& catalog, const Tell& tell)
      : shelf_(shelf), catalog_(catalog), tell_([this, &tell](const std::string& loss) {
          lossless_ = false;
          tell(loss);
        }) {}
  Import(const Import&) = delete;
  Import& operator=(const Import&) = delete;

  Status Run(Store::Rebuilt& rebuilt) {
    Status done = ImportSavesets();
    if (done) {
      done = ImportPacks();
    }
    if (done) {
      NoteOthers(rebuilt);
      done = catalog_.FinishImport(tell_);
    }
    // Where something is lost, somebody may bring it back, and then they are needed again.
    if (done && lossless_) {
      done = catalog_.NameUnneededPacks(rebuilt.unneeded);
    }
    rebuilt.savesets = savesets_.size();
    rebuilt.packs = packs_;
    return done;
  }

 private:
  Status ImportSavesets();
  Status ImportSaveset(const Uid& uid);
  Status ImportPacks();
  Status ImportPack(const Uid& uid, std::uint64_t size);
  Status ReadRecords(const PackReader& pack, std::vector<std::string>& records);
  void NoteOthers(Store::Rebuilt& rebuilt) const;

  ObjectShelf shelf_;
  Catalog& catalog_;
  Tell tell_;
  bool lossless_ = true;
  std::set<Uid> savesets_;  // that are in the new catalog
  std::uint64_t packs_ = 0;
  std::map<Uid, std::uint64_t> others_;  // items of savesets that were deleted, or whose beginning is lost
};

Status Import::ImportSavesets() {
  std::set<Uid> uids;
  Status listed = shelf_.place.List(kSavesetPrefix, [&uids](const std::string& name, std::uint64_t /*size*/) {
    Uid uid;
    const std::string_view id = std::string_view(name).substr(std::string_view(kSavesetPrefix).size());
    if (Uid::FromHex(id.substr(0, id.find('.')), uid)) {
      uids.insert(uid);
    }
    return Status();
  });
  for (auto uid = uids.begin(); listed && uid != uids.end(); ++uid) {
    listed = ImportSaveset(*uid);
  }
  return listed;
}

// What was in a saveset whose own object is damaged can still be restored, by a name that tells what
// happened.
Status Import::ImportSaveset(const Uid& uid) {
  SavesetObjects objects;
  if (Status read = ReadSavesetObjects(shelf_, uid, objects); !read) {
    tell_(read.Message());
  }
  Saveset& saveset = objects.saveset;
  if (!objects.begun) {
    constexpr std::size_t kDigits = 16;
    saveset.name = "RECOVERED_" + uid.Hex().substr(0, kDigits);
    saveset.mover = Mover::kEndedFailed;
    tell_("name, database and pool of saveset " + uid.Hex() + " are lost: it is " + saveset.name + " now");
  }
  savesets_.insert(uid);
  return catalog_.ImportSaveset(saveset);
}

Status Import::ImportPacks() {
  return shelf_.place.List(kPackPrefix, [this](const std::string& name, std::uint64_t size) {
    Uid uid;
    if (!Uid::FromHex(name.substr(name.rfind('/') + 1), uid) || name != PackObject(uid)) {
      tell_("object " + name + " is no pack: it is passed over");
      return Status();
    }
    return ImportPack(uid, size);
  });
}

Status Import::ImportPack(const Uid& uid, std::uint64_t size) {
  std::shared_ptr<const PackReader> pack;
  if (Status opened = PackReader::Open(shelf_.place, shelf_.keys, shelf_.repository, uid, size, pack);
      !opened) {
    tell_(opened.Message() + "; lost is what was completed with this pack, and what refers to it");
    return {};
  }
  ++packs_;
  std::vector<std::string> records;
  if (savesets_.count(pack->Tables().saveset) == 0) {
    others_[pack->Tables().saveset] += pack->Tables().items;
  } else if (Status read = ReadRecords(*pack, records); !read) {
    return read;
  }
  Pack row;
  row.uid = uid;
  row.size = size;
  Status imported = catalog_.ImportPack(row, pack->Tables().saveset, records);
  if (imported.What() == Status::Kind::kDamaged) {
    tell_("pack " + uid.Hex() + ": " + imported.Message() + "; lost is what was completed with it");
    return {};
  }
  return imported;
}

Status Import::ReadRecords(const PackReader& pack, std::vector<std::string>& records) {
  const std::vector<BlockEntry>& blocks = pack.Tables().blocks;
  for (std::uint64_t number = 0; number < blocks.size(); ++number) {
    if (blocks[number].kind != BlockKind::kRecords) {
      continue;
    }
    std::string bytes;
    if (Status read = pack.ReadBlock(number, bytes); !read) {
      tell_(read.Message() + "; lost are the items whose records are in this block");
      continue;
    }
    Decoder decoder(bytes);
    while (decoder.Left() > 0 && !decoder.Failed()) {
      records.emplace_back(decoder.Text());
    }
    if (decoder.Failed()) {
      records.pop_back();
      tell_(pack.DamagedBlock(number, "its records are damaged").Message());
    }
  }
  return {};
}

// Usual after a deletion: a pack stays as long as an item of another saveset refers to it.
void Import::NoteOthers(Store::Rebuilt& rebuilt) const {
  for (const auto& [uid, items] : others_) {
    rebuilt.notes.push_back("packs of saveset " + uid.Hex() +
                            " are there and its beginning is not, as after a deletion: its " +
                            std::to_string(items) + " items stay deleted");
  }
}

// ---- Files --------------------------------------------------------------------------------------

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

// A catalog outside the repository may be lost with its directory.
Status MakeDirectoryOf(const std::string& catalog) {
  std::string why;
  const std::string directory = platform::DirectoryOf(catalog);
  return platform::MakeDirectories(directory, platform::DirectoryAccess::kPrivate, why)
             ? Status()
             : Status::Failed("the directory " + directory + " cannot be made: " + why);
}

std::string NewBeside(const std::string& catalog) { return Beside(catalog, "new"); }

Status RemoveNewCatalog(const std::string& catalog) {
  for (const char* ending : kEndings) {
    const std::string path = NewBeside(catalog) + ending;
    if (!platform::RemoveFile(path) && platform::Exists(path)) {
      return Status::Failed(path + " cannot be deleted");
    }
  }
  return {};
}

Status PutAside(const std::string& catalog, std::string& aside) {
  if (!platform::Exists(catalog)) {
    return {};
  }
  int number = 1;
  do {
    aside = Beside(catalog, "old-" + std::to_string(number++));
  } while (platform::Exists(aside));
  for (const char* ending : kEndings) {
    const std::string path = catalog + ending;
    if (platform::Exists(path)) {
      if (Status renamed = Rename(path, aside + ending); !renamed) {
        return renamed;
      }
    }
  }
  return {};
}

Status Exchange(const std::string& catalog, std::string& aside) {
  if (Status put = PutAside(catalog, aside); !put) {
    return put;
  }
  if (Status renamed = Rename(NewBeside(catalog), catalog); !renamed) {
    return renamed;
  }
  std::string why;
  return platform::SyncDirectory(platform::DirectoryOf(catalog), why)
             ? Status()
             : Status::Failed("the new catalog may not outlive a power failure: " + why);
}

// ---- Steps --------------------------------------------------------------------------------------

Status RefuseRunning(const ServerConfig& config) {
  bool alive = false;
  if (Status asked = LocksOf(config).IsAnyAlive(alive); !asked) {
    return asked;
  }
  return alive ? Status::Failed("a backup is running: wait for its end, then call again") : Status();
}

// The catalog has a copy of the repository's own object.
Status RecoverObject(const std::string& catalog, Place& place, std::string& object) {
  std::unique_ptr<SqlEngine> engine;
  object.clear();
  Status asked = OpenSqlite(catalog, MakeCatalog::kNever, engine);
  if (asked) {
    asked = Catalog::Found(*engine, object);
  }
  if (!asked || object.empty()) {
    return Status::Damaged(
        "its object \"repository\" is missing or damaged, and the catalog has no copy: bring the"
        " file back from a copy of the repository");
  }
  return place.Put(kRepositoryObject, object);
}

Status ReadObject(const std::string& catalog, Place& place, std::string& object, Store::Rebuilt& rebuilt) {
  Uid id;
  std::string keysPart;
  Status read = ReadRepositoryObject(place, object);
  if (read && !object.empty() && DecodeRepository(object, id, keysPart)) {
    return {};
  }
  if (Status recovered = RecoverObject(catalog, place, object); !recovered) {
    return recovered;
  }
  rebuilt.notes.emplace_back(
      "the object \"repository\" was missing or damaged: it is back from the catalog's copy");
  return {};
}

Status MakeNewCatalog(const std::string& path, const std::string& object, const ObjectShelf& shelf,
                      const Tell& tell, Store::Rebuilt& rebuilt) {
  std::unique_ptr<SqlEngine> engine;
  if (Status opened = OpenSqlite(path, MakeCatalog::kIfMissing, engine); !opened) {
    return opened;
  }
  std::string same = object;
  if (Status founded = Catalog::Found(*engine, same); !founded) {
    return founded;
  }
  Catalog catalog(std::move(engine), shelf.repository);
  if (Status prepared = catalog.Prepare(); !prepared) {
    return prepared;
  }
  return Import(shelf, catalog, tell).Run(rebuilt);
}

Status RebuildIn(const ServerConfig& config, Place& place, const Tell& tell, Store::Rebuilt& rebuilt) {
  const std::string catalog = CatalogPath(config);
  std::string object;
  Uid id;
  Keys keys;
  Status done = RefuseRunning(config);
  if (done) {
    done = ReadObject(catalog, place, object, rebuilt);
  }
  if (done) {
    done = ReadKeys(config, object, id, keys);
  }
  if (done) {
    done = keys.CanSave();
  }
  if (done) {
    done = MakeDirectoryOf(catalog);
  }
  if (done) {
    done = RemoveNewCatalog(catalog);
  }
  if (done) {
    done = MakeNewCatalog(NewBeside(catalog), object, {place, keys, id}, tell, rebuilt);
  }
  return done ? Exchange(catalog, rebuilt.oldCatalog) : done;
}

}  // namespace

Status Store::Rebuild(const ServerConfig& config, const Tell& tell, Rebuilt& rebuilt) {
  RepositoryState state = RepositoryState::kNone;
  // What is damaged is what this is for.
  Status looked = LookAtRepository(config, state);
  if (!looked && looked.What() != Status::Kind::kDamaged) {
    return looked;
  }
  if (looked && state == RepositoryState::kNone) {
    return NoRepository(config);
  }
  const std::unique_ptr<Place> place = PlaceOf(config);
  Status done = RebuildIn(config, *place, tell, rebuilt).Within("repository " + config.repository);
  if (!done || rebuilt.unneeded == 0) {
    return done;
  }
  rebuilt.notes.push_back("packs that no item needs, left by programs that were killed, are deleted: " +
                          std::to_string(rebuilt.unneeded));
  std::unique_ptr<Store> store;
  return Open(config, Access::kWrite, store);
}

}  // namespace store
