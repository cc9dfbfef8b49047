// The owner's rules against a plain model: each rule as its help tells it, for one backup at a time.
#include "store/retention.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <random>

#include "support/run_program.h"

namespace store {
namespace {

constexpr std::int64_t kDay = 86400;

std::int64_t UtcDay(std::int64_t seconds) { return seconds / kDay; }

// ---- Random histories ----------------------------------------------------------------------------

struct History {
  std::vector<Candidate> candidates;
  std::map<std::int64_t, std::set<int>> files;  // of each saveset
};

Saveset RandomSaveset(std::mt19937& dice, std::int64_t id, std::int64_t created, const Uid& session) {
  Saveset saveset;
  saveset.id = id;
  saveset.uid = Uid::Random();
  saveset.together = session;
  saveset.created = created;
  const auto chance = [&dice](std::size_t of) { return dice() % of == 0; };
  saveset.mover = chance(12)   ? Mover::kEndedFailed
                  : chance(20) ? Mover::kRunning
                  : chance(20) ? Mover::kNone
                               : Mover::kEndedClean;
  saveset.failed = chance(15);
  saveset.warnings = !saveset.failed && chance(10);
  saveset.isProtected = chance(25);
  saveset.marked = !saveset.isProtected && chance(25);
  saveset.sessionOpen = chance(40);
  saveset.sessionFailed = !saveset.sessionOpen && chance(25);
  return saveset;
}

History RandomHistory(std::mt19937& dice) {
  History history;
  std::int64_t now = 20000 * kDay;
  std::int64_t id = 0;
  for (std::size_t backup = dice() % 40; backup > 0; --backup) {
    now += dice() % (dice() % 4 == 0 ? 20 * kDay : kDay / 2);
    const Uid session = Uid::Random();
    const std::string pool = dice() % 3 == 0 ? "LOGS" : "DATA";
    for (std::size_t more = 1 + dice() % 3; more > 0; --more) {
      now += dice() % 3600;
      Candidate candidate{RandomSaveset(dice, ++id, now, session), dice() % 30 == 0, dice() % 40 == 0};
      candidate.saveset.pool = pool;
      for (std::size_t file = dice() % 4; file > 0; --file) {
        history.files[id].insert(static_cast<int>(dice() % 12));
      }
      history.candidates.push_back(candidate);
    }
  }
  std::shuffle(history.candidates.begin(), history.candidates.end(), dice);
  return history;
}

RetentionRules RandomRules(std::mt19937& dice) {
  RetentionRules rules;
  const auto number = [&dice]() -> std::optional<std::uint64_t> {
    return dice() % 2 == 0 ? std::nullopt : std::optional<std::uint64_t>(1 + dice() % 8);
  };
  rules.last = number();
  rules.daily = number();
  rules.weekly = number();
  rules.monthly = number();
  if (dice() % 3 == 0) {
    rules.within = dice() % (60 * kDay);
  }
  return rules;
}

// ---- The model -----------------------------------------------------------------------------------

using Savesets = std::vector<Candidate>;

std::string MonthName(std::int64_t day) {
  const auto time = static_cast<std::time_t>(day * kDay);
  const std::tm* date = std::gmtime(&time);
  return std::to_string(date->tm_year) + "/" + std::to_string(date->tm_mon);
}

// The Monday of its week.
std::string WeekName(std::int64_t day) {
  const auto time = static_cast<std::time_t>(day * kDay);
  return std::to_string(day - (std::gmtime(&time)->tm_wday + 6) % 7);
}

class Model {
 public:
  Model(const History& history, const RetentionRules& rules, std::int64_t now)
      : history_(history), rules_(rules), now_(now) {
    for (const Candidate& candidate : history.candidates) {
      sessions_[candidate.saveset.together].push_back(candidate);
    }
  }

  bool Goes(const Candidate& candidate, bool evenNewest) const {
    const Savesets& session = sessions_.at(candidate.saveset.together);
    if (candidate.saveset.marked) {
      return true;
    }
    return !IsKept(session) && std::none_of(session.begin(), session.end(), [&](const Candidate& other) {
      const bool held = other.inUse || other.notAsked || other.saveset.isProtected ||
                        other.saveset.mover == Mover::kRunning || other.saveset.sessionOpen ||
                        (!evenNewest && HoldsNewest(other.saveset));
      return held && !other.saveset.marked;
    });
  }

  bool HoldsNewest(const Saveset& saveset) const {
    const auto files = history_.files.find(saveset.id);
    return files != history_.files.end() && !saveset.marked &&
           std::any_of(files->second.begin(), files->second.end(), [&](int file) {
             return std::none_of(
                 history_.candidates.begin(), history_.candidates.end(), [&](const Candidate& other) {
                   const auto theirs = history_.files.find(other.saveset.id);
                   return other.saveset.id > saveset.id && IsGood(other.saveset) && !other.saveset.marked &&
                          theirs != history_.files.end() && theirs->second.count(file) != 0;
                 });
           });
  }

 private:
  static std::int64_t Began(const Savesets& session) {
    std::int64_t began = session.front().saveset.created;
    for (const Candidate& candidate : session) {
      began = std::min(began, candidate.saveset.created);
    }
    return began;
  }

  static std::string PoolOf(const Savesets& session) { return session.front().saveset.pool; }

  static bool Counts(const Savesets& session) {
    bool any = false;
    for (const Candidate& candidate : session) {
      const Saveset& saveset = candidate.saveset;
      if (saveset.failed || saveset.marked || saveset.mover == Mover::kEndedFailed ||
          saveset.mover == Mover::kRunning || saveset.sessionOpen || saveset.sessionFailed) {
        return false;
      }
      any = any || saveset.mover == Mover::kEndedClean;
    }
    return any;
  }

  // The newest of its period in its pool, and fewer than `most` later periods have a backup there that
  // counts.
  bool IsKeptBy(const Savesets& session, std::uint64_t most,
                const std::function<std::string(std::int64_t)>& periodOf) const {
    std::set<std::string> later;
    for (const auto& [uid, other] : sessions_) {
      if (Counts(other) && PoolOf(other) == PoolOf(session) && Began(other) > Began(session)) {
        later.insert(periodOf(Began(other)));
      }
    }
    return Counts(session) && later.count(periodOf(Began(session))) == 0 && later.size() < most;
  }

  bool IsKept(const Savesets& session) const {
    return (rules_.within && Began(session) >= now_ - *rules_.within) ||
           IsKeptBy(session, rules_.last.value_or(0),
                    [](std::int64_t time) { return std::to_string(time); }) ||
           IsKeptBy(session, rules_.daily.value_or(0),
                    [](std::int64_t time) { return std::to_string(UtcDay(time)); }) ||
           IsKeptBy(session, rules_.weekly.value_or(0),
                    [](std::int64_t time) { return WeekName(UtcDay(time)); }) ||
           IsKeptBy(session, rules_.monthly.value_or(0),
                    [](std::int64_t time) { return MonthName(UtcDay(time)); });
  }

  const History& history_;
  const RetentionRules& rules_;
  std::int64_t now_;
  std::map<Uid, Savesets> sessions_;
};

TEST(Retention, RandomHistoriesAgreeWithTheModel) {
  std::uint64_t gone = 0;
  std::uint64_t stayed = 0;
  for (unsigned seed = 0; seed < 800; ++seed) {
    std::mt19937 dice(seed);
    const History history = RandomHistory(dice);
    const RetentionRules rules = RandomRules(dice);
    const std::int64_t now = 20000 * kDay + dice() % (400 * kDay);
    const bool evenNewest = dice() % 2 == 0;
    const Model model(history, rules, now);
    const HoldsNewest holdsNewest = [&model](const Saveset& saveset, bool& holds) {
      holds = model.HoldsNewest(saveset);
      return Status();
    };
    std::vector<std::set<Kept>> kept;
    ASSERT_TRUE(ApplyRetention(history.candidates, rules, now, UtcDay,
                               evenNewest ? HoldsNewest() : holdsNewest, kept));
    ASSERT_EQ(kept.size(), history.candidates.size());
    for (std::size_t i = 0; i < kept.size(); ++i) {
      const Candidate& candidate = history.candidates[i];
      EXPECT_EQ(kept[i].empty(), model.Goes(candidate, evenNewest))
          << "seed " << seed << ", saveset " << candidate.saveset.id;
      (kept[i].empty() ? gone : stayed) += 1;
    }
  }
  EXPECT_GT(gone, 2000u);
  EXPECT_GT(stayed, 2000u);
}

// Three nights with a clock that is a year ahead, then three with the right one.
TEST(Retention, AClockThatWasAheadMakesNoBackupTheNewest) {
  constexpr std::int64_t kNow = 20000 * kDay;
  std::vector<Candidate> candidates;
  for (std::int64_t id = 1; id <= 6; ++id) {
    Candidate candidate;
    candidate.saveset.id = id;
    candidate.saveset.together = Uid::Random();
    candidate.saveset.created = kNow + (id <= 3 ? 365 + id : id - 6) * kDay;
    candidate.saveset.mover = Mover::kEndedClean;
    candidates.push_back(candidate);
  }
  RetentionRules rules;
  rules.last = 3;
  std::vector<std::set<Kept>> kept;
  ASSERT_TRUE(ApplyRetention(candidates, rules, kNow, UtcDay, {}, kept));
  for (std::size_t i = 0; i < kept.size(); ++i) {
    EXPECT_EQ(kept[i].empty(), i < 3) << i;
  }
  EXPECT_TRUE(IsOverdue(candidates[0].saveset.created, kNow, 30 * kDay));
  EXPECT_TRUE(IsOverdue(kNow - 31 * kDay, kNow, 30 * kDay));
  EXPECT_FALSE(IsOverdue(kNow - 30 * kDay, kNow, 30 * kDay));
  EXPECT_FALSE(IsOverdue(kNow + kDay, kNow, 30 * kDay));
  EXPECT_TRUE(IsOverdue(kNow + kDay + 1, kNow, 30 * kDay));
  RetentionRules within;
  within.within = 3 * kDay;  // from the second before the last on
  candidates[3].saveset.created = kNow - 3 * kDay;
  candidates[4].saveset.created = kNow - 3 * kDay - 1;
  ASSERT_TRUE(ApplyRetention(candidates, within, kNow, UtcDay, {}, kept));
  EXPECT_FALSE(kept[3].empty());
  EXPECT_TRUE(kept[4].empty());
}

// A day of the owner's calendar, not of Greenwich.
TEST(Retention, ADayIsTheLocalOne) {
  support::UseZone("XXX-12");
  const auto at = [](int day, int hour) {
    std::tm time = {};
    time.tm_year = 126;
    time.tm_mon = 2;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_isdst = -1;
    return static_cast<std::int64_t>(std::mktime(&time));
  };
  EXPECT_EQ(LocalDayOf(at(28, 0)), LocalDayOf(at(28, 23)));
  EXPECT_EQ(LocalDayOf(at(28, 23)) + 1, LocalDayOf(at(29, 0)));
  EXPECT_EQ(LocalDayOf(at(28, 12)), 20540);
}

TEST(Retention, WhatTheQuestionFailsByIsTold) {
  Candidate candidate;
  candidate.saveset.mover = Mover::kEndedClean;
  std::vector<std::set<Kept>> kept;
  const Status applied = ApplyRetention(
      {candidate}, {}, 0, UtcDay, [](const Saveset&, bool&) { return Status::Damaged("damaged"); }, kept);
  EXPECT_EQ(applied.What(), Status::Kind::kDamaged);
}

}  // namespace
}  // namespace store
