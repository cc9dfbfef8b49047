#include "korvo/metrics_text.h"

#include <functional>
#include <utility>
#include <vector>

#include "platform/terminal.h"

namespace korvo {
namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : platform::ToUtf8(text)) {
    if (c == '\n') {
      escaped += "\\n";
      continue;
    }
    if (c == '\\' || c == '"') {
      escaped += '\\';
    }
    escaped += c;
  }
  return escaped;
}

class Writer {
 public:
  explicit Writer(std::string_view server) : server_("server=\"" + Escaped(server) + "\"") {}

  // `unit` is the end of the name, or empty.
  void Family(const std::string& name, const std::string& unit, const std::string& help) {
    name_ = "korvo_" + name + (unit.empty() ? "" : "_" + unit);
    text_ += "# TYPE " + name_ + " gauge\n";
    if (!unit.empty()) {
      text_ += "# UNIT " + name_ + " " + unit + "\n";
    }
    text_ += "# HELP " + name_ + " " + help + "\n";
  }

  template <typename Number>
  void Sample(Number value, const std::vector<std::pair<std::string, std::string>>& labels = {}) {
    text_ += name_ + "{" + server_;
    for (const auto& [label, content] : labels) {
      text_ += "," + label + "=\"" + Escaped(content) + "\"";
    }
    text_ += "} " + std::to_string(value) + "\n";
  }

  std::string End() { return std::move(text_) + "# EOF\n"; }

 private:
  std::string server_;
  std::string name_;
  std::string text_;
};

std::vector<std::pair<std::string, std::string>> LabelsOf(const DatabaseFacts& database) {
  return {{"database", database.name}, {"pool", database.pool}};
}

void WriteDatabases(Writer& writer, const Facts& facts) {
  const auto each = [&facts](const std::function<void(const DatabaseFacts&)>& write) {
    for (const DatabaseFacts& database : facts.databases) {
      write(database);
    }
  };
  writer.Family("newest_good_backup_timestamp", "seconds",
                "When the newest backup of the database's pool was begun that went well as a whole.");
  each([&](const DatabaseFacts& database) {
    if (database.newestGood != nullptr) {
      writer.Sample(database.newestGood->saveset.created, LabelsOf(database));
    }
  });
  writer.Family("newest_good_backup_age", "seconds", "How old it was when these metrics were written.");
  each([&](const DatabaseFacts& database) {
    if (const auto age = facts.AgeOf(database)) {
      writer.Sample(*age, LabelsOf(database));
    }
  });
  writer.Family("last_backup_duration", "seconds", "How long its last backup that has ended took.");
  each([&](const DatabaseFacts& database) {
    if (const auto took = database.last != nullptr ? DurationOf(database.last->saveset) : std::nullopt) {
      writer.Sample(*took, LabelsOf(database));
    }
  });
  writer.Family("savesets", "", "How many savesets of it there are in each state.");
  each([&](const DatabaseFacts& database) {
    for (const char* state : kStates) {
      const auto count = database.states.find(state);
      writer.Sample(count != database.states.end() ? count->second : 0,
                    {{"database", database.name}, {"pool", database.pool}, {"state", state}});
    }
  });
  writer.Family("files", "bytes", "What the files of all its savesets are together.");
  each([&](const DatabaseFacts& database) { writer.Sample(database.bytes, LabelsOf(database)); });
  writer.Family("added", "bytes", "What these savesets added to the repository.");
  each([&](const DatabaseFacts& database) { writer.Sample(database.added, LabelsOf(database)); });
}

void WriteRepository(Writer& writer, const Facts& facts) {
  writer.Family("repository", "bytes", "What all packs of the repository are together.");
  writer.Sample(facts.packBytes);
  writer.Family("packs", "", "How many packs the repository has.");
  writer.Sample(facts.packs);
  writer.Family("damaged_packs", "", "How many of them were found damaged.");
  writer.Sample(facts.damagedPacks);
  writer.Family("unchecked_packs", "", "How many of them were never verified.");
  writer.Sample(facts.uncheckedPacks);
  writer.Family("oldest_verification_timestamp", "seconds",
                "Of the packs that were verified: when that was of the one for which it is longest ago.");
  if (facts.oldestCheck) {
    writer.Sample(*facts.oldestCheck);
  }
  writer.Family("metrics_timestamp", "seconds", "When these metrics were written.");
  writer.Sample(facts.now);
}

}  // namespace

std::string MetricsText(const std::string& server, const Facts& facts,
                        const std::optional<std::int64_t>& maxAge) {
  Writer writer(server);
  WriteDatabases(writer, facts);
  if (maxAge) {
    writer.Family("backup_overdue", "",
                  "1 if the database's pool has no good backup within the age that is allowed.");
    for (const DatabaseFacts& database : facts.databases) {
      writer.Sample(facts.IsInTime(database, *maxAge) ? 0 : 1, LabelsOf(database));
    }
  }
  WriteRepository(writer, facts);
  return writer.End();
}

}  // namespace korvo
