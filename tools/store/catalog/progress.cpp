// How far runs have come, for people who wait for them.
#include "store/base/time.h"
#include "store/catalog/catalog_inside.h"

namespace store {
namespace {

// Seconds between two reports, and before the first one.
constexpr double kBetween = 1;

SqlValue Known(const std::optional<std::uint64_t>& number) {
  return number ? Unsigned(*number) : SqlValue(nullptr);
}

const std::string kTellAgain =
    " ON CONFLICT(uid) DO UPDATE SET told = excluded.told, items = excluded.items, "
    "all_items = excluded.all_items, bytes = excluded.bytes, all_bytes = excluded.all_bytes";

// Every run that saves, with its progress if it has told any, and all other work that has.
const std::string kListed =
    "SELECT r.uid, $1, r.saveset, s.name, r.host, r.process, r.started, coalesce(p.began, s.created) AS "
    "began, "
    "coalesce(p.told, s.created), coalesce(p.items, 0), p.all_items, coalesce(p.bytes, 0), p.all_bytes "
    "FROM run r JOIN saveset s ON s.id = r.saveset LEFT JOIN progress p ON p.uid = r.uid "
    "UNION ALL "
    "SELECT p.uid, p.tool, p.saveset, s.name, p.host, p.process, p.started, p.began, p.told, p.items, "
    "p.all_items, p.bytes, p.all_bytes "
    "FROM progress p LEFT JOIN saveset s ON s.id = p.saveset "
    "WHERE NOT EXISTS(SELECT 1 FROM run r WHERE r.uid = p.uid) ORDER BY began";

Status ReadProgress(const SqlRow& row, RunProgress& run) {
  const auto number = [&row](int column) { return static_cast<std::uint64_t>(row.Number(column)); };
  run.tool = row.Bytes(1);
  run.saveset = row.Number(2);
  run.savesetName = row.Bytes(3);
  run.process = {std::string(row.Bytes(4)), row.Number(5), std::string(row.Bytes(6))};
  run.began = row.Number(7);
  run.told = row.Number(8);
  if (!IsTime(run.began) || !IsTime(run.told)) {
    return DamagedRow("when a run began or told of itself");
  }
  run.state.seconds = static_cast<double>(run.told - run.began);
  run.state.items = number(9);
  run.state.bytes = number(11);
  if (!row.IsNull(10) && !row.IsNull(12)) {
    run.state.allItems = number(10);
    run.state.allBytes = number(12);
  }
  return Uid::FromBytes(row.Bytes(0), run.uid) ? Status() : DamagedRow("a run under way");
}

}  // namespace

void Catalog::TellOf(const Uid& run, std::int64_t began, const Progress& progress) {
  inside_->teller = Inside::Teller{run, began, &progress};
}

Status Catalog::Inside::TellInPassing() {
  if (!teller) {
    return {};
  }
  const ProgressState now = teller->progress->Now();
  if (now.seconds - teller->told < kBetween) {
    return {};
  }
  teller->told = now.seconds;
  const std::int64_t told = teller->began + static_cast<std::int64_t>(now.seconds);
  return Run(
      "INSERT INTO progress(uid, tool, saveset, host, process, started, began, told, items, all_items, "
      "bytes, "
      "all_bytes) SELECT uid, $1, saveset, host, process, started, $2, $3, $4, $5, $6, $7 "
      "FROM run WHERE uid = $8" +
          kTellAgain,
      {RunProgress::kSavingTool, teller->began, told, Unsigned(now.items), Known(now.allItems),
       Unsigned(now.bytes), Known(now.allBytes), teller->run.Bytes()});
}

Status Catalog::TellProgress(const RunProgress& run) {
  return inside_->Transact([&] {
    return inside_->Run(
        "INSERT INTO progress(uid, tool, saveset, host, process, started, began, told, items, all_items, "
        "bytes, all_bytes) VALUES($1, $2, $3, $4, $5, $6, $7, $8, $9, $10, $11, $12)" +
            kTellAgain,
        {run.uid.Bytes(), run.tool, run.saveset, run.process.host, run.process.number, run.process.started,
         run.began, run.told, Unsigned(run.state.items), Known(run.state.allItems), Unsigned(run.state.bytes),
         Known(run.state.allBytes)});
  });
}

Status Catalog::ForgetProgress(const Uid& run) {
  return inside_->Transact(
      [&] { return inside_->Run("DELETE FROM progress WHERE uid = $1", {run.Bytes()}); });
}

Status Catalog::ListProgress(std::vector<RunProgress>& runs) {
  runs.clear();
  return inside_->engine->Run(kListed, {RunProgress::kSavingTool},
                              [&runs](const SqlRow& row) { return ReadProgress(row, runs.emplace_back()); });
}

}  // namespace store
