#include "korvo/page.h"

#include <algorithm>
#include <set>
#include <vector>

#include "korvo/html.h"
#include "korvo/page_style.h"
#include "korvo/plots.h"
#include "korvo/text.h"

namespace korvo {
namespace {

// Whether a database has a good backup that is young enough.
enum class Standing { kInTime, kDueSoon, kOverdue, kNone };

struct Words {
  const char* style;
  const char* chip;
};

Words WordsFor(Standing standing) {
  switch (standing) {
    case Standing::kInTime:
      return {"good", "in time"};
    case Standing::kDueSoon:
      return {"soon", "due soon"};
    case Standing::kOverdue:
      return {"bad", "overdue"};
    case Standing::kNone:
      break;
  }
  return {"bad", "no good backup"};
}

// `kDueSoon` is the last quarter of the allowed time.
Standing StandingOf(const Facts& facts, const DatabaseFacts& database, std::int64_t maxAge) {
  const std::optional<std::int64_t> age = facts.AgeOf(database);
  if (!age) {
    return Standing::kNone;
  }
  if (!facts.IsInTime(database, maxAge)) {
    return Standing::kOverdue;
  }
  return *age > maxAge / 4 * 3 ? Standing::kDueSoon : Standing::kInTime;
}

std::string Element(const std::string& name, const std::string& style, const std::string& content) {
  return "<" + name + (style.empty() ? "" : " class=\"" + style + "\"") + ">" + content + "</" + name + ">\n";
}

std::string Paragraph(const std::string& text) { return Element("p", "", text); }

int PercentSaved(std::uint64_t files, std::uint64_t stored) {
  return files == 0 || stored >= files
             ? 0
             : static_cast<int>(100 - static_cast<double>(stored) * 100 / static_cast<double>(files));
}

std::string TookText(const store::Saveset& saveset) {
  const std::optional<std::int64_t> took = DurationOf(saveset);
  return !took ? "" : *took == 0 ? "under a second" : AgeText(*took);
}

// ---- Tables ----------------------------------------------------------------------------------------------

class HtmlTable {
 public:
  struct Column {
    std::string title;
    bool right = false;
  };
  explicit HtmlTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  void Add(const std::vector<std::string>& cells) {
    rows_ += "<tr>";
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      rows_ += "<td" + ClassOf(columns_[i]) + " data-title=\"" + Html(columns_[i].title) + "\"><span>" +
               Html(cells[i]) + "</span></td>";
    }
    rows_ += "</tr>\n";
    ++count_;
  }
  [[nodiscard]] std::size_t Count() const { return count_; }

  [[nodiscard]] std::string Text() const {
    std::string head;
    for (const Column& column : columns_) {
      head += "<th scope=\"col\"" + ClassOf(column) + ">" + Html(column.title) + "</th>";
    }
    return "<table><thead><tr>" + head + "</tr></thead><tbody>\n" + rows_ + "</tbody></table>\n";
  }

 private:
  static std::string ClassOf(const Column& column) { return column.right ? " class=\"right\"" : ""; }

  std::vector<Column> columns_;
  std::string rows_;
  std::size_t count_ = 0;
};

// ---- The head --------------------------------------------------------------------------------------------

std::size_t CountDatabases(const Facts& facts) {
  std::set<std::string> names;
  for (const DatabaseFacts& database : facts.databases) {
    names.insert(database.name);
  }
  return names.size();
}

std::string WordFor(const Facts& facts) {
  return CountDatabases(facts) == facts.databases.size() ? "database" : "pool";
}

std::string Verdict(const Facts& facts, std::int64_t maxAge) {
  std::size_t late = 0;
  bool soon = false;
  for (const DatabaseFacts& database : facts.databases) {
    const Standing standing = StandingOf(facts, database, maxAge);
    late += standing == Standing::kOverdue || standing == Standing::kNone ? 1 : 0;
    soon = soon || standing == Standing::kDueSoon;
  }
  const std::string within = "from the last " + DurationText(maxAge) + ".";
  std::string text;
  if (facts.databases.empty()) {
    text = "There is no backup yet.";
  } else if (late > 0) {
    text = std::to_string(late) + " of " + Count(facts.databases.size(), WordFor(facts)) +
           (late == 1 ? " has" : " have") + " no good backup " + within;
  } else {
    text = facts.databases.size() == 1 ? "The database has a good backup " + within
                                       : "Each of the " + Count(facts.databases.size(), WordFor(facts)) +
                                             " has a good backup " + within;
  }
  if (facts.damagedPacks > 0) {
    text +=
        " " + Count(facts.damagedPacks, "pack") + (facts.damagedPacks == 1 ? " is" : " are") + " damaged.";
  }
  const bool bad = late > 0 || facts.databases.empty() || facts.damagedPacks > 0;
  return Element("div", std::string("verdict ") + (bad ? "bad" : soon ? "soon" : "good"), Paragraph(text));
}

std::string NumberBox(const std::string& title, const std::string& number) {
  return "<div><dt>" + title + "</dt><dd>" + number + "</dd></div>\n";
}

std::string Numbers(const Facts& facts) {
  std::uint64_t files = 0;
  for (const DatabaseFacts& database : facts.databases) {
    files += database.bytes;
  }
  return Element("dl", "numbers",
                 NumberBox("Databases", std::to_string(CountDatabases(facts))) +
                     NumberBox("Savesets", std::to_string(facts.backups.size())) +
                     NumberBox("Files in them", SizeText(files)) +
                     NumberBox("Room they take", SizeText(facts.packBytes)) +
                     NumberBox("Saved by sharing and compression",
                               std::to_string(PercentSaved(files, facts.packBytes)) + " %"));
}

// ---- Databases -------------------------------------------------------------------------------------------

std::string DatabaseCard(const PageRequest& request, const Facts& facts, const DatabaseFacts& database) {
  const Words words = WordsFor(StandingOf(facts, database, request.maxAge));
  std::string text = Element("header", "",
                             Element("h3", "", Html(database.title)) +
                                 Element("span", std::string("chip ") + words.style, words.chip));
  if (database.newestGood == nullptr) {
    text += Element("p", "age", "never");
    text += Element("p", "quiet", "No backup of it can be restored whole.");
  } else {
    const store::Saveset& newest = database.newestGood->saveset;
    text += Element("p", "age", AgeText(*facts.AgeOf(database)) + " old");
    text += Element("p", "quiet",
                    "Newest good backup: " + TimeText(newest.created) + ", " +
                        SizeText(static_cast<std::uint64_t>(newest.bytes)) + " in " +
                        Count(static_cast<std::uint64_t>(newest.items), "item") +
                        (newest.ended ? ", took " + TookText(newest) : ""));
  }
  return Element("section", "card", text + CalendarPicture(database, facts.now));
}

std::string KeyOf(const std::string& style, const std::string& sign, const std::string& words) {
  return "<li><svg viewBox=\"0 0 13 13\" aria-hidden=\"true\"><g class=\"day " + style +
         "\"><rect width=\"13\" height=\"13\" rx=\"2.5\"/><text x=\"6.5\" y=\"10\" text-anchor=\"middle\">" +
         sign + "</text></g></svg>" + words + "</li>";
}

std::string Databases(const PageRequest& request, const Facts& facts) {
  // Databases that need attention come first.
  std::string cards;
  for (const Standing standing :
       {Standing::kNone, Standing::kOverdue, Standing::kDueSoon, Standing::kInTime}) {
    for (const DatabaseFacts& database : facts.databases) {
      cards += StandingOf(facts, database, request.maxAge) == standing
                   ? DatabaseCard(request, facts, database)
                   : "";
    }
  }
  return Element("h2", "", "Databases") +
         Element("p", "quiet",
                 "In time: the newest good backup is at most " + DurationText(request.maxAge) +
                     " old. Due soon: three quarters of that are over. Each square is a day of the last " +
                     std::to_string(kReportDays) + ".") +
         Element("div", "cards", cards) +
         Element("ul", "key quiet",
                 KeyOf("good", "", "good backup") + KeyOf("mixed", "!", "good and failed ones") +
                     KeyOf("failed", "×", "failed") + KeyOf("none", "", "none"));
}

// ---- Growth ----------------------------------------------------------------------------------------------

std::string Growth(const Facts& facts) {
  const DailySizes sizes = SizesByDay(facts);
  const std::uint64_t before = sizes.repository.front() - sizes.added.front();
  return Element("h2", "", "Growth") +
         Element(
             "div", "plots",
             Element("figure", "",
                     Element("h3", "", "Size of the repository") + GrowthPicture(sizes) +
                         Element("figcaption", "",
                                 "What is there today, by the day on which it came: " +
                                     SizeText(facts.packBytes - before) + " of " + SizeText(facts.packBytes) +
                                     " in the last " + std::to_string(kReportDays) + " days.")) +
                 Element("figure", "",
                         Element("h3", "", "What sharing and compression save") + SavingPicture(sizes) +
                             Element("figcaption", "",
                                     "Light: the files of each day's backups. Dark: what they added to the "
                                     "repository.")));
}

// ---- Lists -----------------------------------------------------------------------------------------------

std::string LongestRuns(const Facts& facts) {
  constexpr std::size_t kMost = 10;
  std::vector<const Backup*> runs;
  for (const Backup& backup : facts.backups) {
    if (DurationOf(backup.saveset) && backup.saveset.mover == store::Mover::kEndedClean) {
      runs.push_back(&backup);
    }
  }
  std::stable_sort(runs.begin(), runs.end(), [](const Backup* a, const Backup* b) {
    return *DurationOf(a->saveset) > *DurationOf(b->saveset);
  });
  HtmlTable table({{"Database"},
                   {"Saveset"},
                   {"Begun"},
                   {"Took", true},
                   {"Files", true},
                   {"Added", true},
                   {"Rate", true}});
  for (std::size_t i = 0; i < std::min(runs.size(), kMost); ++i) {
    const store::Saveset& saveset = runs[i]->saveset;
    const auto bytes = static_cast<std::uint64_t>(saveset.bytes);
    const auto seconds = static_cast<std::uint64_t>(std::max<std::int64_t>(*DurationOf(saveset), 1));
    table.Add({saveset.database, saveset.name, TimeText(saveset.created), TookText(saveset), SizeText(bytes),
               SizeText(runs[i]->added), SizeText(bytes / seconds) + "/s"});
  }
  return Element("h2", "", "Longest runs") +
         (table.Count() > 0 ? table.Text() : Paragraph("No run has ended yet."));
}

// Why a saveset is not a good backup, as far as the catalog knows.
std::string WhyNotGood(const store::Saveset& saveset, std::int64_t now) {
  constexpr std::int64_t kSoon = 3600;
  const std::string state = StateName(saveset);
  if (state == "failed") {
    return (saveset.reason.empty() ? "Not everything was saved."
                                   : "Not everything was saved: " + saveset.reason + ".") +
           " " +
           (saveset.items > 0
                ? Count(static_cast<std::uint64_t>(saveset.items), "confirmed item") + " can be restored."
                : "Nothing was confirmed.");
  }
  if (state == "withdrawn") {
    return "Everything was saved, but the program that called for the backup reported a failure.";
  }
  if (state == "warnings") {
    return "Everything was saved, with warnings: files changed while they were read, for example.";
  }
  return state == "unused" && now - saveset.created > kSoon ? "The backup was announced, and nothing came."
                                                            : "";
}

std::string Failures(const Facts& facts) {
  constexpr std::size_t kMost = 25;
  HtmlTable table({{"Time"}, {"Database"}, {"Saveset"}, {"State"}, {"Why"}});
  std::size_t more = 0;
  for (const Backup& backup : facts.backups) {
    const store::Saveset& saveset = backup.saveset;
    const std::string why = WhyNotGood(saveset, facts.now);
    if (why.empty() || DayOf(facts.now) - DayOf(saveset.created) >= kReportDays) {
      continue;
    }
    if (table.Count() == kMost) {
      ++more;
      continue;
    }
    table.Add({TimeText(saveset.created), saveset.database, saveset.name, StateName(saveset), why});
  }
  const std::string none = "Nothing in the last " + std::to_string(kReportDays) + " days.";
  return Element("h2", "", "What failed, and why") + (table.Count() > 0 ? table.Text() : Paragraph(none)) +
         (more > 0 ? Element("p", "quiet", "And " + std::to_string(more) + " older ones.") : "");
}

std::string Verification(const PageRequest& request, const Facts& facts) {
  std::string text;
  if (facts.packs == 0) {
    text = Paragraph("There is nothing to verify yet.");
  } else if (!facts.oldestCheck) {
    text = Paragraph("None of the " + Count(facts.packs, "pack") +
                     " was ever verified. korvo verify does it, a sample of them each day for example.");
  } else {
    text =
        Paragraph((facts.uncheckedPacks == 0 ? "All " + Count(facts.packs, "pack") + " were verified, "
                                             : std::to_string(facts.packs - facts.uncheckedPacks) + " of " +
                                                   Count(facts.packs, "pack") + " were verified, ") +
                  "the one longest ago on " + TimeText(*facts.oldestCheck) + ".");
  }
  if (facts.damagedPacks == 0) {
    return Element("h2", "", "Verification and damage") + text + Paragraph("No pack is known to be damaged.");
  }
  HtmlTable table({{"Stored by the saveset"}, {"Database"}, {"Damaged packs", true}});
  std::uint64_t listed = 0;
  for (const Backup& backup : facts.backups) {
    if (backup.damagedPacks > 0) {
      table.Add({backup.saveset.name, backup.saveset.database, std::to_string(backup.damagedPacks)});
      listed += backup.damagedPacks;
    }
  }
  if (listed < facts.damagedPacks) {
    table.Add({"deleted ones", "", std::to_string(facts.damagedPacks - listed)});
  }
  return Element("h2", "", "Verification and damage") + text +
         Paragraph(Count(facts.damagedPacks, "pack") + (facts.damagedPacks == 1 ? " is" : " are") +
                   " damaged. korvo verify " + Html(request.server) +
                   " names the files that this costs; the next backup stores them anew.") +
         table.Text();
}

}  // namespace

std::string ReportPage(const PageRequest& request, const Facts& facts) {
  const std::string title = "Backups of " + Html(request.server);
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
         title + "</title>\n<style>" + kPageStyle + "</style>\n</head>\n<body>\n<main>\n" +
         Element("h1", "", title) +
         Element("p", "quiet", Html(request.repository) + ", as of " + TimeText(facts.now)) +
         Verdict(facts, request.maxAge) + Numbers(facts) +
         (facts.databases.empty() ? "" : Databases(request, facts) + Growth(facts)) + LongestRuns(facts) +
         Failures(facts) + Verification(request, facts) +
         Element("footer", "quiet",
                 "Written by korvo report " + Html(request.server) +
                     ". Times are those of the machine that wrote it.") +
         "</main>\n</body>\n</html>\n";
}

}  // namespace korvo
