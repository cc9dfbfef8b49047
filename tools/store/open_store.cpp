// Opening a repository, and making one.
#include "store/open_store.h"

#include <algorithm>
#include <vector>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/bucket.h"
#include "store/catalog_home.h"
#include "store/dead_runs.h"
#include "store/place/directory_place.h"
#include "store/repository_place.h"
#include "store/saveset_objects.h"
#include "store/store.h"

namespace store {
namespace {

// The catalog decides which proposal becomes the repository, so everybody writes the same object, however
// often.
Status AgreeOnRepository(const ServerConfig& config, Place& place, const Store::ConnectCatalog& connect,
                         std::string& object) {
  std::unique_ptr<SqlEngine> engine;
  if (Status connected = connect(engine); !connected) {
    return connected;
  }
  if (Status free = CheckCatalogIsFree(config, *engine, place); !free) {
    return free;
  }
  if (Status agreed = Catalog::Found(*engine, object); !agreed || object.empty()) {
    return agreed;
  }
  Status noted = NoteCatalog(config, place);
  return noted ? place.Put(kRepositoryObject, object) : noted;
}

Status MakePlainRepository(const ServerConfig& config, Place& place, const Store::ConnectCatalog& connect,
                           std::string& object) {
  const Uid id = Uid::Random();
  Keys keys;
  if (Status made = Keys::Make(false, id, keys); !made) {
    return made;
  }
  std::string abilities;
  if (Status explored = place.Explore(abilities); !explored) {
    return explored;
  }
  object = EncodeRepository(id, keys, abilities);
  return AgreeOnRepository(config, place, connect, object);
}

// A backup must not make a repository without encryption where one with encryption is meant.
Status CheckPlainIsMeant(const ServerConfig& config) {
  return config.secretFile.empty() && config.keyFile.empty()
             ? Status()
             : Status::Failed(
                   "the configuration names its key files, and it is not there yet: make it with korvo "
                   "init " +
                   config.section + " --encrypt");
}

// Finishes what a program left that was killed while it made the repository; if there is nothing, makes a new
// one.
Status MakeIfMissing(const ServerConfig& config, Place& place, const Store::ConnectCatalog& connect,
                     std::string& object) {
  if (!object.empty()) {
    return {};
  }
  if (Status finished = AgreeOnRepository(config, place, connect, object); !finished || !object.empty()) {
    return finished;
  }
  Status plain = CheckPlainIsMeant(config);
  return plain ? MakePlainRepository(config, place, connect, object) : plain;
}

// ---- On this machine ----------------------------------------------------------------------------

Store::ConnectCatalog ConnectTo(const ServerConfig& config, MakeCatalog make) {
  const std::shared_ptr<CatalogHome> home = CatalogHomeOf(config);
  return [home, make](std::unique_ptr<SqlEngine>& engine) { return home->Connect(make, engine); };
}

Status MakeDirectory(const std::string& path, const ServerConfig& config) {
  std::string why;
  return platform::MakeDirectories(path, platform::DirectoryAccess::kPrivate, why)
             ? Status()
             : Status::Failed("repository " + config.repository + ": " +
                              (path == config.repository ? "it" : "the directory " + path) +
                              " cannot be made: " + why);
}

// Makes the directories of the objects, unless they are in a bucket, and of the catalog.
Status MakeDirectories(const ServerConfig& config) {
  if (config.bucket.name.empty()) {
    if (Status made = MakeDirectory(config.repository, config); !made) {
      return made;
    }
  }
  return config.database.empty() ? MakeDirectory(platform::DirectoryOf(CatalogPath(config)), config)
                                 : Status();
}

// The components of a path, without empty ones and `.`; each `..` removes the one before it.
std::vector<std::string> ComponentsOf(const std::string& path) {
  std::vector<std::string> components;
  const std::string folded = platform::FoldName(path);
  for (std::size_t begin = 0; begin < folded.size();) {
    const std::size_t end = std::min(folded.find_first_of("/\\", begin), folded.size());
    const std::string component = folded.substr(begin, end - begin);
    if (component == ".." && !components.empty()) {
      components.pop_back();
    } else if (!component.empty() && component != "." && component != "..") {
      components.push_back(component);
    }
    begin = end + 1;
  }
  return components;
}

// Compares the names alone: the file is not there yet.
bool IsBelow(const std::string& file, const std::string& directory) {
  const std::vector<std::string> inner = ComponentsOf(file);
  const std::vector<std::string> outer = ComponentsOf(directory);
  return inner.size() > outer.size() && std::equal(outer.begin(), outer.end(), inner.begin());
}

Status CheckMayMakeEncrypted(const ServerConfig& config) {
  const auto isInside = [&config](const std::string& file) {
    return config.bucket.name.empty() && IsBelow(file, config.repository);
  };
  if (config.secretFile.empty() || config.keyFile.empty() || config.secretFile == config.keyFile ||
      isInside(config.secretFile) || isInside(config.keyFile)) {
    return Status::Failed(
        "section [" + config.section + "] of " + (config.file.empty() ? "korvo.ini" : config.file) +
        " has to say where the two key files shall be: set secret_file and key_file, two full paths"
        " outside the repository");
  }
  return {};
}

// Makes the files first: a repository whose key was lost on the way would be worth nothing.
Status MakeEncryptedRepository(const ServerConfig& config, Place& place,
                               const Store::ConnectCatalog& connect) {
  const Uid id = Uid::Random();
  Keys keys;
  if (Status made = Keys::Make(true, id, keys); !made) {
    return made;
  }
  std::string abilities;
  if (Status explored = place.Explore(abilities); !explored) {
    return explored;
  }
  if (Status written = keys.WriteFiles(config.secretFile, config.keyFile); !written) {
    return written;
  }
  const std::string proposed = EncodeRepository(id, keys, abilities);
  std::string object = proposed;
  if (Status agreed = AgreeOnRepository(config, place, connect, object); !agreed) {
    return agreed;
  }
  if (object == proposed) {
    return {};
  }
  platform::RemoveFile(config.secretFile);
  platform::RemoveFile(config.keyFile);
  return Status::Conflict(
      "another korvo init has made it, at the same time or before, with keys of its own: "
      "they are needed now");
}

}  // namespace

// ---- Shared with the making of a new catalog ----------------------------------------------------

std::unique_ptr<Place> PlaceOf(const ServerConfig& config) {
  if (!config.bucket.name.empty()) {
    return BucketOf(config);
  }
  return std::make_unique<DirectoryPlace>(config.repository, platform::ProcessSpace());
}

Status ReadRepositoryObject(Place& place, std::string& bytes) {
  constexpr std::uint64_t kLargest = 64 * 1024;
  std::optional<std::uint64_t> size;
  Status got = place.GetSmall(kRepositoryObject, kLargest, size, bytes);
  return got && size.value_or(0) > kLargest ? Status::Damaged("its object \"repository\" is damaged") : got;
}

Status CheckEncryptionIsMeant(const ServerConfig& config, const Keys& keys) {
  return keys.Encrypts() || (config.secretFile.empty() && config.keyFile.empty())
             ? Status()
             : Status::Failed(
                   "the configuration names key files, and the repository is not encrypted: take "
                   "secret_file and key_file out of section [" +
                   config.section + "], or let it name another repository and call korvo init --encrypt");
}

namespace {

bool MayRead(const std::string& path) {
  std::string why;
  return !path.empty() && platform::DataFile::OpenForReading(path, why) != nullptr;
}

}  // namespace

Status ReadKeys(const ServerConfig& config, const std::string& object, Uid& id, Keys& keys) {
  std::string keysPart;
  if (Status decoded = DecodeRepository(object, id, keysPart); !decoded) {
    return decoded.Within("its object \"repository\"");
  }
  if (Status checked = CheckKeyFile(config.secretFile); !checked) {
    return checked;
  }
  const bool mayRead = MayRead(config.keyFile);
  if (Status checked = mayRead ? CheckKeyFile(config.keyFile) : Status(); !checked) {
    return checked;
  }
  // The configuration may name a key file that only another machine, or another user, has. Whoever needs the
  // key gets a message then.
  const std::string secretFile = platform::Exists(config.secretFile) ? config.secretFile : "";
  return Keys::Read(keysPart, id, secretFile, mayRead ? config.keyFile : "", keys);
}

// ---- Opening ------------------------------------------------------------------------------------

Status Store::Open(const ServerConfig& config, Access access, std::unique_ptr<Store>& store) {
  RepositoryState state = RepositoryState::kNone;
  if (Status looked = LookAtRepository(config, state); !looked) {
    return looked;
  }
  const bool makes = access == Access::kCreate && state == RepositoryState::kNone;
  if (state == RepositoryState::kNone && !makes) {
    return NoRepository(config);
  }
  if (state == RepositoryState::kNeverUsed && access == Access::kRead) {
    return NoRepository(config);
  }
  if (makes) {
    if (Status made = MakeDirectories(config); !made) {
      return made;
    }
  }
  const MakeCatalog make =
      state == RepositoryState::kHasCatalog ? MakeCatalog::kNever : MakeCatalog::kIfMissing;
  if (Status opened = Open(config, access, PlaceOf(config), ConnectTo(config, make), store); !opened) {
    return opened;
  }
  store->connect_ = ConnectTo(config, MakeCatalog::kNever);
  if (access == Access::kCreate && store->catalog_->CanWrite()) {
    CatalogHomeOf(config)->KeepRoom();
  }
  if (makes) {
    store->notes_.insert(store->notes_.begin(), "a new repository was made: " + config.repository);
  }
  return {};
}

Status Store::Open(const ServerConfig& config, Access access, std::unique_ptr<Place> place,
                   ConnectCatalog connect, std::unique_ptr<Store>& store) {
  std::unique_ptr<Store> opened(new Store(config, std::move(place), std::move(connect)));
  std::string object;
  Status done = ReadRepositoryObject(*opened->place_, object);
  if (done && !object.empty()) {
    done = CheckCatalogIsMeant(config, *opened->place_);
  }
  if (done && access == Access::kCreate) {
    done = MakeIfMissing(config, *opened->place_, opened->connect_, object);
  }
  if (done && object.empty()) {
    std::optional<std::uint64_t> size;
    done = opened->place_->Size(kRepositoryObject, size);
    if (done && !size) {
      return NoRepository(config);
    }
    return opened->Explain(done
                               ? Status::Damaged("its object \"repository\" is empty: korvo rebuild " +
                                                 config.section + " brings it back if the catalog has a copy")
                               : done);
  }
  if (done) {
    done = ReadKeys(config, object, opened->id_, opened->keys_);
  }
  if (done && access != Access::kRead) {
    done = CheckEncryptionIsMeant(config, opened->keys_);
  }
  if (!done) {
    return opened->Explain(done);
  }
  if (Status connected = opened->Connect(opened->catalog_); !connected) {
    return connected;
  }
  if (Status prepared = opened->catalog_->Prepare(); !prepared) {
    return opened->Explain(prepared);
  }
  if (access != Access::kRead && opened->catalog_->CanWrite()) {
    opened->CleanUp();
  }
  store = std::move(opened);
  return {};
}

// What cannot be cleaned up now is in nobody's way: it is reported, and left for the next opening.
void Store::CleanUp() {
  DeadRuns dead;
  Status done = EndDeadRuns(*catalog_, {*place_, keys_, id_}, dead);
  mayDelete_ = IsDamage(done) ? done : Status();
  const Status removed = mayDelete_ ? RemoveDeleted() : Status();
  if (done) {
    done = removed;
  }
  if (dead.runs + dead.sessions > 0) {
    notes_.push_back("programs that were killed left " + std::to_string(dead.runs) + " runs and " +
                     std::to_string(dead.sessions) + " sessions: they are closed as failed now");
  }
  if (!done) {
    notes_.push_back("what killed programs left could not all be removed: " + Explain(done).Message());
  }
}

bool Store::GiveSpareRoom(const ServerConfig& config) { return CatalogHomeOf(config)->GiveRoom(); }

Status Store::Make(const ServerConfig& config, bool encrypt, std::string* abilities) {
  RepositoryState state = RepositoryState::kNone;
  if (Status looked = LookAtRepository(config, state); !looked) {
    return looked;
  }
  if (state != RepositoryState::kNone) {
    return Status::Failed("repository " + config.repository + ": there is one already");
  }
  if (encrypt) {
    if (Status named = CheckMayMakeEncrypted(config); !named) {
      return named;
    }
  }
  if (Status made = MakeDirectories(config); !made) {
    return made;
  }
  const std::unique_ptr<Place> place = PlaceOf(config);
  const ConnectCatalog connect = ConnectTo(config, MakeCatalog::kIfMissing);
  std::string object;
  Status made = encrypt ? MakeEncryptedRepository(config, *place, connect)
                        : MakeIfMissing(config, *place, connect, object);
  if (made) {
    made = ReadRepositoryObject(*place, object);
  }
  if (!made) {
    return made.Within("repository " + config.repository);
  }
  if (abilities != nullptr) {
    *abilities = DecodeAbilities(object);
  }
  std::unique_ptr<Store> store;
  return Open(config, Access::kWrite, store);
}

Status Store::OpenCopy(const ServerConfig& config, const Uid& id, const std::string& object,
                       std::unique_ptr<Store>& store) {
  RepositoryState state = RepositoryState::kNone;
  Status done = LookAtRepository(config, state);
  if (done && state == RepositoryState::kNone) {
    Uid same;
    Keys keys;
    done = ReadKeys(config, object, same, keys);
    if (done) {
      done = CheckEncryptionIsMeant(config, keys).Within("repository " + config.repository);
    }
    if (done) {
      done = MakeDirectories(config);
    }
    std::string agreed = object;
    if (done) {
      done = AgreeOnRepository(config, *PlaceOf(config), ConnectTo(config, MakeCatalog::kIfMissing), agreed)
                 .Within("repository " + config.repository);
    }
  }
  if (done) {
    done = Open(config, Access::kWrite, store);
  }
  return !done || store->Id() == id
             ? done
             : Status::Failed(
                   "repository " + config.repository +
                   " is another one, even if nothing is in it yet: name a directory that is empty, which the "
                   "first copy fills, or a copy of this repository");
}

}  // namespace store
