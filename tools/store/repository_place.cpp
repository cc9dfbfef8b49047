#include "store/repository_place.h"

#include <algorithm>
#include <vector>

#include "platform/data_file.h"
#include "platform/failures.h"
#include "platform/platform.h"
#include "store/bucket.h"
#include "store/place/place.h"

namespace store {
namespace {

using platform::PathKind;

bool IsMissing(const platform::PathInfo& info) {
  return info.kind == PathKind::kMissing && platform::MeansMissing(info.error);
}

// The system's reason why this user cannot get at the path.
std::string WhyNot(const std::string& path) {
  std::string why;
  (void)platform::DataFile::OpenForReading(path, why);
  return why;
}

// The nearest directory above the path that exists. If one is missing, its disk may not be mounted.
std::string NearestAbove(std::string path) {
  while (IsMissing(platform::LookUp(path))) {
    const std::string above = platform::DirectoryOf(path);
    if (above == path) {
      break;
    }
    path = above;
  }
  return path;
}

bool HasEntries(const std::string& directory) {
  std::vector<std::string> names;
  return platform::ListDirectory(directory, names) && !names.empty();
}

bool IsOfAnOlderRelease(const std::string& repository) {
  std::vector<std::string> names;
  (void)platform::ListDirectory(repository + "/savesets", names);
  return std::any_of(names.begin(), names.end(),
                     [](const std::string& name) { return name.ends_with(".kvs"); });
}

Status CheckRights(const std::string& path) {
  bool others = false;
  std::string why;
  if (!platform::OthersMayWrite(path, others, why)) {
    return Status::Failed("who may write there cannot be found out: " + why);
  }
  return others ? Status::Failed(
                      "it is refused: others may write there, or it belongs to another account. Let"
                      " nobody but this user or the administrator own and write it")
                : Status();
}

// A directory without the object that makes it a repository.
Status LookAtOther(const ServerConfig& config, RepositoryState& state) {
  state = RepositoryState::kNone;
  if (IsOfAnOlderRelease(config.repository)) {
    return Status::Failed(
        "it was made by an older release, and this one cannot use it: keep it for that release, and"
        " let the configuration name another directory");
  }
  if (HasEntries(config.repository + "/packs")) {
    return Status::Damaged("its file \"" + std::string(kRepositoryObject) +
                           "\" is missing beside its packs: korvo rebuild " + config.section +
                           " brings it back if the catalog has a copy");
  }
  return {};
}

Status LookAtDirectory(const ServerConfig& config, RepositoryState& state) {
  if (Status rights = CheckRights(config.repository); !rights) {
    return rights;
  }
  const std::string object = config.repository + "/" + kRepositoryObject;
  const platform::PathInfo info = platform::LookUp(object);
  if (IsMissing(info)) {
    return LookAtOther(config, state);
  }
  if (info.kind != PathKind::kFile) {
    return Status::Failed("this user cannot look into it: " + WhyNot(object));
  }
  // If the catalog is in a database, this is all that can be seen here.
  if (!config.database.empty() || !IsMissing(platform::LookUp(config.repository + "/" + kCatalogObject))) {
    state = RepositoryState::kHasCatalog;
    return {};
  }
  if (Status rights = CheckCatalogRights(config); !rights) {
    return rights;
  }
  const platform::PathInfo catalog = platform::LookUp(CatalogPath(config));
  if (!IsMissing(catalog)) {
    state = RepositoryState::kHasCatalog;
    return {};
  }
  state = RepositoryState::kNeverUsed;
  return HasEntries(config.repository + "/packs") || HasEntries(config.repository + "/savesets")
             ? Status::Damaged("its catalog, " + (config.catalog.empty() ? "catalog.db" : config.catalog) +
                               ", is missing: korvo rebuild " + config.section +
                               " makes it anew from the packs")
             : Status();
}

// For a repository in a bucket, the locks are beside the catalog's file, named like SQLite's own files;
// without such a file they are in the user's state directory. Empty if the user has none.
std::string RunsDirectory(const ServerConfig& config) {
  if (config.bucket.name.empty()) {
    return config.repository + "/runs";
  }
  if (!config.catalog.empty()) {
    return config.catalog + "-runs";
  }
  const std::string state = platform::UserStateDirectory();
  return state.empty() ? "" : state + "/korvo-" + config.catalogSchema + "-runs";
}

}  // namespace

std::string CatalogPath(const ServerConfig& config) {
  return config.catalog.empty() ? config.repository + "/catalog.db" : config.catalog;
}

RunLocks LocksOf(const ServerConfig& config) {
  // With a bucket and a database there is no directory that all hosts see.
  const bool manyHosts = !config.bucket.name.empty() && !config.database.empty();
  return {RunsDirectory(config), platform::ProcessSpace(),
          manyHosts ? RunLocks::Whose::kThisHosts : RunLocks::Whose::kEverybodys};
}

std::vector<std::string> OwnPathsOf(const ServerConfig& config) {
  std::vector<std::string> paths;
  if (config.bucket.name.empty()) {
    paths.push_back(config.repository);
  }
  if (!config.catalog.empty()) {
    for (const char* ending : {"", "-wal", "-shm", "-journal", "-spare", "-runs", "-rebuild"}) {
      paths.push_back(config.catalog + ending);
    }
  } else if (const std::string runs = RunsDirectory(config); !config.bucket.name.empty() && !runs.empty()) {
    paths.push_back(runs);
  }
  return paths;
}

Status CheckCatalogRights(const ServerConfig& config) {
  for (const std::string& path : {platform::DirectoryOf(config.catalog), config.catalog}) {
    if (config.catalog.empty() || !platform::Exists(path)) {
      continue;
    }
    if (Status rights = CheckRights(path); !rights) {
      return rights.Within("catalog " + path);
    }
  }
  return {};
}

Status LookAtRepository(const ServerConfig& config, RepositoryState& state) {
  state = RepositoryState::kNone;
  if (!config.bucket.name.empty()) {
    return LookAtBucket(config, state).Within("repository " + config.repository);
  }
  const platform::PathInfo info = platform::LookUp(config.repository);
  Status looked;
  if (info.kind == PathKind::kDirectory) {
    looked = LookAtDirectory(config, state);
  } else if (info.kind != PathKind::kMissing) {
    looked = Status::Failed("a file is in its place: let the configuration name a directory");
  } else if (!IsMissing(info)) {
    looked = Status::Failed("this user cannot look at it: " + WhyNot(config.repository));
  } else if (const std::string above = NearestAbove(config.repository);
             platform::LookUp(above).kind == PathKind::kFile) {
    looked = Status::Failed(above + " on the way to it is a file, not a directory");
  }
  return looked.Within("repository " + config.repository);
}

Status NoRepository(const ServerConfig& config) {
  const std::string start = "repository " + config.repository + ": ";
  const std::string end = " The first backup makes it, or korvo init " + config.section;
  if (!config.bucket.name.empty()) {
    return Status::Missing(start + "there is none in this bucket; nothing has been backed up to it yet." +
                           end);
  }
  if (platform::LookUp(config.repository).kind == PathKind::kDirectory) {
    return Status::Missing(start + "there is none in this directory; nothing has been backed up to it yet." +
                           end);
  }
  return Status::Missing(
      start + "the directory is not there; of those above it " + NearestAbove(config.repository) +
      " is. Either nothing has been backed up to it yet, or its disk is not mounted." + end);
}

Status CheckKeyFile(const std::string& path) {
  if (path.empty() || IsMissing(platform::LookUp(path))) {
    return {};
  }
  bool mayWrite = false;
  bool mayRead = false;
  std::string why;
  if (!platform::OthersMayWrite(path, mayWrite, why) || !platform::OthersMayRead(path, mayRead, why)) {
    return Status::Failed("who may read " + path + " cannot be found out: " + why);
  }
  return mayWrite || mayRead
             ? Status::Failed(
                   path +
                   " is refused: it contains a key, and others may read or write it. Let nobody but"
                   " this user own, read and write it")
             : Status();
}

}  // namespace store
