// The metrics, read by a parser that takes nothing but what the format allows.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "korvo/facts.h"
#include "korvo/metrics_text.h"

namespace {

using Labels = std::map<std::string, std::string>;

// A text of gauges.
class MetricsReader {
 public:
  explicit MetricsReader(const std::string& text) {
    std::size_t at = 0;
    while (at < text.size() && !ended_) {
      const std::size_t end = text.find('\n', at);
      if (end == std::string::npos) {
        ADD_FAILURE() << "the last line has no end";
        return;
      }
      Take(text.substr(at, end - at));
      at = end + 1;
    }
    EXPECT_TRUE(ended_) << "no # EOF";
    EXPECT_EQ(at, text.size()) << "something stands behind # EOF";
  }

  [[nodiscard]] bool Has(const std::string& name, const Labels& labels) const {
    return samples_.count({name, labels}) != 0;
  }
  [[nodiscard]] long long Value(const std::string& name, const Labels& labels) const {
    const auto sample = samples_.find({name, labels});
    EXPECT_NE(sample, samples_.end()) << name;
    return sample == samples_.end() ? -1 : sample->second;
  }

 private:
  void Take(const std::string& line) {
    static const std::regex kMeta("# (TYPE|UNIT|HELP) ([a-z_:][a-z0-9_:]*) ([^\\n]+)");
    std::smatch parts;
    if (line == "# EOF") {
      ended_ = true;
    } else if (std::regex_match(line, parts, kMeta)) {
      TakeMeta(parts[1], parts[2], parts[3]);
    } else {
      TakeSample(line);
    }
  }

  void TakeMeta(const std::string& kind, const std::string& name, const std::string& text) {
    if (name != family_) {
      EXPECT_TRUE(families_.insert(name).second) << name << " comes twice, or not in one piece";
      family_ = name;
      metas_.clear();
      sampled_ = false;
    }
    EXPECT_FALSE(sampled_) << kind << " of " << name << " comes behind samples";
    EXPECT_TRUE(metas_.insert(kind).second) << kind << " of " << name << " comes twice";
    if (kind == "TYPE") {
      EXPECT_EQ(text, "gauge");
      EXPECT_FALSE(name.ends_with("_total") || name.ends_with("_info")) << name << " means another type";
    } else if (kind == "UNIT") {
      EXPECT_TRUE(name.ends_with("_" + text)) << name << " has to end with its unit, " << text;
    }
  }

  void TakeSample(const std::string& line) {
    static const std::regex kSample("([a-z_:][a-z0-9_:]*)\\{(.*)\\} (-?[0-9]+)");
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(line, parts, kSample)) << line;
    EXPECT_EQ(parts[1], family_) << "it belongs to no family that was begun";
    EXPECT_EQ(metas_.count("TYPE") + metas_.count("HELP"), 2u) << family_;
    for (const char* unit : {"_bytes", "_seconds"}) {
      EXPECT_EQ(metas_.count("UNIT") != 0 && family_.ends_with(unit), family_.ends_with(unit)) << family_;
    }
    sampled_ = true;
    const Labels labels = ReadLabels(parts[2]);
    EXPECT_TRUE(samples_.emplace(std::pair(family_, labels), std::stoll(parts[3])).second) << line;
  }

  static Labels ReadLabels(std::string text) {
    static const std::regex kLabel("^([a-z_][a-z0-9_]*)=\"((?:[^\"\\\\\\n]|\\\\[\\\\n\"])*)\"(,|$)");
    Labels labels;
    std::smatch parts;
    while (std::regex_search(text, parts, kLabel)) {
      EXPECT_TRUE(labels.emplace(parts[1], Plain(parts[2])).second) << "a label comes twice";
      const bool more = parts[3] == ",";
      text = parts.suffix();
      EXPECT_EQ(more, !text.empty()) << "a comma too many";
    }
    EXPECT_EQ(text, "") << "no label";
    return labels;
  }

  static std::string Plain(const std::string& escaped) {
    std::string plain;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
      if (escaped[i] == '\\') {
        ++i;
        plain += escaped[i] == 'n' ? '\n' : escaped[i];
      } else {
        plain += escaped[i];
      }
    }
    return plain;
  }

  std::set<std::string> families_;
  std::set<std::string> metas_;  // of the current family
  std::string family_;
  bool sampled_ = false;
  bool ended_ = false;
  std::map<std::pair<std::string, Labels>, long long> samples_;
};

korvo::Backup BackupOf(const std::string& database, std::int64_t created, store::Mover mover) {
  korvo::Backup backup;
  backup.saveset.database = database;
  backup.saveset.created = created;
  backup.saveset.mover = mover;
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
  facts.backups = {
      BackupOf("PRD", 9900, store::Mover::kRunning), BackupOf("PRD", 9500, store::Mover::kEndedFailed),
      BackupOf("PRD", 9000, store::Mover::kEndedClean), BackupOf(odd, 8000, store::Mover::kEndedFailed),
      BackupOf("PRD", 7000, store::Mover::kEndedClean)};
  facts.backups[1].saveset.ended = 9800;
  facts.packs = 7;
  facts.packBytes = 1ULL << 40;
  facts.damagedPacks = 2;
  korvo::SortByDatabase(facts);

  const MetricsReader read(korvo::MetricsText("prod", facts, 1500));
  const Labels server = {{"server", "prod"}};
  const Labels prd = {{"server", "prod"}, {"database", "PRD"}};
  const Labels other = {{"server", "prod"}, {"database", odd}};
  const auto states = [](Labels labels, const std::string& state) {
    labels["state"] = state;
    return labels;
  };
  EXPECT_EQ(read.Value("korvo_newest_good_backup_timestamp_seconds", prd), 9000);
  EXPECT_EQ(read.Value("korvo_newest_good_backup_age_seconds", prd), 1000);
  EXPECT_FALSE(read.Has("korvo_newest_good_backup_age_seconds", other)) << "it has none";
  EXPECT_EQ(read.Value("korvo_backup_overdue", prd), 0);
  EXPECT_EQ(read.Value("korvo_backup_overdue", other), 1);
  EXPECT_EQ(read.Value("korvo_last_backup_duration_seconds", prd), 300) << "of the last that ended";
  EXPECT_EQ(read.Value("korvo_savesets", states(prd, "good")), 2);
  EXPECT_EQ(read.Value("korvo_savesets", states(prd, "running")), 1);
  EXPECT_EQ(read.Value("korvo_savesets", states(other, "good")), 0);
  EXPECT_EQ(read.Value("korvo_files_bytes", prd), 4000);
  EXPECT_EQ(read.Value("korvo_added_bytes", prd), 400);
  EXPECT_EQ(read.Value("korvo_repository_bytes", server), 1LL << 40);
  EXPECT_EQ(read.Value("korvo_damaged_packs", server), 2);
  EXPECT_FALSE(read.Has("korvo_oldest_verification_timestamp_seconds", server)) << "nothing was verified";
  EXPECT_EQ(read.Value("korvo_metrics_timestamp_seconds", server), 10'000);
  EXPECT_TRUE(!facts.AllYoungerThan(1500));
}

TEST(KorvoMetrics, AnEmptyRepositoryHasThemToo) {
  korvo::Facts facts;
  facts.oldestCheck = 5;
  const MetricsReader read(korvo::MetricsText("a\\b", facts, {}));
  EXPECT_EQ(read.Value("korvo_repository_bytes", {{"server", "a\\b"}}), 0);
  EXPECT_EQ(read.Value("korvo_oldest_verification_timestamp_seconds", {{"server", "a\\b"}}), 5);
}

}  // namespace
