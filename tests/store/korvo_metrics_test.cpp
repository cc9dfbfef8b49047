// The metrics: each line has a form that the format allows, and tells what it has to.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "korvo/facts.h"
#include "korvo/metrics_text.h"

namespace {

using Lines = std::set<std::string>;

// The heads of each family, its samples behind them, and the end.
Lines LinesOf(const std::string& text) {
  static const std::string kLabel = "[a-z]+=\"(?:[^\"\\\\]|\\\\[\\\\n\"])*\"";
  static const std::regex kHead("# (TYPE|UNIT|HELP) (korvo_[a-z_]+) (.+)");
  static const std::regex kSample("(korvo_[a-z_]+)\\{" + kLabel + "(?:," + kLabel + ")*\\} -?[0-9]+");
  Lines lines;
  Lines families;
  std::string family;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    std::smatch parts;
    EXPECT_EQ(lines.count("# EOF"), 0u) << "something stands behind the end: " << line;
    if (std::regex_match(line, parts, kHead)) {
      if (parts.str(1) == "TYPE") {
        family = parts.str(2);
        EXPECT_TRUE(families.insert(family).second) << family << " comes twice";
        EXPECT_EQ(parts.str(3), "gauge");
      }
      EXPECT_EQ(parts.str(2), family) << line;
      EXPECT_TRUE(parts.str(1) != "UNIT" || family.ends_with("_" + parts.str(3))) << line;
    } else if (line != "# EOF") {
      EXPECT_TRUE(std::regex_match(line, parts, kSample) && parts.str(1) == family) << line;
    }
    EXPECT_TRUE(lines.insert(line).second) << line << " comes twice";
  }
  EXPECT_EQ(lines.count("# EOF"), 1u);
  EXPECT_TRUE(text.ends_with('\n'));
  return lines;
}

korvo::Backup BackupOf(const std::string& database, std::int64_t created, store::Mover mover) {
  korvo::Backup backup;
  backup.saveset.database = database;
  backup.saveset.id = created;
  backup.saveset.created = created;
  backup.saveset.mover = mover;
  backup.saveset.together.bytes[0] = static_cast<unsigned char>(created / 100);
  if (mover == store::Mover::kEndedClean || mover == store::Mover::kEndedFailed) {
    backup.saveset.ended = created + 60;
  }
  backup.saveset.bytes = 1000;
  backup.added = 100;
  return backup;
}

TEST(KorvoMetrics, AreWhatTheFormatAllowsAndTellEachDatabase) {
  const std::string odd = "A\\B\"C\nD,E=\"";
  korvo::Facts facts;
  facts.now = 10'000;
  // The second and third are one session, which is not good.
  facts.backups = {
      BackupOf("PRD", 9900, store::Mover::kRunning),     BackupOf("PRD", 9550, store::Mover::kEndedClean),
      BackupOf("PRD", 9500, store::Mover::kEndedFailed), BackupOf("PRD", 9000, store::Mover::kEndedClean),
      BackupOf(odd, 8000, store::Mover::kEndedFailed),   BackupOf("PRD", 7000, store::Mover::kEndedClean)};
  facts.backups[1].saveset.ended = 9850;
  // The newest of another pool says nothing about the others.
  facts.backups.insert(facts.backups.begin(), BackupOf("PRD", 9950, store::Mover::kEndedClean));
  for (korvo::Backup& backup : facts.backups) {
    backup.saveset.pool = backup.saveset.created == 9950 ? "LOGS" : "DATA";
  }
  facts.packs = 7;
  facts.packBytes = 1ULL << 40;
  facts.damagedPacks = 2;
  korvo::SortByDatabase(facts);

  EXPECT_EQ(facts.databases.front().title, odd);
  EXPECT_EQ(facts.databases.back().title, "PRD, pool LOGS");

  const std::string text = korvo::MetricsText("prod", facts, 1500);
  const Lines lines = LinesOf(text);
  for (const char* line : {
           R"(korvo_newest_good_backup_timestamp_seconds{server="prod",database="PRD",pool="DATA"} 9000)",
           R"(korvo_newest_good_backup_age_seconds{server="prod",database="PRD",pool="DATA"} 1000)",
           R"(korvo_newest_good_backup_age_seconds{server="prod",database="PRD",pool="LOGS"} 50)",
           R"(korvo_backup_overdue{server="prod",database="PRD",pool="DATA"} 0)",
           R"(korvo_backup_overdue{server="prod",database="A\\B\"C\nD,E=\"",pool="DATA"} 1)",
           R"(korvo_last_backup_duration_seconds{server="prod",database="PRD",pool="DATA"} 300)",
           R"(korvo_savesets{server="prod",database="PRD",pool="DATA",state="good"} 3)",
           R"(korvo_savesets{server="prod",database="PRD",pool="DATA",state="running"} 1)",
           R"(korvo_savesets{server="prod",database="A\\B\"C\nD,E=\"",pool="DATA",state="good"} 0)",
           R"(korvo_files_bytes{server="prod",database="PRD",pool="DATA"} 5000)",
           R"(korvo_added_bytes{server="prod",database="PRD",pool="DATA"} 500)",
           R"(korvo_repository_bytes{server="prod"} 1099511627776)",
           R"(korvo_damaged_packs{server="prod"} 2)",
           R"(korvo_metrics_timestamp_seconds{server="prod"} 10000)",
       }) {
    EXPECT_EQ(lines.count(line), 1u) << line;
  }
  for (const char* missing : {R"(newest_good_backup_age_seconds{server="prod",database="A)",
                              "oldest_verification_timestamp_seconds{"}) {
    EXPECT_EQ(text.find(missing), std::string::npos) << missing;
  }
  EXPECT_TRUE(!facts.AllYoungerThan(1500));
}

TEST(KorvoMetrics, WhatWasRecoveredWithoutItsNameIsNotOverdue) {
  korvo::Facts facts;
  facts.now = 10'000;
  facts.backups = {BackupOf("", 100, store::Mover::kEndedFailed),
                   BackupOf("PRD", 9000, store::Mover::kEndedClean)};
  korvo::SortByDatabase(facts);
  EXPECT_TRUE(facts.AllYoungerThan(1500));
  EXPECT_FALSE(facts.AllYoungerThan(500));
}

TEST(KorvoMetrics, AnEmptyRepositoryHasThemToo) {
  korvo::Facts facts;
  facts.oldestCheck = 5;
  const Lines lines = LinesOf(korvo::MetricsText("a\\b", facts, {}));
  EXPECT_EQ(lines.count(R"(korvo_repository_bytes{server="a\\b"} 0)"), 1u);
  EXPECT_EQ(lines.count(R"(korvo_oldest_verification_timestamp_seconds{server="a\\b"} 5)"), 1u);
}

}  // namespace
