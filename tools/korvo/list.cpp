#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"
#include "store/names.h"
#include "store/retention.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string database;
  std::string pool;
  std::optional<std::uint64_t> last;
  std::optional<std::int64_t> maxAge;
  bool json = false;
};

using Added = std::map<std::int64_t, std::uint64_t>;  // bytes, by saveset

struct Answer {
  std::vector<store::Saveset> savesets;  // newest first
  Added added;
  std::uint64_t damagedPacks = 0;  // of the whole repository
  std::int64_t now = 0;
};

store::Status Ask(const Options& options, store::Store& store, Answer& answer) {
  store::Status done = ListSavesets(store, options.database, options.pool, answer.savesets);
  std::vector<store::Catalog::PackSum> sums;
  if (done) {
    done = store.Rows().SumPacks(sums);
  }
  for (const store::Catalog::PackSum& sum : sums) {
    answer.added[sum.saveset] = sum.added;
    answer.damagedPacks += sum.damaged;
  }
  return done ? store.Rows().Now(answer.now) : done;
}

// ---- What has no backup that is young enough -----------------------------------------------------

struct Stale {
  std::string database;
  std::string pool;
  std::optional<std::int64_t> newest;  // when its newest good backup began
};

// Each pool counts by itself: young archive logs say nothing about the data files.
std::vector<Stale> FindStale(const Options& options, const Answer& answer) {
  std::map<std::pair<std::string, std::string>, std::optional<std::int64_t>> newest;
  for (const store::BackupOfSession& backup : store::BackupsOf(answer.savesets)) {
    if (backup.database.empty()) {
      continue;  // recovered without its `begin` object: its database is not known
    }
    std::optional<std::int64_t>& known = newest[{backup.database, backup.pool}];
    if (backup.good && !known) {
      known = backup.began;
    }
  }
  if (newest.empty() && (!options.database.empty() || !options.pool.empty())) {
    newest[{store::DatabaseOfSid(options.database), options.pool}];  // there is no saveset of it at all
  }
  std::vector<Stale> stale;
  for (const auto& [whose, began] : newest) {
    if (!began || store::IsOverdue(*began, answer.now, *options.maxAge)) {
      stale.push_back({whose.first, whose.second, began});
    }
  }
  return stale;
}

std::string Sentence(const Stale& stale, std::int64_t now) {
  const std::string pool = stale.pool.empty() ? "" : "pool " + stale.pool;
  const std::string whose =
      stale.database.empty() ? pool : "database " + stale.database + (pool.empty() ? "" : ", " + pool);
  if (!stale.newest) {
    return whose + " has no good backup";
  }
  const std::string time = " (" + TimeText(*stale.newest) + ")";
  return whose + (*stale.newest > now
                      ? ": its newest good backup is from the future" + time + ": the clock was wrong"
                      : ": its newest good backup is " + AgeText(now - *stale.newest) + " old" + time);
}

// ---- The answer ----------------------------------------------------------------------------------

std::size_t Shown(const Options& options, const Answer& answer) {
  return std::min<std::uint64_t>(answer.savesets.size(), options.last.value_or(UINT64_MAX));
}

std::uint64_t AddedBy(const store::Saveset& saveset, const Answer& answer) {
  const auto added = answer.added.find(saveset.id);
  return added == answer.added.end() ? 0 : added->second;
}

void TellPeople(const Options& options, const Answer& answer, const std::vector<Stale>& stale) {
  Table table({{"SAVESET"},
               {"DATABASE"},
               {"POOL"},
               {"TIME"},
               {"STATE"},
               {"ITEMS", Align::kRight},
               {"FILES", Align::kRight},
               {"ADDED", Align::kRight}});
  for (std::size_t i = 0; i < Shown(options, answer); ++i) {
    const store::Saveset& saveset = answer.savesets[i];
    table.Add({saveset.name, saveset.database, saveset.pool, TimeText(saveset.created), StateText(saveset),
               std::to_string(saveset.items), SizeText(static_cast<std::uint64_t>(saveset.bytes)),
               SizeText(AddedBy(saveset, answer))});
  }
  table.Print();
  for (const Stale& one : stale) {
    Print(Sentence(one, answer.now));
  }
  if (answer.damagedPacks > 0) {
    Print(Count(answer.damagedPacks, "pack") + (answer.damagedPacks == 1 ? " is" : " are") +
          " damaged: korvo verify tells what that costs.");
  }
}

void TellPrograms(const Options& options, const Answer& answer, const std::vector<Stale>& stale) {
  Json savesets = Json::Array();
  for (std::size_t i = 0; i < Shown(options, answer); ++i) {
    Json saveset = JsonSaveset(answer.savesets[i]);
    saveset["bytes_added"] = AddedBy(answer.savesets[i], answer);
    savesets.Add(std::move(saveset));
  }
  Json document = {{"server", JsonText(options.server)},
                   {"damaged_packs", answer.damagedPacks},
                   {"savesets", std::move(savesets)}};
  if (options.maxAge) {
    document["without_young_backup"] = Json::Array();
    for (const Stale& one : stale) {
      document["without_young_backup"].Add({{"database", JsonText(one.database)},
                                            {"pool", JsonText(one.pool)},
                                            {"newest_good", JsonTime(one.newest)}});
    }
  }
  PrintJson(document);
}

int List(const Options& options) {
  std::unique_ptr<store::Store> store;
  if (store::Status opened = OpenServer(options.server, store::Store::Access::kRead, store); !opened) {
    return Fail(opened);
  }
  Answer answer;
  if (store::Status asked = Ask(options, *store, answer); !asked) {
    return Fail(asked);
  }
  const std::vector<Stale> stale = options.maxAge ? FindStale(options, answer) : std::vector<Stale>();
  (options.json ? TellPrograms : TellPeople)(options, answer, stale);
  return stale.empty() ? kGood : kFindings;
}

}  // namespace

void AddList(Program& program) {
  Command command = program.Add("list", "Lists the savesets, newest first.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Option("--database", "SID", options->database, "Only those of this database");
  command.Option("--pool", "POOL", options->pool, "Only those of this pool");
  command.Count("--last", options->last, "Only the newest N");
  command.Duration("--max-age", options->maxAge,
                   "Exit status 1 and a line for each pool of a database whose newest good backup is older");
  command.Json(options->json);
  command.Explain(
      "POOL is what the parameter file calls KORVO_POOL. FILES is the size of the files, ADDED what the\n"
      "saveset added to the repository.\n"
      "States: good; warnings (good, but its caller reported warnings); failed (its items that were "
      "confirmed\n"
      "can be restored); withdrawn (saved well, but its caller reported a failure); running; unused "
      "(nothing\n"
      "came yet). Behind it: backup failed (another part of the same backup did); protected (no rule deletes "
      "it), marked (to be deleted after the grace).\n"
      "Example: korvo list prod --database ABC --max-age 30h");
  command.Does([options] { return List(*options); });
}

}  // namespace korvo
