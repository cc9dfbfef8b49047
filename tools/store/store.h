// The store: one repository, opened with the settings of a server's section. Its rules are here, and in
// SavesetWriter and SavesetReader, the two classes that work on an open store.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "store/catalog/catalog.h"
#include "store/keys/keys.h"
#include "store/place/place.h"
#include "store/progress.h"
#include "store/server_config.h"
#include "store/status.h"

namespace store {

struct JobRequest {
  Mode mode = Mode::kBackup;
  std::string session;
  std::string saveset;  // for a backup the proposed name, for a restore the one to read
  std::string name;
  std::string pool;
};

class Store {
 public:
  // kRead: for a query or restore; works on a disk that cannot be written. kWrite: first removes what dead
  // runs left, and closes their sessions and jobs. kCreate: also makes a repository if there is none. Only
  // the session of a backup may do that: a wrong path must not look like a repository that contains nothing.
  enum class Access { kRead, kWrite, kCreate };
  static Status Open(const ServerConfig& config, Access access, std::unique_ptr<Store>& store);
  // The same with a place and connections that a test brings.
  using ConnectCatalog = std::function<Status(std::unique_ptr<SqlEngine>&)>;
  static Status Open(const ServerConfig& config, Access access, std::unique_ptr<Place> place,
                     ConnectCatalog connect, std::unique_ptr<Store>& store);
  // Makes the repository; fails if there is one already. With encryption the two key files are made first,
  // where the configuration names them. `abilities`, if not null, gets what was found out about the place
  // (Place::Explore).
  static Status Make(const ServerConfig& config, bool encrypt, std::string* abilities = nullptr);
  // Opens a repository that is a copy of the repository `id`, whose repository object is `object`. Makes it
  // if there is none; refuses another repository.
  static Status OpenCopy(const ServerConfig& config, const Uid& id, const std::string& object,
                         std::unique_ptr<Store>& store);
  // What else the opening did, or could not do and left for the next one: sentences for standard error.
  [[nodiscard]] const std::vector<std::string>& Notes() const { return notes_; }

  // ---- What the control tool does. A session is named by what `OpenSession` gives. ----

  // `owner` is the process that has to live as long as the session; its number is 0 if there is none.
  Status OpenSession(Mode mode, const std::string& client, const Process& owner, std::string& session);
  // `saveset` gets the name of the job's saveset; for a backup it is a new one.
  Status OpenJob(const JobRequest& request, std::string& saveset);
  Status CloseJob(Mode mode, const std::string& session, const std::string& saveset, State state);
  // At the end of a backup, what was marked longer ago than the grace is deleted.
  Status CloseSession(Mode mode, const std::string& session, State state);
  // The savesets of a database, newest first; with a file, only those that contain it
  // (Catalog::ListSavesetsWith tells their order).
  Status ListSavesets(const std::string& sid, const std::string& file, std::vector<std::string>& names);
  // What a saveset of the database contains.
  Status ListItems(const std::string& sid, const std::string& saveset, const Catalog::EachItem& each);

  // ---- What the mover works on ----

  // Finds a saveset. A backup needs an open job of it; a restore does not, because its job may not have been
  // noted.
  Status FindOpenSaveset(const std::string& name, Mode mode, Saveset& saveset);
  [[nodiscard]] Catalog& Rows() { return *catalog_; }
  // Opens another connection, for another thread.
  Status Connect(std::unique_ptr<Catalog>& catalog);
  [[nodiscard]] Place& Objects() { return *place_; }
  [[nodiscard]] const Keys& Secrets() const { return keys_; }
  // How far the writer or reader that works on this store has come.
  [[nodiscard]] Progress& Work() { return work_; }
  [[nodiscard]] const Uid& Id() const { return id_; }
  [[nodiscard]] const ServerConfig& Config() const { return config_; }
  // Files and directories of this machine that belong to the repository: never part of a backup.
  [[nodiscard]] std::vector<std::string> OwnPaths() const;

  // ---- Deleting, rebuilding ----

  // Finds any saveset, for the owner's tools.
  Status FindSaveset(const std::string& name, Saveset& saveset);
  // Gives up the room that is kept for deleting on a full disk. False if there was none; if there was some,
  // open the store again.
  static bool GiveSpareRoom(const ServerConfig& config);
  // Marks a saveset to be deleted, or takes that back. Refuses to mark one that is protected or in use.
  Status Mark(const std::string& saveset, bool marked);
  // Marks all of them, or none; with `atOnce` without grace. `DeleteMarked` then deletes them.
  Status MarkTogether(const std::vector<Saveset>& savesets, bool atOnce);
  // Lets nobody and no rule delete the saveset from here on, or takes that back. Outlives a rebuild.
  Status Protect(const std::string& saveset, bool isProtected);
  // Deletes what was marked longer ago than the grace (0: everything that is marked), and what an earlier
  // deletion left. Fails where the opening found the catalog older than the packs.
  Status DeleteMarked(std::int64_t graceSeconds);
  // The same, and first marks one saveset without grace.
  Status DeleteAtOnce(const std::string& saveset);
  // Makes the catalog anew from packs and saveset objects. For each object that cannot be used, `tell` gets a
  // sentence that also says what is lost by it. The old catalog is put aside, not deleted.
  struct Rebuilt {
    std::uint64_t savesets = 0;
    std::uint64_t packs = 0;
    std::uint64_t unneeded = 0;      // packs that no item needs: they are deleted
    std::string oldCatalog;          // where the old catalog is now; empty if there was none
    std::vector<std::string> notes;  // what is worth knowing; nothing is lost by it
  };
  static Status Rebuild(const ServerConfig& config, const std::function<void(const std::string&)>& tell,
                        Rebuilt& rebuilt);

 private:
  Store(ServerConfig config, std::unique_ptr<Place> place, ConnectCatalog connect)
      : config_(std::move(config)), place_(std::move(place)), connect_(std::move(connect)) {}
  [[nodiscard]] Status Explain(const Status& status) const;
  Status UseSession(Mode mode, const std::string& session, std::int64_t& id);
  Status OpenBackupJob(const JobRequest& request, std::int64_t session, std::string& saveset);
  Status OpenRestoreJob(const JobRequest& request, std::int64_t session, std::string& saveset);
  [[nodiscard]] Status RefuseMarked(const Saveset& saveset) const;
  Status NoteClosed(const Saveset& saveset, State state);
  Status RemoveDeleted();
  void CleanUp();

  ServerConfig config_;
  Uid id_;
  Keys keys_;
  std::unique_ptr<Place> place_;
  std::unique_ptr<Catalog> catalog_;
  ConnectCatalog connect_;
  std::vector<std::string> notes_;
  Status mayDelete_;  // why nothing may be deleted: the catalog is older than the packs, or damaged
  Progress work_;
};

}  // namespace store
