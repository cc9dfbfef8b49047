// Making the catalog anew from packs and saveset objects. No data is read, only tables, records and small
// objects. The new catalog is made beside the old one and takes its place when it is whole.
#include <algorithm>
#include <map>
#include <set>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/base/bytes.h"
#include "store/catalog_home.h"
#include "store/dead_runs.h"
#include "store/open_store.h"
#include "store/pack/pack_reader.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {
namespace {

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
    if (done) {
      done = CompareItems();
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
  [[nodiscard]] std::string RecoveredName(const Uid& uid) const;
  Status ImportPacks();
  Status ImportPack(const Uid& uid, std::uint64_t size);
  Status ReadRecords(const PackReader& pack, std::vector<std::string>& records);
  void NoteOthers(Store::Rebuilt& rebuilt) const;
  Status CompareItems();

  ObjectShelf shelf_;
  Catalog& catalog_;
  Tell tell_;
  bool lossless_ = true;
  std::set<Uid> savesets_;                // that are in the new catalog
  std::set<std::string> names_;           // that they bear
  std::map<Uid, std::int64_t> promised_;  // how many items they had at their end
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

// It is told a line each.
bool IsNameOfSaveset(const std::string& name) {
  constexpr std::size_t kLongest = 1024;
  return !name.empty() && name.size() <= kLongest &&
         std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) > ' '; });
}

std::string Import::RecoveredName(const Uid& uid) const {
  constexpr std::size_t kDigits = 16;
  const std::string usual = "RECOVERED_" + uid.Hex().substr(0, kDigits);
  return names_.count(usual) == 0 ? usual : "RECOVERED_" + uid.Hex() + "_" + Uid::Random().Hex();
}

// What was in a saveset whose own object is damaged can still be restored, by a name that tells what
// happened.
Status Import::ImportSaveset(const Uid& uid) {
  SavesetObjects objects;
  if (Status read = ReadSavesetObjects(shelf_, uid, objects); IsDamage(read)) {
    tell_(read.Message());
  } else if (!read) {
    return read;
  }
  Saveset& saveset = objects.saveset;
  if (!objects.begun) {
    saveset.name = RecoveredName(uid);
    saveset.mover = Mover::kEndedFailed;
    tell_("name, database and pool of saveset " + uid.Hex() + " are lost: it is " + saveset.name + " now");
  } else if (!IsNameOfSaveset(saveset.name) || names_.count(saveset.name) != 0) {
    saveset.name = RecoveredName(uid);
    tell_("saveset " + uid.Hex() + " has the name of another one, or one that none can have: it is " +
          saveset.name + " now");
  }
  names_.insert(saveset.name);
  savesets_.insert(uid);
  promised_[uid] = saveset.items;
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
      IsDamage(opened)) {
    tell_(opened.Message() + "; lost is what was completed with this pack, and what refers to it");
    return {};
  } else if (!opened) {
    return opened;
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
    if (Status read = pack.ReadBlock(number, bytes); IsDamage(read)) {
      tell_(read.Message() + "; lost are the items whose records are in this block");
      continue;
    } else if (!read) {
      return read;
    }
    Decoder decoder(bytes);
    while (decoder.Left() > 0 && !decoder.Failed() && records.size() <= pack.Tables().items) {
      records.emplace_back(decoder.Text());
    }
    if (decoder.Failed() || records.size() > pack.Tables().items) {
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

// An item whose record is gone with its pack is named by nothing that is left.
Status Import::CompareItems() {
  for (const auto& [uid, items] : promised_) {
    std::optional<Saveset> saveset;
    if (Status found = catalog_.FindSavesetByUid(uid, saveset); !found) {
      return found;
    }
    if (!saveset || saveset->items >= items) {
      continue;
    }
    tell_("of the " + std::to_string(items) + " items of the saveset " + saveset->name + ", " +
          std::to_string(items - saveset->items) + " are not there: packs are missing or damaged");
    // It counts as a good backup no more.
    if (Status noted = catalog_.NoteTorn(saveset->id, "items were lost with packs"); !noted) {
      return noted;
    }
  }
  return {};
}

// ---- Steps --------------------------------------------------------------------------------------

Status RefuseRunning(const ServerConfig& config) {
  bool alive = false;
  if (Status asked = LocksOf(config).IsAnyAlive(alive); !asked) {
    return asked;
  }
  return alive ? Status::Failed("a backup is running: wait for its end, then call again") : Status();
}

// Of a catalog that many hosts share: its runs tell of themselves there. What cannot be read hinders nothing:
// that is what this is for.
Status RefuseRuns(Catalog& old, Place& place) {
  std::vector<Run> runs;
  std::int64_t now = 0;
  if (!old.ListRuns(runs) || !old.Now(now)) {
    return {};
  }
  Status done;
  for (auto run = runs.begin(); done && run != runs.end(); ++run) {
    bool over = false;
    done = IsRunOver(old, place, *run, now, over);
    if (done && !over) {
      done = Status::Failed("a backup is running on " + run->process.host +
                            ", or was killed there a few minutes ago: wait for its end, then call again");
    }
  }
  return done;
}

// The new catalog knows no session: what the open ones mean has to be an object before.
Status TakeSessions(Catalog& old, const ObjectShelf& shelf) {
  std::vector<Session> broken;
  bool alive = false;
  if (!ListBrokenBackups(old, broken, alive)) {
    return {};
  }
  Status done =
      alive ? Status::Failed("a backup is not over: wait for the end of backint, then call again") : Status();
  for (auto session = broken.begin(); done && session != broken.end(); ++session) {
    // Its process may have closed it well between the look at its row and that at the process.
    std::optional<Session> now;
    if (old.FindSession(session->id, now) && now && !now->closed) {
      done = NoteBackupFailed(old, shelf, session->id);
      done = IsDamage(done) ? Status() : done;
    }
  }
  return done;
}

// Behind the moment from which on changes of the old catalog end the rebuild. A catalog that is missing, or
// cannot be used, is what this is for.
Status LookAtOld(CatalogHome& home, const ObjectShelf& shelf) {
  std::unique_ptr<SqlEngine> engine;
  Uid other;
  if (!home.Connect(MakeCatalog::kNever, engine)) {
    return {};
  }
  if (IsOfAnother(*engine, shelf.repository, other)) {
    return engine->IsShared()
               ? Status::Failed("the catalog that the configuration names is another repository's (" +
                                other.Hex() + "): let catalog_schema name another schema")
               : Status();
  }
  const bool shared = engine->IsShared();
  Catalog old(std::move(engine), shelf.repository);
  Status done = shared ? RefuseRuns(old, shelf.place) : Status();
  return done ? TakeSessions(old, shelf) : done;
}

// The catalog has a copy of the repository's own object.
Status RecoverObject(CatalogHome& home, Place& place, std::string& object) {
  std::unique_ptr<SqlEngine> engine;
  object.clear();
  Status asked = home.Connect(MakeCatalog::kNever, engine);
  if (asked) {
    asked = Catalog::Found(*engine, object);
  }
  if (!asked || object.empty()) {
    return Status::Damaged(
        "its object \"repository\" is missing or damaged, and the catalog has no copy: bring the"
        " file back from a copy of the repository");
  }
  if (Status put = place.Put(kRepositoryObject, object); !put) {
    return put;
  }
  // Some systems replace no file that another program has open, and what is there is taken for the new one.
  std::string there;
  if (Status read = ReadRepositoryObject(place, there); !read) {
    return read;
  }
  return there == object
             ? Status()
             : Status::Failed("its object \"repository\" cannot be replaced: another program reads it");
}

Status ReadObject(CatalogHome& home, Place& place, std::string& object, Store::Rebuilt& rebuilt) {
  Uid id;
  std::string keysPart;
  Status read = ReadRepositoryObject(place, object);
  if (read && !object.empty() && DecodeRepository(object, id, keysPart)) {
    return {};
  }
  if (Status recovered = RecoverObject(home, place, object); !recovered) {
    return recovered;
  }
  rebuilt.notes.emplace_back(
      "the object \"repository\" was missing or damaged: it is back from the catalog's copy");
  return {};
}

Status MakeNewCatalog(CatalogHome& home, const std::string& object, const ObjectShelf& shelf,
                      const Tell& tell, Store::Rebuilt& rebuilt) {
  std::unique_ptr<SqlEngine> engine;
  if (Status begun = home.BeginNew(shelf.repository, engine); !begun) {
    return begun;
  }
  if (Status looked = LookAtOld(home, shelf); !looked) {
    return looked;
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

// A catalog in a database stays there: other hosts may go on with it.
Status RefuseFileForDatabase(const ServerConfig& config, Place& place) {
  return config.database.empty() ? CheckCatalogIsMeant(config, place) : CheckSchemaIsMeant(config, place);
}

Status RebuildIn(const ServerConfig& config, Place& place, const Tell& tell, Store::Rebuilt& rebuilt) {
  const std::unique_ptr<CatalogHome> home = CatalogHomeOf(config);
  std::string object;
  Uid id;
  Keys keys;
  Status done = RefuseRunning(config);
  if (done) {
    done = RefuseFileForDatabase(config, place);
  }
  if (done) {
    done = ReadObject(*home, place, object, rebuilt);
  }
  if (done) {
    done = ReadKeys(config, object, id, keys);
  }
  if (done) {
    done = keys.CanSave();
  }
  if (done) {
    done = CheckEncryptionIsMeant(config, keys);
  }
  if (done) {
    done = MakeNewCatalog(*home, object, {place, keys, id}, tell, rebuilt);
  }
  if (done) {
    done = RefuseRunning(config);
  }
  // First nobody may use an old catalog in a file any more.
  if (done) {
    done = NoteCatalog(config, place);
  }
  if (done) {
    done = home->EndNew(rebuilt.oldCatalog);
  }
  if (!done) {
    home->DropNew();
  }
  return done;
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
