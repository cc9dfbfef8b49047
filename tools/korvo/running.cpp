#include <memory>
#include <string>
#include <vector>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"
#include "platform/platform.h"
#include "platform/terminal.h"
#include "store/dead_runs.h"

namespace korvo {
namespace {

using store::RunProgress;

struct Options {
  std::string server;
  bool watch = false;
  bool json = false;
};

// The host name without the ids behind it, which tell machines of the same name apart.
std::string HostOf(const RunProgress& run) { return run.process.host.substr(0, run.process.host.find('/')); }

template <typename Number>
Json OrNull(const std::optional<Number>& number) {
  return number ? Json(*number) : Json(nullptr);
}

Json JsonRun(const RunProgress& run) {
  return {{"tool", run.tool},
          {"saveset", run.savesetName.empty() ? Json(nullptr) : JsonText(run.savesetName)},
          {"host", JsonText(HostOf(run))},
          {"process", run.process.number},
          {"began", JsonTime(run.began)},
          {"told", JsonTime(run.told)},
          {"items", run.state.items},
          {"all_items", OrNull(run.state.allItems)},
          {"bytes", run.state.bytes},
          {"all_bytes", OrNull(run.state.allBytes)},
          {"bytes_per_second", store::RateOf(run.state)},
          {"seconds_left", OrNull(store::SecondsLeft(run.state))}};
}

std::vector<std::string> RowOf(const RunProgress& run) {
  const store::ProgressState& state = run.state;
  const std::optional<int> percent = store::PercentOf(state);
  const std::optional<std::uint64_t> left = store::SecondsLeft(state);
  const auto of = [](const std::string& all) { return " of " + all; };
  return {run.tool,
          run.savesetName,
          HostOf(run),
          std::to_string(run.process.number),
          std::to_string(state.items) + (state.allItems ? of(std::to_string(*state.allItems)) : ""),
          SizeText(state.bytes) + (state.allBytes ? of(SizeText(*state.allBytes)) : ""),
          percent ? std::to_string(*percent) + " %" : "",
          SizeText(store::RateOf(state)) + "/s",
          left ? AgeText(static_cast<std::int64_t>(*left)) : ""};
}

void PrintRuns(const std::vector<RunProgress>& runs) {
  if (runs.empty()) {
    Print("Nothing runs.");
    return;
  }
  Table table({{"TOOL"},
               {"SAVESET"},
               {"HOST"},
               {"PROCESS", Align::kRight},
               {"ITEMS", Align::kRight},
               {"BYTES", Align::kRight},
               {"DONE", Align::kRight},
               {"RATE", Align::kRight},
               {"LEFT", Align::kRight}});
  for (const RunProgress& run : runs) {
    table.Add(RowOf(run));
  }
  table.Print();
}

// Prints a new table each second, over the previous one where the terminal can do that.
store::Status Watch(store::Store& store, std::vector<RunProgress>& runs) {
  constexpr std::uint32_t kSecond = 1000;
  const bool inPlace = platform::TakesEscapeSequences(platform::Standard::kOutput);
  platform::WatchInterrupts();
  while (true) {
    PrintRuns(runs);
    if (runs.empty()) {
      return {};
    }
    const std::size_t lines = runs.size() + 1;
    platform::SleepMilliseconds(kSecond);
    if (platform::Interrupted()) {
      return {};
    }
    if (store::Status listed = store::ListLiveProgress(store.Rows(), store.Objects(), runs); !listed) {
      return listed;
    }
    PrintBytes(inPlace ? "\x1b[" + std::to_string(lines) + "A\x1b[J" : "\n");
  }
}

int Running(const Options& options) {
  std::unique_ptr<store::Store> store;
  std::vector<RunProgress> runs;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  done = done ? store::ListLiveProgress(store->Rows(), store->Objects(), runs) : done;
  if (done && options.json) {
    Json list = Json::Array();
    for (const RunProgress& run : runs) {
      list.Add(JsonRun(run));
    }
    PrintJson({{"server", JsonText(options.server)}, {"runs", list}});
  } else if (done && options.watch) {
    done = Watch(*store, runs);
  } else if (done) {
    PrintRuns(runs);
  }
  return done ? kGood : Fail(done);
}

}  // namespace

void AddRunning(Program& program) {
  Command command = program.Add("running", "Tells which backups and restores are under way, and how far.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Flag("--watch", options->watch, "Tells it anew each second until nothing runs any more");
  command.Json(options->json);
  command.Excludes("--json", "--watch");
  command.Explain(
      "Items are files, those in directories too. A run tells how far it is once a second, and for the "
      "first\n"
      "time after a second; what there is to do in all is known a little later.\n"
      "Example: korvo running prod --watch");
  command.Does([options] { return Running(*options); });
}

}  // namespace korvo
