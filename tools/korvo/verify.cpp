#include <memory>
#include <set>
#include <string>
#include <vector>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/text.h"
#include "platform/platform.h"
#include "restore/saved_count.h"
#include "store/check/repository_check.h"
#include "store/progress_row.h"
#include "store/progress_teller.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::vector<std::string> savesets;
  double percent = 100;
  std::optional<std::int64_t> olderThan;
  bool restore = false;
  bool json = false;
  bool quiet = false;
};

// Prints damage as it is found, or collects it for the JSON document.
class Findings {
 public:
  explicit Findings(bool json) : json_(json) {}

  store::CheckListener Listener() {
    store::CheckListener listener;
    listener.damaged = [this](const store::Damage& damage) { Take(damage); };
    listener.lost = [this](const std::string& saveset, const std::string& item) { TakeLost(saveset, item); };
    return listener;
  }
  void Take(const store::Damage& damage) {
    ++count_;
    if (!json_) {
      Print("Damage: " + damage.what);
      return;
    }
    list_.Add({{"what", JsonText(damage.what)},
               {"pack", damage.pack.IsNull() ? Json(nullptr) : Json(damage.pack.Hex())},
               {"lost", Json::Array()}});
  }
  [[nodiscard]] const Json& List() const { return list_; }
  [[nodiscard]] std::uint64_t Lost() const { return lost_; }
  [[nodiscard]] std::uint64_t Number() const { return count_; }

 private:
  void TakeLost(const std::string& saveset, const std::string& item) {
    ++lost_;
    if (json_) {
      list_.Last()["lost"].Add({{"saveset", JsonText(saveset)}, {"name", JsonText(item)}});
    } else {
      Print("  it costs " + item + " of saveset " + saveset);
    }
  }

  bool json_;
  Json list_ = Json::Array();
  std::uint64_t count_ = 0;
  std::uint64_t lost_ = 0;
};

using Result = store::RepositoryCheck::Result;

void PrintDocument(const Options& options, const Result& result, bool complete, bool recorded,
                   const Findings& findings) {
  Json document = {{"server", JsonText(options.server)}, {"good", findings.Number() == 0}};
  document["savesets"] = result.savesets;
  if (options.restore) {
    document["items"] = result.readPacks;
    document["bytes"] = result.readBytes;
  } else {
    document["complete"] = complete;
    document["recorded"] = recorded;
    document["packs"] = result.packs;
    document["bytes"] = result.bytes;
    document["read_packs"] = result.readPacks;
    document["read_bytes"] = result.readBytes;
  }
  document["damages"] = findings.List();
  PrintJson(document);
}

// `complete`: the data was decrypted. `recorded`: the catalog could be written.
void PrintSummary(const Options& options, const Result& result, bool complete, bool recorded,
                  const Findings& findings) {
  if (result.catalogDamaged) {
    Print("The catalog cannot be used, so no pack was read: korvo rebuild " + options.server +
          " makes it anew; then verify again.");
    return;
  }
  const std::string read =
      options.restore ? Count(result.readPacks, "file") + " of " + Count(result.savesets, "saveset") + ", " +
                            SizeText(result.readBytes) + ", brought back to nowhere"
                      : Count(result.savesets, "saveset") + ", " + std::to_string(result.readPacks) + " of " +
                            Count(result.packs, "pack") + " read, " + SizeText(result.readBytes) + " of " +
                            SizeText(result.bytes);
  if (!complete) {
    Print("The private key is not here: data was compared with its checksums, and not decrypted.");
  }
  if (!recorded && !options.restore) {
    Print(
        "The catalog cannot be written here: what was checked is not noted, and no damage is marked in it.");
  }
  Print(findings.Number() == 0 ? "All is good: " + read + "."
                               : Count(findings.Number(), "damage") + " found, which cost " +
                                     Count(findings.Lost(), "item") + ": " + read + ".");
}

store::Status FindSavesets(const Options& options, store::Store& store,
                           std::vector<store::Saveset>& savesets) {
  const std::set<std::string> names(options.savesets.begin(), options.savesets.end());
  for (const std::string& name : names) {
    if (store::Status found = store.FindSaveset(name, savesets.emplace_back()); !found) {
      return found;
    }
  }
  return {};
}

// For a restore to nowhere, files are counted. Otherwise the check itself says how many packs there are to
// read.
store::ProgressTeller::Tasks TellerTasks(const Options& options, store::Store& store,
                                         const std::vector<store::Saveset>& savesets,
                                         store::ProgressRow& row) {
  store::ProgressTeller::Tasks tasks;
  tasks.line = !options.quiet;
  tasks.tell = [&row] { row.Tell(); };
  if (options.restore) {
    tasks.count = [&](const std::function<bool()>& ended) { CountSaved(store, savesets, {}, ended); };
  }
  return tasks;
}

store::Status Check(const Options& options, store::Store& store, Findings& findings, Result& result) {
  store::RepositoryCheck check(store, findings.Listener());
  store::CheckScope scope;
  scope.percent = options.percent;
  store::Status done = FindSavesets(options, store, scope.savesets);
  if (done && options.olderThan) {
    std::int64_t now = 0;
    done = store.Rows().Now(now);
    scope.uncheckedSince = now - *options.olderThan;
  }
  if (!done) {
    return done;
  }
  store::ProgressRow row(store, "verify", scope.savesets.size() == 1 ? &scope.savesets.front() : nullptr);
  const store::ProgressTeller teller(store.Work(), TellerTasks(options, store, scope.savesets, row));
  return options.restore ? check.Restore(scope.savesets, result) : check.Run(scope, result);
}

int Verify(const Options& options) {
  platform::WatchInterrupts();
  Findings findings(options.json);
  Result result;
  bool complete = true;
  bool recorded = true;
  std::unique_ptr<store::Store> store;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  if (done.What() == store::Status::Kind::kDamaged) {
    // Damage that keeps the repository from being opened is a finding too.
    findings.Take({done.Message(), {}});
    result.catalogDamaged = true;
  } else {
    if (done) {
      complete = store->Secrets().CanRead() ? true : false;
      recorded = store->Rows().CanWrite();
      done = Check(options, *store, findings, result);
    }
    if (!done) {
      return Fail(done);
    }
  }
  if (options.json) {
    PrintDocument(options, result, complete, recorded, findings);
  } else {
    PrintSummary(options, result, complete, recorded, findings);
  }
  return findings.Number() == 0 ? kGood : kFindings;
}

}  // namespace

void AddVerify(Program& program) {
  Command command = program.Add("verify", "Reads and checks all that is kept, and tells what is damaged.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operands("ID", options->savesets, "Reads only what these savesets need");
  command.Percent(
      "--sample", options->percent,
      "Reads so many hundredths of the bytes: the packs that were not checked for the longest time");
  command.Duration("--older-than", options->olderThan, "Reads only packs that were not checked for so long");
  command.Flag("--restore", options->restore, "Restores every item to nowhere instead");
  command.Excludes("--restore", "--sample");
  command.Excludes("--restore", "--older-than");
  command.Json(options->json);
  command.Quiet(options->quiet);
  command.Explain(
      "Packs, catalog and saveset objects are compared with their checksums and with each other. Each damage "
      "is\n"
      "told with the items that it costs. A damaged pack is marked: the next backup stores anew what is in "
      "it.\n"
      "One that is found good later, as after it came back from a copy, counts as good again. Without the\n"
      "private key of a repository that encrypts, all but the content of the data is checked.\n"
      "Backups may go on meanwhile. Exit status 1 if something is damaged.\n"
      "Examples: korvo verify prod\n"
      "          korvo verify prod --sample 5");
  command.Does([options] { return Verify(*options); });
}

}  // namespace korvo
