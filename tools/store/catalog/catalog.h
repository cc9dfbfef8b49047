// What the repository contains and who asked for it: sessions, jobs, savesets, items, packs, runs. Each
// operation is one transaction and durable when it returns. Everything in it that a restore needs is in packs
// and saveset objects too, from which `Rebuild` (store.h) makes it anew. Which engine keeps it is known to
// none of this.
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

// The numbers are in the catalog and in saveset objects.
enum class Mode { kBackup = 0, kRestore = 1 };
// How far the mover came that fills a saveset.
enum class Mover { kNone = 0, kRunning = 1, kEndedClean = 2, kEndedFailed = 3 };
// What the caller reports when it closes a job or a session.
enum class State { kGood = 0, kWarnings = 1, kFailed = 3 };

// A process of some machine, so that nobody takes another one of the same number for it.
struct Process {
  std::string host;         // where it runs, as platform::ProcessSpace has it
  std::int64_t number = 0;  // 0: none that has to be alive (a tool that was started by hand)
  std::string started;      // as the system tells it
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
  std::optional<std::int64_t> ended;  // when its mover ended; not known of one that was killed
  std::string reason;                 // what its mover reported first, if it ended badly
  std::int64_t items = 0;             // that are items of their own
  std::int64_t bytes = 0;             // of all its files
  Uid together;                       // the first saveset of its session
  bool isProtected = false;           // no rule deletes it
  bool marked = false;                // to be deleted after the grace
  bool failed = false;                // its backup job was closed as failed
  bool warnings = false;              // ... with warnings
  bool sessionOpen = false;           // its backup is not over; never of a session opened by hand
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

// A run under way: of a mover that saves, or of whatever else tells of itself.
struct RunProgress {
  Uid uid;
  std::string tool = kSavingTool;
  std::int64_t saveset = 0;  // 0 if it is about no single one
  std::string savesetName;
  Process process;
  std::int64_t began = 0;
  std::int64_t told = 0;  // when it told last
  ProgressState state;    // as it was then

  static constexpr const char* kSavingTool = "backup";
  static constexpr const char* kCopyingTool = "copy";
};

struct Pack {
  Uid uid;
  std::uint64_t size = 0;
  bool damaged = false;
};

// A pack as a check sees it.
struct PackFacts {
  Uid uid;
  Uid saveset;  // that it was written for; null if that is deleted
  std::uint64_t size = 0;
  bool damaged = false;
  std::optional<std::int64_t> checked;  // when all of it was last found good
};

// What is confirmed together: durable packs, and the items that were completed with them.
struct Group {
  std::int64_t saveset = 0;
  std::vector<Pack> packs;  // each announced before; the last one has the records of all the items
  std::vector<Item> items;
  // Items are part of a directory that is still being walked: nobody sees them before the directory's own
  // record comes in a later group (or in this one).
};

class Catalog {
 public:
  explicit Catalog(std::unique_ptr<SqlEngine> engine, const Uid& repository);
  Catalog(const Catalog&) = delete;
  Catalog& operator=(const Catalog&) = delete;
  ~Catalog();

  // For who makes a repository: proposes its repository object. `object` comes back as the one that is in the
  // catalog, another one if somebody else was first. Who proposes nothing only asks. Makes a table of its
  // own, `founding`, and nothing else: for `Prepare` a catalog with this table alone is a new one.
  static Status Found(SqlEngine& engine, std::string& object);

  // Makes the tables, or brings those of an older release forward, in one transaction; leaves a newer
  // release's alone. kDamaged if it belongs to another repository or to another program.
  Status Prepare();
  [[nodiscard]] bool CanWrite() const;
  // By processes of several hosts.
  [[nodiscard]] bool IsShared() const;
  // Whether an item of this name can be in it.
  [[nodiscard]] bool CanHold(std::string_view name) const;
  Status Now(std::int64_t& seconds);

  // ---- Sessions and jobs ----

  Status AddSession(Mode mode, std::string_view client, const Process& owner, std::int64_t& id);
  Status FindSession(std::int64_t id, std::optional<Session>& session);
  // Ends the session and whatever job was left open in it.
  Status CloseSession(std::int64_t id, State state);
  // Those of its backup jobs that a mover has filled, or is filling.
  Status ListSavesetsOfSession(std::int64_t id, std::vector<Uid>& savesets);
  // Open sessions whose owner has to be alive, on this host.
  Status ListOwnedSessions(std::string_view host, std::vector<Session>& sessions);
  // The same of all other hosts, if nothing was done in them since then and no run is under way.
  Status ListForgottenSessions(std::string_view host, std::int64_t since, std::vector<Session>& sessions);

  // Backup sessions that were closed as failed.
  Status ListFailedBackups(std::vector<std::int64_t>& sessions);

  // A new saveset of this name, or of the name with a number behind it if it is taken, and its backup job.
  // `saveset.uid`, `name`, `database` are given; `id`, `name` and `created` come back.
  Status OpenBackupJob(const NewJob& job, Saveset& saveset);
  Status OpenRestoreJob(const NewJob& job, std::int64_t saveset);
  Status HasOpenJob(std::int64_t saveset, Mode mode, bool& open);
  // Closes the session's latest open job on the saveset; `found` is false without one.
  Status CloseJob(std::int64_t session, std::int64_t saveset, State state, bool& found);

  // ---- Runs: a mover that fills a saveset ----

  // Gives the saveset to this run, once in its life; `claimed` is false if it had one.
  Status BeginRun(const Run& run, bool& claimed);
  // Ends it, however it went; `reason` is why it went badly. What it announced or committed, and no item
  // needs, is among `ListDeleted` then. `ended` is false if it was ended before.
  Status EndRun(const Uid& run, Mover mover, const std::string& reason, bool& ended);
  Status EndRun(const Uid& run, Mover mover, const std::string& reason = "");
  Status ListRuns(std::vector<Run>& runs);
  // The run says that it is alive; `there` is false if another program has ended it.
  Status SeeRun(const Uid& run, bool& there);
  // A pack that the run is about to write. From here on the next one who finds the run gone deletes it.
  Status AnnouncePack(const Uid& run, const Uid& pack);
  Status ListAnnounced(const Uid& run, std::vector<Uid>& packs);
  // Takes back packs that no item needs; their objects must be gone.
  Status ForgetAnnounced(const std::vector<Uid>& packs);

  // ---- How far runs have come ----

  // From here on the transactions of `AnnouncePack` and `CommitGroup` of this connection also tell how far
  // its run has come: once a second at most, and not in its first. `began` by the catalog's clock.
  void TellOf(const Uid& run, std::int64_t began, const Progress& progress);
  // The same of a run that has no row in `run`, in a transaction of its own; it has to take it back.
  Status TellProgress(const RunProgress& run);
  Status ForgetProgress(const Uid& run);
  // All, the oldest first; those that save also if they have told nothing yet. Whether they are still alive
  // is not asked.
  Status ListProgress(std::vector<RunProgress>& runs);

  // ---- Items ----

  // The only place that makes an item known. kConflict if a pack that an item refers to has gone or was found
  // damaged meanwhile: nothing happened then, and `gone` names the packs.
  Status CommitGroup(const Group& group, std::vector<Uid>& gone);
  // Takes back what was committed of a directory whose own record never came. `packs` are those that nobody
  // needs any more: delete the objects, then `ForgetAnnounced` them.
  Status DropDirectory(std::int64_t saveset, std::uint64_t directory, std::vector<Uid>& packs);

  Status FindSaveset(std::string_view name, std::optional<Saveset>& saveset);
  // The item with this name, else one that is shown by it. Separators at a name's end do not count.
  Status FindItem(const Saveset& saveset, std::string_view asked, std::optional<Item>& item);
  // The same for many names in one question of the engine, at most so many. `items` gets those that it finds;
  // a name that it lacks then has to be asked for by itself.
  static constexpr std::size_t kNamesAtOnce = 64;
  using Items = std::unordered_map<std::string, Item>;
  Status FindItems(const Saveset& saveset, const std::vector<std::string>& names, Items& items);
  // What is in the directory with this name, however deep, else in one that is shown by it; whatever contains
  // others comes before them. `directory` gets its name, before the first call of `each`, which may use the
  // catalog. kMissing if the saveset is deleted meanwhile.
  using EachItem = std::function<Status(const Item& item)>;
  Status FindItemsIn(const Saveset& saveset, std::string_view asked, std::string& directory,
                     const EachItem& each);
  // How many items are part of the directory that was saved whole under this number.
  Status CountEntries(const Saveset& saveset, std::uint64_t directory, std::uint64_t& entries);
  // All items in the order of their saving; of several with one name the first.
  Status ListItems(const Saveset& saveset, const EachItem& each);

  // The newest copy of a file that a new one may refer to: of the same database, pool and name, in a saveset
  // that is neither marked nor withdrawn nor failed, of packs that are not damaged, with data not older than
  // `oldest` (seconds since 1970).
  Status FindBase(const Saveset& saveset, std::string_view name, std::int64_t oldest,
                  std::optional<Item>& item, Uid& itemSaveset);
  // The same for many names, at most `kNamesAtOnce`, in one question of the engine. `copies` gets what is
  // known of them: none where there is none. A name that it lacks has to be asked for by itself.
  using Copies = std::unordered_map<std::string, std::optional<Item>>;
  Status FindBases(const Saveset& saveset, const std::vector<std::string>& names, std::int64_t oldest,
                   Copies& copies);
  // Copies of a file in older savesets of the same database, newest first, of packs that are not known to be
  // damaged; ends when `each` says that it has seen enough.
  using EachCopy = std::function<bool(const std::string& saveset, const Item& item)>;
  Status FindOlderCopies(const Saveset& saveset, std::string_view name, const EachCopy& each);
  Status FindPack(const Uid& uid, std::optional<Pack>& pack);
  Status MarkPackDamaged(const Uid& uid);

  // Names of the savesets with items, newest first; marked ones are not listed.
  Status ListSavesets(std::string_view database, std::vector<std::string>& names);
  // The same of those that contain the file or directory. Those that have it by its own name come before
  // those where it is only shown by it; among each a saveset whose job was closed as failed although its
  // mover had ended clean comes last: its caller may have withdrawn it.
  Status ListSavesetsWith(std::string_view database, std::string_view file, std::vector<std::string>& names);

  // All savesets, newest first, for the owner.
  Status ListAllSavesets(const std::function<Status(const Saveset& saveset)>& each);

  // ---- For the owner ----

  // What all packs are together that one saveset stored. Those of a saveset that was deleted count for one of
  // those that need them.
  struct PackSum {
    std::int64_t saveset = 0;
    std::uint64_t packs = 0;
    std::uint64_t bytes = 0;
    std::uint64_t added = 0;  // bytes of the good ones that the saveset stored itself
    std::uint64_t damaged = 0;
    std::uint64_t unchecked = 0;              // that were never checked
    std::optional<std::int64_t> oldestCheck;  // of the others
  };
  Status SumPacks(std::vector<PackSum>& sums);
  // Savesets with an open job or run.
  Status ListInUse(std::set<std::int64_t>& savesets);
  // Whether an item of the saveset (entries of directories do not count for themselves) has no newer good
  // copy in the database: one in a good saveset that is not marked, of packs that are not damaged. Of a
  // saveset that runs, is marked or was withdrawn nothing is a good copy.
  Status HoldsNewest(const Saveset& saveset, bool& holds);
  // The bytes of packs that come back when these savesets go, and with them those that are marked already.
  Status RoomOf(const std::set<std::int64_t>& savesets, std::uint64_t& bytes);

  // The copies of what has the name, or of all that the pattern matches (names.h), newest saveset first.
  // Without one of an exact name, those that are shown by it.
  using EachFound = std::function<Status(const Saveset& saveset, const Item& item, bool damaged)>;
  Status FindCopies(std::string_view pattern, const EachFound& each);

  // kMissing without such a saveset. A protected one cannot be marked; a marked one is kept by this.
  Status SetProtected(std::int64_t saveset, bool isProtected);

  // ---- Deleting ----

  // kMissing without such a saveset. Refused with an open job, and of one that is protected.
  Status MarkSaveset(std::int64_t saveset, bool marked);
  // Marks all of them or none; at once: as if that had been long ago, so that no grace is left.
  Status MarkTogether(const std::vector<std::int64_t>& savesets, bool atOnce);
  // Takes out the savesets that were marked at that time or before, in transactions that are each short: of
  // so many items, and each names the packs that no item needs any more. From its first transaction on a
  // saveset is not found any more; one that was interrupted goes on with the next call.
  Status DeleteMarked(std::int64_t markedBefore);
  // What this deletion or an earlier one named and nobody has forgotten.
  struct Deleted {
    std::vector<Uid> savesets;
    std::vector<Uid> packs;  // also those of all these savesets
  };
  Status ListDeleted(Deleted& deleted);
  // Forgets those of them that are still named. `deleteObject` deletes the objects of each within the
  // transaction that forgets it, so that nobody brings it again meanwhile; it may be called twice for one.
  using DeleteObject = std::function<Status(const Uid& uid)>;
  Status ForgetDeletedPacks(const std::vector<Uid>& packs, const DeleteObject& deleteObject);
  Status ForgetDeletedSavesets(const std::vector<Uid>& savesets, const DeleteObject& deleteObject);

  // ---- Checking ----

  // The engine's own check of all that it keeps (sql.h), then each saveset's numbers and directories against
  // its items.
  Status CheckWhole(const std::function<void(const std::string& wrong)>& tell);
  // The repository object as it was when the repository was made; empty in a catalog that was made anew by an
  // older release.
  Status FindRepositoryObject(std::string& object);
  Status FindSavesetByUid(const Uid& uid, std::optional<Saveset>& saveset);
  // Whether there is a row of it, also of one that is being deleted.
  Status KnowsSaveset(const Uid& uid, bool& known);
  // How the backup job of the saveset was closed by its caller; none if it was not, or is not known any more.
  Status FindClosedState(std::int64_t saveset, std::optional<State>& state);
  // Packs that were committed and not deleted since, those first that were not checked for the longest time.
  Status ListPacks(std::vector<PackFacts>& packs);
  // One of them; none also if it is only announced, or named as deleted.
  Status FindPackFacts(const Uid& uid, std::optional<PackFacts>& pack);
  // Whether there is a row of it, in whatever state.
  Status KnowsPack(const Uid& uid, bool& known);
  // The packs that hold anything of the saveset's items.
  Status ListPacksOf(const Saveset& saveset, std::vector<Uid>& packs);
  // Items that need the pack, and those that were completed with it; `own`: only the latter, and also those
  // of directories that are still being saved. Each comes with its saveset's uid and name, and the bytes of
  // its record. Ends early with a status that `each` returns.
  struct PackItem {
    Uid saveset;
    std::string savesetName;
    bool own = false;  // completed with this pack
    std::string record;
    Item item;
  };
  using EachPackItem = std::function<Status(const PackItem& item)>;
  Status ListItemsOfPack(const Uid& pack, bool own, const EachPackItem& each);
  // Whether an item of this number, or another one of this name, is in the saveset.
  Status HasItem(const Uid& saveset, std::uint64_t number, std::string_view name, bool& has);
  // All of these packs was read now and is good. `mended`: also of one that was marked as damaged before.
  Status NoteChecked(const std::vector<Uid>& packs, bool mended);
  Status ListDamagedPacks(std::vector<PackFacts>& packs);

  // ---- Copying: a saveset of another catalog of the same repository comes in ----

  // An item as the other catalog has it.
  struct ItemRecord {
    Uid pack;  // that it was completed with
    std::string record;
    Item item;
  };
  // All items of the saveset by their numbers, also several of one name.
  Status ListRecords(const Saveset& saveset, const std::function<Status(const ItemRecord& record)>& each);
  // Makes the saveset's row, unless it is there. A new one is found by nobody until `EndAdoption`. kDamaged
  // if another saveset has the name; kConflict if what was left of this one is just being deleted.
  Status BeginAdoption(const Saveset& saveset);
  // Items of it, of which some may have come before, and all packs that they need. kDamaged if one of the
  // packs is; kConflict if one of them, or the saveset, is being deleted or was deleted meanwhile.
  // `hasObject` is asked about each pack that has no row yet, within the transaction that makes it: whoever
  // deletes a pack forgets its row last.
  using HasObject = std::function<Status(const PackFacts& pack, bool& has)>;
  Status AdoptItems(const Uid& saveset, const std::vector<PackFacts>& packs,
                    const std::vector<ItemRecord>& items, const HasObject& hasObject);
  // kConflict if it was taken out.
  Status EndAdoption(const Uid& saveset);
  // Whether the saveset has a row, of whatever kind.
  Status HasSavesetRow(const Uid& saveset, bool& has);
  // Those that were begun and not ended.
  Status ListAdoptions(std::vector<Uid>& savesets);
  // It will not come any more: what came goes with the next `DeleteMarked`.
  Status GiveUpAdoption(const Uid& saveset);

  // ---- Rebuilding, into an empty catalog ----

  Status ImportSaveset(const Saveset& saveset);
  // Of a saveset that was deleted a pack comes without records: others may refer to it.
  Status ImportPack(const Pack& pack, const Uid& saveset, const std::vector<std::string>& records);
  // Everything is there: items whose packs are missing go again, directories without all of their entries
  // too; what went is told.
  Status FinishImport(const std::function<void(const std::string& what)>& tell);
  // The saveset has fewer items than it once had: its mover counts as failed. One that was withdrawn stays
  // what it is.
  Status NoteTorn(std::int64_t saveset, const std::string& reason);
  // Behind that: names packs of savesets that are there which no item needs as deleted. Nobody writes them,
  // since nobody runs meanwhile.
  Status NameUnneededPacks(std::uint64_t& count);

  // For the catalog's own files (catalog_inside.h).
  struct Inside;

 private:
  std::unique_ptr<Inside> inside_;
};

// The catalog of a repository that is a directory, by SQLite. `kNever`: kMissing unless it is there.
enum class MakeCatalog { kNever, kIfMissing };
Status OpenSqlite(const std::string& path, MakeCatalog make, std::unique_ptr<SqlEngine>& engine);
// Room beside it for deleting on a full disk: kept where there is plenty, with `kIfMissing`. Given back, true
// if there was some, when a deletion finds no room; open the catalog again then, and repeat.
void KeepSpareRoom(const std::string& path);
bool GiveSpareRoom(const std::string& path);

}  // namespace store
