#include "korvo/expire_plan.h"

#include <map>

#include "korvo/output.h"
#include "store/names.h"

namespace korvo {
namespace {

using store::Candidate;
using store::Kept;
using store::Saveset;
using store::Status;

// Lists the savesets of the database and pool, and all others of the same sessions.
Status ListCandidates(const ExpireQuestion& question, store::Store& store,
                      std::vector<Candidate>& candidates) {
  std::vector<Saveset> all;
  std::set<std::int64_t> inUse;
  Status done = ListSavesets(store, "", "", all);
  if (done) {
    done = store.Rows().ListInUse(inUse);
  }
  const std::string database = store::DatabaseOfSid(question.database);
  const auto isAsked = [&](const Saveset& saveset) {
    return saveset.database == database && (question.pool.empty() || saveset.pool == question.pool);
  };
  std::set<store::Uid> sessions;
  for (const Saveset& saveset : all) {
    if (isAsked(saveset)) {
      sessions.insert(saveset.together);
    }
  }
  for (const Saveset& saveset : all) {
    if (sessions.count(saveset.together) != 0) {
      candidates.push_back({saveset, inUse.count(saveset.id) != 0, !isAsked(saveset)});
    }
  }
  return done && candidates.empty()
             ? Status::Failed("there is no saveset of database " + question.database +
                              (question.pool.empty() ? "" : " in pool " + question.pool) +
                              ": korvo list shows those there are")
             : done;
}

Status PlanByRules(const ExpireQuestion& question, store::Store& store, ExpirePlan& plan) {
  std::vector<Candidate> candidates;
  if (Status listed = ListCandidates(question, store, candidates); !listed) {
    return listed;
  }
  std::int64_t now = 0;
  if (Status told = store.Rows().Now(now); !told) {
    return told;
  }
  store::HoldsNewest holdsNewest;
  if (!question.evenNewest) {
    holdsNewest = [&store](const Saveset& saveset, bool& holds) {
      return store.Rows().HoldsNewest(saveset, holds);
    };
  }
  std::vector<std::set<Kept>> kept;
  Status applied = ApplyRetention(candidates, question.rules, now, store::LocalDayOf, holdsNewest, kept);
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const Saveset& saveset = candidates[i].saveset;
    // A saveset that an earlier rule marked keeps its mark. It goes now only with `--now`, and not if
    // `--keep-within` would keep it.
    const bool young = question.rules.within && saveset.created >= now - *question.rules.within;
    const bool staysMarked = saveset.marked && (!question.now || young);
    if (!candidates[i].notAsked) {
      plan.entries.push_back({saveset, kept[i], kept[i].empty() && !staysMarked, staysMarked});
    }
  }
  return applied;
}

Status PlanOneSaveset(const ExpireQuestion& question, store::Store& store, ExpirePlan& plan) {
  ExpireEntry entry;
  std::set<std::int64_t> inUse;
  Status done = store.FindSaveset(question.saveset, entry.saveset);
  if (done) {
    done = store.Rows().ListInUse(inUse);
  }
  if (done && inUse.count(entry.saveset.id) != 0) {
    done = Status::Failed("saveset " + question.saveset + " is in use: a job of it is still open");
  }
  if (done && entry.saveset.isProtected) {
    done =
        Status::Failed("saveset " + question.saveset + " is protected: korvo protect --off takes that back");
  }
  entry.goes = true;
  plan.entries.push_back(entry);
  return done;
}

}  // namespace

Status CheckQuestion(const ExpireQuestion& question) {
  const bool byRules =
      question.rules.Any() || question.evenNewest || !question.database.empty() || !question.pool.empty();
  if (!question.saveset.empty()) {
    return byRules
               ? Status::Failed("--saveset names what goes: it has no use for --database, --pool or rules")
               : Status();
  }
  if (question.database.empty()) {
    return Status::Failed("--database with a rule, or --saveset, has to say what goes");
  }
  return question.rules.Any() ? Status()
                              : Status::Failed(
                                    "a rule has to say what stays: --keep-last, --keep-within, --keep-daily, "
                                    "--keep-weekly or --keep-monthly");
}

std::vector<Saveset> ExpirePlan::Going() const {
  std::vector<Saveset> going;
  for (const ExpireEntry& entry : entries) {
    if (entry.goes) {
      going.push_back(entry.saveset);
    }
  }
  return going;
}

std::vector<std::vector<Saveset>> ExpirePlan::GoingBySession() const {
  std::map<store::Uid, std::vector<Saveset>> sessions;
  for (const Saveset& saveset : Going()) {
    sessions[saveset.together].push_back(saveset);
  }
  std::vector<std::vector<Saveset>> going;
  going.reserve(sessions.size());
  for (auto& [first, savesets] : sessions) {
    going.push_back(std::move(savesets));
  }
  return going;
}

Status MakeExpirePlan(const ExpireQuestion& question, store::Store& store, ExpirePlan& plan) {
  plan = {};
  Status done =
      question.saveset.empty() ? PlanByRules(question, store, plan) : PlanOneSaveset(question, store, plan);
  std::set<std::int64_t> going;
  for (const Saveset& saveset : plan.Going()) {
    going.insert(saveset.id);
  }
  // What was marked before is deleted no later than what goes now, unless that goes at once.
  std::int64_t now = 0;
  if (done) {
    done = store.Rows().Now(now);
  }
  const std::int64_t markedBefore = question.now ? now - store.Config().grace : INT64_MAX;
  return done ? store.Rows().RoomOf(going, markedBefore, plan.room) : done;
}

std::string KeptName(Kept kept) {
  switch (kept) {
    case Kept::kInUse:
      return "in_use";
    case Kept::kProtected:
      return "protected";
    case Kept::kLast:
      return "last";
    case Kept::kWithin:
      return "within";
    case Kept::kDaily:
      return "daily";
    case Kept::kWeekly:
      return "weekly";
    case Kept::kMonthly:
      return "monthly";
    case Kept::kNewest:
      return "newest";
    case Kept::kSession:
      return "session";
    case Kept::kNotAsked:
      break;
  }
  return "not_asked";
}

std::string KeptText(const std::set<Kept>& kept) {
  std::string text;
  for (const Kept one : kept) {
    const std::string name = one == Kept::kInUse     ? "in use"
                             : one == Kept::kNewest  ? "newest copy of a file"
                             : one == Kept::kSession ? "others of its session"
                                                     : KeptName(one);
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

}  // namespace korvo
