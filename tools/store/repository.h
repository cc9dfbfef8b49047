// The backup server's memory: a directory with a catalog and one container for each saveset.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "store/catalog.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

struct JobRequest {
  Mode mode = Mode::kBackup;
  std::string session;
  std::string saveset;  // proposed for a backup, to be read for a restore
  std::string name;
  std::string pool;
};

class Repository {
 public:
  // Only a backup's session may make a repository: a wrong path must not read as one that holds nothing.
  static Status Open(const ServerConfig& config, Catalog::Access access,
                     std::unique_ptr<Repository>& repository);

  // What the control tool does. A session is named by the number that `OpenSession` gives.
  Status OpenSession(Mode mode, const std::string& client, std::string& session);
  // `saveset` gets the name of the job's saveset, a new one for a backup.
  Status OpenJob(const JobRequest& request, std::string& saveset);
  Status CloseJob(Mode mode, const std::string& session, const std::string& saveset, State state);
  Status CloseSession(Mode mode, const std::string& session, State state);

  // The savesets of a database, newest first; with a file, those that hold it (catalog.h tells their order).
  Status ListSavesets(const std::string& sid, const std::string& file, std::vector<std::string>& names);
  // What a saveset of the database holds.
  Status ListItems(const std::string& sid, const std::string& saveset, std::vector<std::string>& names);

  // What the mover works on: a saveset that an open job of this mode has named.
  Status FindOpenSaveset(const std::string& name, Mode mode, Saveset& saveset);
  [[nodiscard]] Catalog& Items() { return catalog_; }
  // The directories that hold the repository's files.
  [[nodiscard]] std::vector<std::string> Directories() const;
  [[nodiscard]] std::string ContainerPath(const Saveset& saveset) const;
  [[nodiscard]] int Compression() const { return config_.compression; }

 private:
  explicit Repository(ServerConfig config) : config_(std::move(config)) {}
  Status Explain(const Status& status) const;
  Status UseSession(Mode mode, const std::string& session, std::int64_t& id);
  Status UseSaveset(const std::string& name, Saveset& saveset);

  ServerConfig config_;
  Catalog catalog_;
};

}  // namespace store
