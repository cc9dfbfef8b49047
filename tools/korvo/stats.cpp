#include <algorithm>
#include <map>
#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  bool json = false;
};

struct Totals {
  std::uint64_t savesets = 0;
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;   // of the files
  std::uint64_t stored = 0;  // in packs, damaged ones too
  std::uint64_t packs = 0;
  std::uint64_t damaged = 0;
  std::uint64_t checked = 0;  // packs that were found good at least once
  std::optional<std::int64_t> oldest;
  std::optional<std::int64_t> newest;
  std::optional<std::int64_t> oldestCheck;

  void Add(const store::Saveset& saveset) {
    ++savesets;
    items += static_cast<std::uint64_t>(saveset.items);
    bytes += static_cast<std::uint64_t>(saveset.bytes);
    oldest = std::min(oldest.value_or(saveset.created), saveset.created);
    newest = std::max(newest.value_or(saveset.created), saveset.created);
  }
  void Add(const store::Catalog::PackSum& sum) {
    packs += sum.packs;
    stored += sum.bytes;
    damaged += sum.damaged;
    checked += sum.packs - sum.unchecked;
    if (sum.oldestCheck) {
      oldestCheck = std::min(oldestCheck.value_or(*sum.oldestCheck), *sum.oldestCheck);
    }
  }
};

struct Answer {
  std::map<std::string, Totals> databases;
  Totals whole;
};

store::Status Ask(store::Store& store, Answer& answer) {
  std::map<std::int64_t, std::string> databases;
  store::Status done = store.Rows().ListAllSavesets([&](const store::Saveset& saveset) {
    databases[saveset.id] = saveset.database;
    answer.databases[saveset.database].Add(saveset);
    answer.whole.Add(saveset);
    return store::Status();
  });
  std::vector<store::Catalog::PackSum> sums;
  if (done) {
    done = store.Rows().SumPacks(sums);
  }
  for (const store::Catalog::PackSum& sum : sums) {
    if (const auto database = databases.find(sum.saveset); database != databases.end()) {
      answer.databases[database->second].Add(sum);
    }
    answer.whole.Add(sum);
  }
  return done;
}

// How many times larger the files are than what is stored of them; none if nothing is stored.
std::optional<double> Ratio(const Totals& totals) {
  return totals.stored == 0
             ? std::nullopt
             : std::optional(static_cast<double>(totals.bytes) / static_cast<double>(totals.stored));
}

std::string RatioText(const Totals& totals) {
  constexpr std::size_t kLongest = 32;
  std::string text(kLongest, '\0');
  const std::optional<double> ratio = Ratio(totals);
  text.resize(static_cast<std::size_t>(ratio ? std::snprintf(text.data(), text.size(), "%.1f", *ratio) : 0));
  return text;
}

std::string DayText(const std::optional<std::int64_t>& seconds) {
  constexpr std::size_t kDay = 10;
  return seconds ? TimeText(*seconds).substr(0, kDay) : "";
}

std::string CheckedText(const Totals& whole) {
  const std::string packs = std::to_string(whole.checked) + " of " + Count(whole.packs, "pack");
  if (whole.checked == 0) {
    return whole.packs == 0    ? "There is nothing to verify yet."
           : whole.damaged > 0 ? "No pack is known to be good: korvo verify reads them."
                               : "No pack was verified yet: korvo verify does that.";
  }
  return packs + (whole.packs == 1 ? " was" : " were") + " verified, the longest ago on " +
         TimeText(*whole.oldestCheck) + ".";
}

void TellPeople(const Answer& answer) {
  Table table({{"DATABASE"},
               {"SAVESETS", Align::kRight},
               {"ITEMS", Align::kRight},
               {"FILES", Align::kRight},
               {"STORED", Align::kRight},
               {"RATIO", Align::kRight},
               {"PACKS", Align::kRight},
               {"DAMAGED", Align::kRight},
               {"OLDEST"},
               {"NEWEST"}});
  const auto add = [&table](const std::string& name, const Totals& totals) {
    table.Add({name, std::to_string(totals.savesets), std::to_string(totals.items), SizeText(totals.bytes),
               SizeText(totals.stored), RatioText(totals), std::to_string(totals.packs),
               std::to_string(totals.damaged), DayText(totals.oldest), DayText(totals.newest)});
  };
  for (const auto& [database, totals] : answer.databases) {
    add(database, totals);
  }
  add("(all)", answer.whole);
  table.Print();
  Print(CheckedText(answer.whole));
}

Json JsonTotals(const Totals& totals) {
  const std::optional<double> ratio = Ratio(totals);
  return {{"savesets", totals.savesets},
          {"items", totals.items},
          {"bytes", totals.bytes},
          {"bytes_stored", totals.stored},
          {"ratio", ratio ? Json(*ratio) : Json(nullptr)},
          {"packs", totals.packs},
          {"packs_damaged", totals.damaged},
          {"packs_verified", totals.checked},
          {"oldest", JsonTime(totals.oldest)},
          {"newest", JsonTime(totals.newest)},
          {"oldest_verification", JsonTime(totals.oldestCheck)}};
}

void TellPrograms(const Options& options, const Answer& answer) {
  Json databases = Json::Array();
  for (const auto& [database, totals] : answer.databases) {
    Json json = {{"database", JsonText(database)}};
    json.Update(JsonTotals(totals));
    databases.Add(std::move(json));
  }
  PrintJson({{"server", JsonText(options.server)},
             {"databases", std::move(databases)},
             {"all", JsonTotals(answer.whole)}});
}

int Stats(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  Answer answer;
  if (done) {
    done = Ask(*store, answer);
  }
  if (!done) {
    return Fail(done);
  }
  if (options.json) {
    TellPrograms(options, answer);
  } else {
    TellPeople(answer);
  }
  return kGood;
}

}  // namespace

void AddStats(Program& program) {
  Command command =
      program.Add("stats", "Sums up what is in the repository, and what sharing and compression save.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Json(options->json);
  command.Explain(
      "RATIO is the size of all files in all savesets, divided by what is stored of them. Packs of a saveset "
      "that\n"
      "was deleted count for a database that needs them.\n"
      "Example: korvo stats prod");
  command.Does([options] { return Stats(*options); });
}

}  // namespace korvo
