#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "korvo/commands.h"
#include "korvo/expire_plan.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  ExpireQuestion question;
  bool doDelete = false;
  bool json = false;
};

std::string SavesetCount(std::uint64_t number) { return Count(number, "saveset"); }

// ---- Telling -------------------------------------------------------------------------------------

// Without a grace period, the same command also deletes what it marks.
bool IsAtOnce(const Options& options, const store::Store& store) {
  return options.question.now || store.Config().grace == 0;
}

std::string WhatHappened(const Options& options, const ExpirePlan& plan, const store::Store& store) {
  const std::string what = SavesetCount(plan.Going().size()) + " of " + std::to_string(plan.entries.size());
  const std::string room = SizeText(plan.room);
  if (!options.doDelete) {
    return what + " would go, and " + room + " come back. Nothing was changed: --delete does it.";
  }
  if (IsAtOnce(options, store)) {
    return what + " went, and " + room + " came back.";
  }
  return "Marked: " + what +
         (plan.Going().size() == 1 ? ". It is deleted, and " : ". They are deleted, and ") + room +
         " come back, by the end of the first backup, or by the first korvo expire --delete, that comes " +
         DurationText(store.Config().grace) + " later. Until then korvo keep takes that back.";
}

// A rule that was changed takes no mark back.
std::string AboutMarked(const Options& options, const ExpirePlan& plan) {
  const auto marked = std::count_if(plan.entries.begin(), plan.entries.end(),
                                    [](const ExpireEntry& entry) { return entry.markedBefore; });
  if (marked == 0) {
    return "";
  }
  const std::string what = SavesetCount(static_cast<std::uint64_t>(marked)) + " had been marked before";
  return what + (options.doDelete ? ": what was marked long enough ago is deleted now."
                                  : ", and will be deleted. Only korvo keep takes that back.");
}

// What goes, what had been marked before, or that nothing does either.
std::vector<std::string> LastLines(const Options& options, const ExpirePlan& plan,
                                   const store::Store& store) {
  std::vector<std::string> lines;
  if (!plan.Going().empty()) {
    lines.push_back(WhatHappened(options, plan, store));
  }
  if (std::string marked = AboutMarked(options, plan); !marked.empty()) {
    lines.push_back(std::move(marked));
  }
  return lines.empty() ? std::vector<std::string>{"Nothing goes."} : lines;
}

void TellPeople(const Options& options, const ExpirePlan& plan, const store::Store& store) {
  Table table({{"SAVESET"}, {"TIME"}, {"STATE"}, {"STAYS BY"}});
  for (const ExpireEntry& entry : plan.entries) {
    table.Add({entry.saveset.name, TimeText(entry.saveset.created), StateText(entry.saveset),
               entry.goes           ? "- goes"
               : entry.markedBefore ? "- marked before"
                                    : KeptText(entry.kept)});
  }
  table.Print();
  for (const std::string& line : LastLines(options, plan, store)) {
    Print(line);
  }
}

void TellPrograms(const Options& options, const ExpirePlan& plan, const store::Store& store) {
  Json savesets = Json::Array();
  for (const ExpireEntry& entry : plan.entries) {
    Json json = JsonSaveset(entry.saveset);
    json["goes"] = entry.goes;
    json["kept_by"] = Json::Array();
    for (const store::Kept kept : entry.kept) {
      json["kept_by"].Add(KeptName(kept));
    }
    savesets.Add(std::move(json));
  }
  PrintJson({{"server", JsonText(options.server)},
             {"done", !options.doDelete          ? "nothing"
                      : IsAtOnce(options, store) ? "deleted"
                                                 : "marked"},
             {"going", plan.Going().size()},
             {"bytes_back", plan.room},
             {"savesets", std::move(savesets)}});
}

// ---- Doing ---------------------------------------------------------------------------------------

// The savesets of one session are marked in one step. If somebody began to use one meanwhile, the whole
// session stays, and the command fails. What it had marked by then is told.
store::Status Delete(const Options& options, store::Store& store, const ExpirePlan& plan) {
  std::uint64_t count = 0;
  for (const std::vector<store::Saveset>& session : plan.GoingBySession()) {
    const store::Status marked = store.MarkTogether(session, options.question.now);
    if (marked.What() == store::Status::Kind::kFailed && count > 0) {
      return store::Status::Failed(marked.Message() + ". " + SavesetCount(count) +
                                   " had been marked before that: call again, or korvo keep takes that back");
    }
    if (!marked) {
      return marked;
    }
    count += session.size();
  }
  return store.DeleteMarked(store.Config().grace);
}

store::Status Work(const Options& options, store::Store& store, ExpirePlan& plan) {
  store::Status done = MakeExpirePlan(options.question, store, plan);
  return done && options.doDelete ? Delete(options, store, plan) : done;
}

// On a full disk the catalog cannot be written until the spare room, which is kept for this, is given up.
store::Status WorkOnAnyDisk(const Options& options, std::unique_ptr<store::Store>& store, ExpirePlan& plan) {
  if (!options.doDelete) {
    return Work(options, *store, plan);
  }
  store::Status done = store->Rows().CanWrite() ? Work(options, *store, plan)
                                                : store::Status::NoRoom(
                                                      "the catalog cannot be written: the disk is full or "
                                                      "write-protected, or this user has no right to");
  // A mark alone frees no room, so the spare room would be given up for nothing.
  if (done.What() == store::Status::Kind::kNoRoom && !IsAtOnce(options, *store)) {
    return store::Status::NoRoom(done.Message() +
                                 ". On a full disk --now deletes at once, with room that is kept for that");
  }
  if (done.What() != store::Status::Kind::kNoRoom || !store::Store::GiveSpareRoom(store->Config())) {
    return store->Rows().CanWrite() ? done : Work(options, *store, plan);
  }
  store.reset();
  done = OpenServer(options.server, store::Store::Access::kWrite, store);
  return done ? Work(options, *store, plan) : done;
}

int Expire(const Options& options) {
  std::unique_ptr<store::Store> store;
  const auto access = options.doDelete ? store::Store::Access::kWrite : store::Store::Access::kRead;
  ExpirePlan plan;
  store::Status done = CheckQuestion(options.question);
  if (done) {
    done = OpenServer(options.server, access, store);
  }
  if (done) {
    done = WorkOnAnyDisk(options, store, plan);
  }
  if (!done) {
    return Fail(done);
  }
  if (options.json) {
    TellPrograms(options, plan, *store);
  } else {
    TellPeople(options, plan, *store);
  }
  return kGood;
}

void AddRules(Command& command, ExpireQuestion& question) {
  command.Option("--database", "SID", question.database, "Whose savesets the rules are for");
  command.Option("--pool", "POOL", question.pool, "Only those of this pool");
  command.Count("--keep-last", question.rules.last, "Keeps the newest N backups");
  command.Duration("--keep-within", question.rules.within, "Keeps what is not older");
  command.Count("--keep-daily", question.rules.daily, "Keeps the newest backup of each of N days");
  command.Count("--keep-weekly", question.rules.weekly, "... of each of N weeks");
  command.Count("--keep-monthly", question.rules.monthly, "... of each of N months");
  command.Flag("--even-newest", question.evenNewest,
               "Also takes the newest good copy of a file, if no rule keeps it");
  command.Option("--saveset", "ID", question.saveset, "Instead of rules: this saveset goes");
}

}  // namespace

void AddExpire(Program& program) {
  Command command =
      program.Add("expire", "Deletes savesets by rules, after a time in which they can be kept.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  AddRules(command, options->question);
  command.Flag("--delete", options->doDelete,
               "Marks what goes to be deleted. Without this nothing is changed");
  command.Flag("--now", options->question.now, "Deletes it at once, without a way back");
  command.Needs("--now", "--delete");
  command.Json(options->json);
  command.Explain(
      "What one of the rules keeps stays. A backup is all savesets of one session, which stay or go "
      "together;\n"
      "the rules that count do so with good backups alone, and in each pool by itself. Always kept: savesets "
      "that\n"
      "are in use or protected, and those with the newest good copy of a file. Room comes back as far as no "
      "other\n"
      "saveset needs the same data.\n"
      "Example: korvo expire prod --database ABC --keep-within 30d --keep-monthly 12 --delete");
  command.Does([options] { return Expire(*options); });
}

}  // namespace korvo
