// Writes the report of a repository that never was, with all that a report can tell: sample_page FILE.
#include <cmath>
#include <cstdio>
#include <fstream>

#include "korvo/facts.h"
#include "korvo/page.h"

namespace {

using korvo::Backup;
using korvo::Facts;

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;
constexpr std::int64_t kNow = 1764072000;  // 2025-11-25 12:00 UTC
constexpr std::int64_t kGiB = std::int64_t{1} << 30;

struct Plan {
  const char* database;
  std::int64_t size;
  std::int64_t newest;  // hours ago
  std::int64_t everyDays;
  std::int64_t seconds;  // of a run
};

Backup BackupAt(const Plan& plan, std::int64_t age, int number) {
  Backup backup;
  store::Saveset& saveset = backup.saveset;
  saveset.database = plan.database;
  saveset.name = std::string(plan.database) + "_" + std::to_string(kNow - age);
  saveset.together = store::Uid::Random();
  saveset.id = saveset.created = kNow - age;  // the younger, the higher
  saveset.ended = saveset.created + plan.seconds + (number * 7919) % 600;
  saveset.mover = store::Mover::kEndedClean;
  saveset.items = 120 + number;
  saveset.bytes = plan.size + (kDay * 90 - age) * (plan.size / (kDay * 300));
  backup.added =
      static_cast<std::uint64_t>(static_cast<double>(saveset.bytes) *
                                 (age > 89 * kDay ? 0.4 : 0.02 + 0.02 * std::fabs(std::sin(number))));
  if (number % 23 == 11) {
    saveset.mover = store::Mover::kEndedFailed;
    saveset.items = 17;
  } else if (number % 29 == 5) {
    saveset.failed = true;
  } else if (number % 31 == 7) {
    saveset.warnings = true;
  }
  return backup;
}

Facts Sample() {
  Facts facts;
  facts.now = kNow;
  const Plan plans[] = {{"PRD", 220 * kGiB, 5, 1, 4200},
                        {"QAS", 90 * kGiB, 25, 1, 1800},
                        {"DEV<1>&\"'", 30 * kGiB, 80, 3, 700},
                        {"ARC", 400 * kGiB, 600, 30, 9000}};
  for (std::int64_t hour = 0; hour < 95 * 24; ++hour) {
    int number = static_cast<int>(hour / 24);
    for (const Plan& plan : plans) {
      if (hour >= plan.newest && (hour - plan.newest) % (plan.everyDays * 24) == 0) {
        facts.backups.push_back(BackupAt(plan, hour * kHour, number));
      }
      number += 3;
    }
  }
  facts.backups.front().saveset.database = "PRD";
  Backup never = BackupAt({"NEW", kGiB, 2, 1, 60}, 2 * kHour, 11);
  facts.backups.insert(facts.backups.begin(), never);
  facts.backups[20].damagedPacks = 2;
  return facts;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  Facts facts = Sample();
  for (const Backup& backup : facts.backups) {
    facts.packs += backup.added / (1 << 28) + 1;
    facts.packBytes += backup.added;
  }
  facts.otherBytes = 55 * static_cast<std::uint64_t>(kGiB);
  facts.packBytes += facts.otherBytes;
  facts.damagedPacks = 3;
  facts.uncheckedPacks = facts.packs / 10;
  facts.oldestCheck = kNow - 24 * kDay;
  korvo::SortByDatabase(facts);
  std::ofstream file(argv[1], std::ios::binary);
  file << korvo::ReportPage({"prod<script>alert(1)</script>", "/backups/prod", 30 * kHour}, facts);
  return file.flush() ? 0 : 1;
}
