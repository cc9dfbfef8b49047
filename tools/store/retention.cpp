#include "store/retention.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <map>

namespace store {
namespace {

// The number of the week, counted from Monday, 1969-12-29.
std::int64_t WeekOf(std::int64_t day) {
  constexpr std::int64_t kDaysOfWeek = 7;
  constexpr std::int64_t kThursday = 3;  // which 1970-01-01 was
  return (day + kThursday) / kDaysOfWeek;
}

std::int64_t MonthOf(std::int64_t day) {
  constexpr std::int64_t kMonths = 12;
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(day))};
  return static_cast<int>(date.year()) * kMonths + static_cast<unsigned>(date.month());
}

bool IsSpoilt(const Saveset& saveset) {
  return saveset.marked || saveset.failed || saveset.sessionOpen || saveset.sessionFailed ||
         saveset.mover == Mover::kEndedFailed || saveset.mover == Mover::kRunning;
}

// In each pool, keeps the newest good backup of each period, for `most` periods that have one. `periodOf`
// gets the backup's index.
void KeepOnePerPeriod(Kept rule, std::uint64_t most, const std::vector<BackupOfSession>& backups,
                      const std::function<std::int64_t(std::size_t)>& periodOf,
                      std::vector<std::set<Kept>>& kept) {
  std::map<std::string, std::set<std::int64_t>> pools;
  for (std::size_t i = 0; i < backups.size(); ++i) {
    std::set<std::int64_t>& periods = pools[backups[i].pool];
    if (backups[i].good && periods.size() < most && periods.insert(periodOf(i)).second) {
      kept[i].insert(rule);
    }
  }
}

// The rules that keep each backup. The backups are sorted, newest first.
std::vector<std::set<Kept>> KeptByRules(const std::vector<BackupOfSession>& backups,
                                        const RetentionRules& rules, std::int64_t now, const DayOf& dayOf) {
  std::vector<std::set<Kept>> kept(backups.size());
  const auto day = [&](std::size_t place) { return dayOf(backups[place].began); };
  KeepOnePerPeriod(
      Kept::kLast, rules.last.value_or(0), backups,
      [](std::size_t place) { return static_cast<std::int64_t>(place); }, kept);
  KeepOnePerPeriod(Kept::kDaily, rules.daily.value_or(0), backups, day, kept);
  KeepOnePerPeriod(
      Kept::kWeekly, rules.weekly.value_or(0), backups, [&](std::size_t place) { return WeekOf(day(place)); },
      kept);
  KeepOnePerPeriod(
      Kept::kMonthly, rules.monthly.value_or(0), backups,
      [&](std::size_t place) { return MonthOf(day(place)); }, kept);
  for (std::size_t i = 0; i < backups.size(); ++i) {
    if (rules.within && backups[i].began >= now - *rules.within) {
      kept[i].insert(Kept::kWithin);
    }
  }
  return kept;
}

// The reasons to keep the saveset that do not depend on the rules.
std::set<Kept> KeptAlways(const Candidate& candidate) {
  std::set<Kept> kept;
  if (candidate.inUse || candidate.saveset.sessionOpen || candidate.saveset.mover == Mover::kRunning) {
    kept.insert(Kept::kInUse);
  }
  if (candidate.saveset.isProtected) {
    kept.insert(Kept::kProtected);
  }
  if (candidate.notAsked) {
    kept.insert(Kept::kNotAsked);
  }
  return kept;
}

// Looks for the newest copies, unless something keeps one of the session's savesets already. Then all of them
// are kept, or none.
Status KeepSession(const std::vector<Saveset>& savesets, const std::vector<std::size_t>& places,
                   const HoldsNewest& holdsNewest, std::vector<std::set<Kept>>& kept) {
  const auto stays = [&] {
    return std::any_of(places.begin(), places.end(), [&](std::size_t place) { return !kept[place].empty(); });
  };
  if (!stays() && holdsNewest) {
    for (const std::size_t place : places) {
      bool newest = false;
      if (Status asked = holdsNewest(savesets[place], newest); !asked) {
        return asked;
      }
      if (newest) {
        kept[place].insert(Kept::kNewest);
      }
    }
  }
  if (stays()) {
    for (const std::size_t place : places) {
      if (kept[place].empty()) {
        kept[place].insert(Kept::kSession);
      }
    }
  }
  return {};
}

}  // namespace

bool IsGood(const Saveset& saveset) { return saveset.mover == Mover::kEndedClean && !saveset.failed; }

std::vector<BackupOfSession> BackupsOf(const std::vector<Saveset>& savesets) {
  std::map<Uid, BackupOfSession> sessions;
  for (std::size_t i = 0; i < savesets.size(); ++i) {
    BackupOfSession& backup = sessions[savesets[i].together];
    const bool isFirst = backup.savesets.empty();
    backup.began = isFirst ? savesets[i].created : std::min(backup.began, savesets[i].created);
    backup.number = isFirst ? savesets[i].id : std::min(backup.number, savesets[i].id);
    backup.database = savesets[i].database;
    backup.pool = savesets[i].pool;
    backup.savesets.push_back(i);
  }
  std::vector<BackupOfSession> backups;
  for (auto& session : sessions) {
    BackupOfSession& backup = session.second;
    const auto any = [&](const auto& is) {
      return std::any_of(backup.savesets.begin(), backup.savesets.end(),
                         [&](std::size_t place) { return is(savesets[place]); });
    };
    backup.good = any(IsGood) && !any(IsSpoilt);
    backups.push_back(std::move(backup));
  }
  std::sort(backups.begin(), backups.end(),
            [](const BackupOfSession& a, const BackupOfSession& b) { return a.number > b.number; });
  return backups;
}

bool IsOverdue(std::int64_t began, std::int64_t now, std::int64_t maxAge) {
  constexpr std::int64_t kDay = 86400;
  return now - began > maxAge || began - now > kDay;
}

std::int64_t LocalDayOf(std::int64_t seconds) {
  constexpr int kFirstYear = 1900;
  const auto time = static_cast<std::time_t>(seconds);
  const std::tm* local = std::localtime(&time);
  if (local == nullptr) {
    return 0;
  }
  const std::chrono::sys_days day(
      std::chrono::year_month_day(std::chrono::year(local->tm_year + kFirstYear),
                                  std::chrono::month(static_cast<unsigned>(local->tm_mon) + 1),
                                  std::chrono::day(static_cast<unsigned>(local->tm_mday))));
  return day.time_since_epoch().count();
}

Status ApplyRetention(const std::vector<Candidate>& candidates, const RetentionRules& rules, std::int64_t now,
                      const DayOf& dayOf, const HoldsNewest& holdsNewest, std::vector<std::set<Kept>>& kept) {
  std::vector<Saveset> savesets;
  kept.clear();
  for (const Candidate& candidate : candidates) {
    savesets.push_back(candidate.saveset);
    kept.push_back(candidate.saveset.marked ? std::set<Kept>() : KeptAlways(candidate));
  }
  const std::vector<BackupOfSession> backups = BackupsOf(savesets);
  const std::vector<std::set<Kept>> byRules = KeptByRules(backups, rules, now, dayOf);
  for (std::size_t i = 0; i < backups.size(); ++i) {
    std::vector<std::size_t> places;
    std::copy_if(backups[i].savesets.begin(), backups[i].savesets.end(), std::back_inserter(places),
                 [&savesets](std::size_t place) { return !savesets[place].marked; });
    for (const std::size_t place : places) {
      kept[place].insert(byRules[i].begin(), byRules[i].end());
    }
    if (Status done = KeepSession(savesets, places, holdsNewest, kept); !done) {
      return done;
    }
  }
  return {};
}

}  // namespace store
