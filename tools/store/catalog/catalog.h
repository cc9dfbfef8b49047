// What the repository contains and who asked for it: sessions, jobs, savesets, items, packs, runs. Each
// operation is one transaction and durable when it returns; only a deletion is several. Everything that a
// restore needs is also in packs and saveset objects, from which `Rebuild` (store.h) makes the catalog anew.
// The class Catalog does not know which engine keeps it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/base/uid.h"
#include "store/catalog/sql.h"
#include "store/pack/record.h"
#include "store/progress.h"
#include "store/status.h"

namespace store {

// The numbers are stored in the catalog and in saveset objects.
enum class Mode { kBackup = 0, kRestore = 1 };
// How far the mover that fills a saveset has come.
enum class Mover { kNone = 0, kRunning = 1, kEndedClean = 2, kEndedFailed = 3 };
// What the caller reports when it closes a job or a session.
enum class State { kGood = 0, kWarnings = 1, kFailed = 3 };

// A process of some machine, with enough to tell it from others that have the same number.
struct Process {
  std::string host;         // where it runs, as platform::ProcessSpace has it
  std::int64_t number = 0;  // 0: no process has to be alive (the tool was started by hand)
  std::string started;      // its start, as the system tells it
};

struct Session {
  std::int64_t id = 0;
  Mode mode = Mode::kBackup;
  bool closed = false;
  Process owner;
};

struct Saveset {
  std::int64_t id = 0;
  Uid uid;
  std::string name;
  std::string database;
  std::string pool;
  std::int64_t created = 0;
  Mover mover = Mover::kNone;
  std::optional<std::int64_t> ended;  // when its run was ended; of a killed one, when that was noticed
  std::string reason;                 // what its mover reported first, if it ended badly
  std::int64_t items = 0;             // without those that are part of a directory
  std::int64_t bytes = 0;             // of all its files
  Uid together;                       // the first saveset of its session
  bool isProtected = false;           // no rule deletes it
  bool marked = false;                // to be deleted after the grace
  bool failed = false;                // its backup job was closed as failed
  bool warnings = false;              // ... with warnings
  bool sessionOpen = false;           // its backup is not over; never true of a session opened by hand
  bool sessionFailed = false;         // its backup failed as a whole
};

struct NewJob {
  std::int64_t session = 0;
  Mode mode = Mode::kBackup;
  std::string name;
  std::string pool;
};

struct Run {
  Uid uid;
  std::int64_t saveset = 0;
  Process process;
  std::int64_t seen = 0;  // when it last said that it is alive
};

// A run under way: a mover that saves, or other work that tells its progress.
struct RunProgress {
  Uid uid;
  std::string tool = kSavingTool;
  std::int64_t saveset = 0;  // 0 if it is about no single saveset
  std::string savesetName;
  Process process;
  std::int64_t began = 0;
  std::int64_t told = 0;  // when it told last
  ProgressState state;    // as it was then

  static constexpr const char* kSavingTool = "backup";
};

struct Pack {
  Uid uid;
  std::uint64_t size = 0;
  bool damaged = false;
};

// A pack as a check sees it.
struct PackFacts {
  Uid uid;
  Uid saveset;  // for which it was written; null if that was deleted
  std::uint64_t size = 0;
  bool damaged = false;
  std::optional<std::int64_t> checked;  // when all of it was last found good
};

// What is confirmed together: durable packs, and the items that were completed with them.
struct Group {
  std::int64_t saveset = 0;
  std::vector<Pack> packs;  // each announced before; the last one has the records of all the items
  std::vector<Item> items;
  // They may be part of a directory that is still being walked. Nobody sees such items before the directory's
  // own record comes, in this group or a later one.
};

class Catalog {
 public:
  explicit Catalog(std::unique_ptr<SqlEngine> engine, const Uid& repository);
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;
  ~Catalog();

  // For a program that makes a repository: proposes its repository object. `object` comes back as the one
  // that is in the catalog, another one if somebody else was first. If `object` is empty, it only asks. Makes
  // a table of its own, `founding`, and nothing else: `Prepare` takes a catalog with this table alone for a
  // new one.
  static Status Found(SqlEngine& engine, std::string& object);

  // Makes the tables if there are none, in one transaction. kDamaged if the catalog belongs to another
  // repository, or was made by an older release with another version (schema.h); kFailed if a newer release
  // made it.
  Status Prepare();
  [[nodiscard]] bool CanWrite() const;
  // Whether processes of several hosts write to it.
  [[nodiscard]] bool IsShared() const;
  // Whether an item of this name can be in it: an index may have no room for a long one.
  [[nodiscard]] bool CanHold(std::string_view name) const;
  // Seconds since 1970, by the catalog's clock.
  Status Now(std::int64_t& seconds);

  // ---- Sessions and jobs ----

  Status AddSession(Mode mode, std::string_view client, const Process& owner, std::int64_t& id);
  Status FindSession(std::int64_t id, std::optional<Session>& session);
  // Ends the session, and the jobs that were left open in it.
  Status CloseSession(std::int64_t id, State state);
  // The savesets of its backup jobs that a mover has filled, or is filling.
  Status ListSavesetsOfSession(std::int64_t id, std::vector<Uid>& savesets);
  // Open sessions on this host (platform::ProcessSpace) whose owner has to be alive.
  Status ListOwnedSessions(std::string_view host, std::vector<Session>& sessions);
  // The same for all other hosts, if nothing was done in them since that time and none of their runs is under
  // way.
  Status ListForgottenSessions(std::string_view host, std::int64_t since, std::vector<Session>& sessions);
  // Lists the backup sessions that were closed as failed.
  Status ListFailedBackups(std::vector<std::int64_t>& sessions);

  // Makes a new saveset and its backup job. If the name is taken, a number is put behind it. `saveset.uid`,
  // `name` and `database` are given; `id`, `name`, `pool`, `created` and `together` come back.
  Status OpenBackupJob(const NewJob& job, Saveset& saveset);
  Status OpenRestoreJob(const NewJob& job, std::int64_t saveset);
  Status HasOpenJob(std::int64_t saveset, Mode mode, bool& open);
  // Closes the session's latest open job on the saveset; `found` is false without one.
  Status CloseJob(std::int64_t session, std::int64_t saveset, State state, bool& found);

  // ---- Runs: a mover that fills a saveset ----

  // Gives the saveset to this run. A saveset has only one run in its life; `claimed` is false if it had one
  // already.
  Status BeginRun(const Run& run, bool& claimed);
  // Ends the run; `reason` tells why it ended badly. What it announced, and what it committed and no item
  // needs, is then in the list of `ListDeleted`. `ended` is false if it was ended before.
  Status EndRun(const Uid& run, Mover mover, const std::string& reason, bool& ended);
  // The same; a run that ended well, but was ended by another program before, is a failure.
  Status EndRun(const Uid& run, Mover mover, const std::string& reason = "");
  Status ListRuns(std::vector<Run>& runs);
  // Notes that the run is alive; `there` is false if another program has ended it.
  Status SeeRun(const Uid& run, bool& there);
  // Names a pack that the run is about to write. From here on, whoever finds the run gone deletes the pack.
  Status AnnouncePack(const Uid& run, const Uid& pack);
  // Forgets packs that no item needs; their objects must be gone.
  Status ForgetAnnounced(const std::vector<Uid>& packs);

  // ---- How far runs have come ----

  // From here on the transactions of `AnnouncePack` and `CommitGroup` on this connection also write how far
  // its run has come: once a second at most, and not in its first. `began` is a time of the catalog's clock.
  // `progress` has to outlive the catalog.
  void TellOf(const Uid& run, std::int64_t began, const Progress& progress);
  // The same for work that has no row in `run`, in a transaction of its own. At its end, that work calls
  // `ForgetProgress`.
  Status TellProgress(const RunProgress& run);
  Status ForgetProgress(const Uid& run);
  // All of them, the oldest first; runs that save are listed even if they have told nothing yet. Whether they
  // are still alive is not checked.
  Status ListProgress(std::vector<RunProgress>& runs);

  // ---- Items ----

  // The only operation by which a run makes an item known. kConflict if a pack that an item refers to has
  // gone meanwhile, or was found damaged: then nothing is committed, and `gone` names these packs.
  Status CommitGroup(const Group& group, std::vector<Uid>& gone);
  // Takes back what was committed of a directory whose own record never came. `packs` gets those that nobody
  // needs any more: `ForgetDeletedPacks` deletes their objects.
  Status DropDirectory(std::int64_t saveset, std::uint64_t directory, std::vector<Uid>& packs);

  Status FindSaveset(std::string_view name, std::optional<Saveset>& saveset);
  Status FindSavesetOfRun(const Uid& run, std::optional<Saveset>& saveset);
  // The item with this name, or else one that replies show by it (ListedName). Separators at a name's end do
  // not count.
  Status FindItem(const Saveset& saveset, std::string_view asked, std::optional<Item>& item);
  // The same for many names, at most kNamesAtOnce, in one query. `items` gets those that were found; a name
  // that is missing there has to be asked for by itself.
  static constexpr std::size_t kNamesAtOnce = 64;
  using Items = std::unordered_map<std::string, Item>;
  Status FindItems(const Saveset& saveset, const std::vector<std::string>& names, Items& items);
  // Gives all that is in the directory with this name, at any depth, or else in a directory that is shown by
  // it. A directory comes before what it contains. `directory` gets its name before the first call of `each`.
  // `each` may use the catalog. kMissing if the saveset is deleted meanwhile.
  using EachItem = std::function<Status(const Item& item)>;
  Status FindItemsIn(const Saveset& saveset, std::string_view asked, std::string& directory,
                     const EachItem& each);
  // How many items are part of the directory that was saved whole under this number.
  Status CountEntriesOf(const Saveset& saveset, std::uint64_t directory, std::uint64_t& entries);
  // Gives all items in the order in which they were saved; of several with one name only the first.
  Status ListItems(const Saveset& saveset, const EachItem& each);

  // The newest copy of a file that a new one may refer to, among the last 32. It has the same database, pool
  // and name, its saveset is not marked, withdrawn or failed, none of its packs is damaged, and its data is
  // not older than `oldest` (seconds since 1970).
  Status FindBase(const Saveset& saveset, std::string_view name, std::int64_t oldest,
                  std::optional<Item>& item, Uid& itemSaveset);
  // The same for many names, at most `kNamesAtOnce`, in one query. `copies` gets what is known of them: none
  // where there is no copy. A name that is missing there has to be asked for by itself.
  using Copies = std::unordered_map<std::string, std::optional<Item>>;
  Status FindBases(const Saveset& saveset, const std::vector<std::string>& names, std::int64_t oldest,
                   Copies& copies);
  // Copies of a file in older savesets of the same database, at most 32, newest first, whose packs are not
  // known to be damaged. When `each` returns true it has seen enough, and is not called again.
  using EachCopy = std::function<bool(const std::string& saveset, const Item& item)>;
  Status FindOlderCopies(const Saveset& saveset, std::string_view name, const EachCopy& each);
  Status FindPack(const Uid& uid, std::optional<Pack>& pack);
  Status MarkPackDamaged(const Uid& uid);

  // The names of the savesets with items, newest first; marked ones are left out.
  Status ListSavesets(std::string_view database, std::vector<std::string>& names);
  // The same for those that contain the file or directory. Those that have it by its own name come before
  // those where it is only shown by that name. In each group, savesets come last whose job was closed as
  // failed although the mover had ended clean: the caller may have withdrawn them.
  Status ListSavesetsWith(std::string_view database, std::string_view file, std::vector<std::string>& names);

  // All savesets, newest first, for the owner.
  Status ListAllSavesets(const std::function<Status(const Saveset& saveset)>& each);

  // ---- For the owner ----

  // The sum over all packs that one saveset stored. Packs of a deleted saveset count for one of those that
  // need them.
  struct PackSum {
    std::int64_t saveset = 0;
    std::uint64_t packs = 0;
    std::uint64_t bytes = 0;
    std::uint64_t added = 0;  // bytes of the packs that the saveset stored itself
    std::uint64_t damaged = 0;
    std::uint64_t unchecked = 0;              // packs that were never checked
    std::optional<std::int64_t> oldestCheck;  // the oldest check of the others
  };
  Status SumPacks(std::vector<PackSum>& sums);
  // Savesets with an open job or run.
  Status ListInUse(std::set<std::int64_t>& savesets);
  // Whether an item of the saveset has no newer good copy in the database. Entries of directories are not
  // looked at. A good copy is in a good saveset that is not marked, and its packs are not damaged. False for
  // a saveset that runs, is marked or was withdrawn: nothing in it is a good copy.
  Status HoldsNewest(const Saveset& saveset, bool& holds);
  // How many bytes these savesets free when they are deleted together with those that were marked at
  // `markedBefore` or earlier: the bytes of their packs that no other saveset needs.
  Status RoomOf(const std::set<std::int64_t>& savesets, std::int64_t markedBefore, std::uint64_t& bytes);

  // Gives the copies of everything that has this name, or that the pattern matches (names.h), newest saveset
  // first. If an exact name has none, the copies that are shown by it. `damaged`: a pack of the copy is not
  // good.
  using EachFound = std::function<Status(const Saveset& saveset, const Item& item, bool damaged)>;
  Status FindCopies(std::string_view pattern, const EachFound& each);

  // kMissing if there is no such saveset. A protected one cannot be marked. Protecting takes the marks from
  // all savesets of its session, since they go together or stay together.
  Status SetProtected(std::int64_t saveset, bool isProtected);

  // ---- Deleting ----

  // kMissing if there is no such saveset. Fails to mark one that is protected or in use.
  Status MarkSaveset(std::int64_t saveset, bool marked);
  // Marks all of them or none; with `atOnce` as if that had been long ago, so that no grace is left.
  Status MarkTogether(const std::vector<std::int64_t>& savesets, bool atOnce);
  // Takes out the savesets that were marked at that time or before. Each transaction is short: it takes out a
  // limited number of items, and names the packs that no item needs any more. After its first transaction a
  // saveset is not found any more. What was interrupted goes on with the next call.
  Status DeleteMarked(std::int64_t markedBefore);
  // What this deletion or an earlier one named, and nobody has forgotten yet.
  struct Deleted {
    std::vector<Uid> savesets;
    std::vector<Uid> packs;  // also those of all these savesets
  };
  Status ListDeleted(Deleted& deleted);
  // Names as deleted those of the packs that are announced, or that have no row. For objects that were put
  // and that nothing will need.
  Status NameStrays(const std::vector<Uid>& packs);
  // Forgets those of them that are still named. `deleteObject` deletes the objects of one of them, within the
  // transaction that forgets it, so that nobody puts them again meanwhile; it may be called twice for one.
  using DeleteObject = std::function<Status(const Uid& uid)>;
  Status ForgetDeletedPacks(const std::vector<Uid>& packs, const DeleteObject& deleteObject);
  Status ForgetDeletedSavesets(const std::vector<Uid>& savesets, const DeleteObject& deleteObject);

  // ---- Checking ----

  // First the engine's own check of everything that it keeps (sql.h). Then each saveset's numbers and
  // directories are compared with its items, and each item's row with its hash.
  Status CheckWhole(const std::function<void(const std::string& wrong)>& tell);
  // The repository object as it was when the repository was made. Empty if an older release made the catalog
  // anew.
  Status FindRepositoryObject(std::string& object);
  Status FindSavesetByUid(const Uid& uid, std::optional<Saveset>& saveset);
  // Whether the saveset has a row, or is deleted while its objects may still be there.
  Status KnowsSaveset(const Uid& uid, bool& known);
  // How the caller closed the saveset's backup job; none if it did not, or if that is not known any more.
  Status FindClosedState(std::int64_t saveset, std::optional<State>& state);
  // Packs that were committed and not deleted since; those come first that were not checked for the longest
  // time.
  Status ListPacks(std::vector<PackFacts>& packs);
  // One of them. None also if it is only announced, or named as deleted.
  Status FindPackFacts(const Uid& uid, std::optional<PackFacts>& pack);
  // Whether it has a row, in whatever state.
  Status KnowsPack(const Uid& uid, bool& known);
  // The packs that hold anything of the saveset's items.
  Status ListPacksOf(const Saveset& saveset, std::vector<Uid>& packs);
  // Items that were completed with the pack and, unless `own`, then those that need it besides. Items of
  // directories that are still being saved are among them. Each comes with its saveset's uid and name, and
  // the bytes of its record. Ends early with a status that `each` returns.
  struct PackItem {
    Uid saveset;
    std::string savesetName;
    std::string record;
    Item item;
  };
  using EachPackItem = std::function<Status(const PackItem& item)>;
  Status ListItemsOfPack(const Uid& pack, bool own, const EachPackItem& each);
  // Whether the saveset has an item with this number, or one with this name.
  Status HasItem(const Uid& saveset, std::uint64_t number, std::string_view name, bool& has);
  // Notes that all of these packs were read now and are good. `mended`: also those that were marked as
  // damaged before.
  Status NoteChecked(const std::vector<Uid>& packs, bool mended);
  Status ListDamagedPacks(std::vector<PackFacts>& packs);

  // ---- Copying: a saveset of another catalog of the same repository comes in ----

  // An item as the other catalog has it.
  struct ItemRecord {
    Uid pack;  // with which it was completed
    std::string record;
    Item item;
  };
  // All items of the saveset, by their numbers; also several with one name.
  Status ListRecords(const Saveset& saveset, const std::function<Status(const ItemRecord& record)>& each);
  // Makes the saveset's row, unless it is there. Nobody finds a new one before `EndAdoption`. kDamaged if
  // another saveset has the name; kConflict if what was left of this one is just being deleted.
  Status BeginAdoption(const Saveset& saveset);
  // Announces those of the packs that have no row, before their objects are put. The end of the adoption, or
  // giving it up, names as deleted what was announced for the saveset and is not needed. kConflict if one of
  // them, or the saveset, is being deleted.
  Status AnnounceAdopted(const Uid& saveset, const std::vector<PackFacts>& packs);
  // Adds items of it, of which some may have come before, and all packs that they need. kDamaged if one of
  // the packs is; kConflict if one of them, or the saveset, is being deleted or was deleted meanwhile.
  // `hasObject` is asked about each pack that is not known as good, within the transaction that makes it
  // good: a deletion forgets a pack's row last.
  using HasObject = std::function<Status(const PackFacts& pack, bool& has)>;
  Status AdoptItems(const Uid& saveset, const std::vector<PackFacts>& packs,
                    const std::vector<ItemRecord>& items, const HasObject& hasObject);
  // Lets everybody find the saveset, which is like that of the other catalog: a new one in its protection,
  // and each in how its mover ended. While it has fewer items than there, its mover counts as failed.
  // kConflict if it was taken out.
  Status EndAdoption(const Saveset& saveset);
  // Whether the saveset has a row, in whatever state.
  Status HasSavesetRow(const Uid& saveset, bool& has);
  // The savesets that were begun and not ended.
  Status ListAdoptions(std::vector<Uid>& savesets);
  // Says that the saveset will not come any more: the next `DeleteMarked` takes out what came.
  Status GiveUpAdoption(const Uid& saveset);

  // ---- Rebuilding, into an empty catalog ----

  Status ImportSaveset(const Saveset& saveset);
  // `records` is empty for a pack of a deleted saveset: others may refer to the pack. kMissing if there are
  // records, but no such saveset.
  Status ImportPack(const Pack& pack, const Uid& saveset, const std::vector<std::string>& records);
  // To be called when everything has come. Takes out items whose packs are missing, and directories without
  // all of their entries; `tell` gets what was taken out.
  Status FinishImport(const std::function<void(const std::string& what)>& tell);
  // Notes that the saveset has fewer items than it once had: its mover counts as failed. A saveset that was
  // closed as failed stays what it is.
  Status NoteTorn(std::int64_t saveset, const std::string& reason);
  // To be called after that. Names as deleted the packs that no item needs, if their saveset is there with
  // its end: without that, the pack with the item's record may be missing. Nobody is writing such a pack,
  // since nothing else runs meanwhile.
  Status NameUnneededPacks(std::uint64_t& count);

  // To be called last. Notes which of the packs were damaged, and when they were checked, in another catalog.
  Status ImportChecks(const std::vector<PackFacts>& packs);

  // For the catalog's own files (catalog_inside.h).
  struct Inside;

 private:
  std::unique_ptr<Inside> inside_;
};

// A catalog in a file, by SQLite. With `kNever` the failure is kMissing if there is none.
Status OpenSqlite(const std::string& path, MakeCatalog make, std::unique_ptr<SqlEngine>& engine);
// Room beside that file, for deleting on a full disk. It is kept where there is plenty; `OpenSqlite` does
// that with `kIfMissing`. When a deletion finds no room, give the room back (true if there was some), open
// the catalog again, and repeat.
void KeepSpareRoom(const std::string& path);
bool GiveSpareRoom(const std::string& path);

}  // namespace store
