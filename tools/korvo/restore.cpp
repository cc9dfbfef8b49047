#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "korvo/commands.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/restore_run.h"
#include "korvo/text.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "restore/saved_count.h"
#include "store/progress_row.h"
#include "store/progress_teller.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string saveset;
  std::vector<std::string> names;
  std::string to;
  bool over = false;
  bool json = false;
  bool quiet = false;
};

// Counts what is restored, and tells what is not.
class Counter : public RestoreTeller {
 public:
  explicit Counter(bool json) : json_(json) {}

  void Done(const std::vector<std::string>& /*reports*/) override {}
  void Placed(const store::Item& item) override {
    ++placed;
    if (!item.name.empty()) {
      ++files;
      bytes += item.kind == store::ItemKind::kFile ? item.facts.size : 0;
    }
  }
  void Note(const std::string& text) override { Complain(text); }
  void Failed(const std::string& place, const store::Status& why) override {
    ++failures;
    if (json_) {
      list.Add({{"place", JsonText(place)}, {"why", JsonText(why.Message())}});
    } else {
      Complain("cannot restore " + place + ": " + why.Message());
    }
  }

  std::uint64_t placed = 0;  // with links and directories
  std::uint64_t files = 0;
  std::uint64_t bytes = 0;
  std::uint64_t failures = 0;
  Json list = Json::Array();

 private:
  bool json_;
};

// Why all that the saveset holds may not be all that its backup was to save; empty if it is.
std::string WhyIncomplete(const Options& options, const store::Saveset& saveset) {
  if (!options.names.empty() || saveset.mover == store::Mover::kEndedClean) {
    return "";
  }
  return saveset.reason.empty() ? "not everything was saved" : saveset.reason;
}

int Tell(const Options& options, const store::Saveset& saveset, const Counter& counter) {
  const bool good = counter.failures == 0 && counter.placed > 0;
  const std::string incomplete = WhyIncomplete(options, saveset);
  if (options.json) {
    PrintJson({{"server", JsonText(options.server)},
               {"saveset", JsonText(options.saveset)},
               {"to", JsonText(options.to)},
               {"good", good},
               {"files", counter.files},
               {"bytes", counter.bytes},
               {"incomplete", incomplete.empty() ? Json(nullptr) : JsonText(incomplete)},
               {"failures", counter.list}});
  } else {
    Print(Count(counter.files, "file") + " of saveset " + options.saveset + ", " + SizeText(counter.bytes) +
          ", restored to " + options.to +
          (counter.failures == 0 ? "." : "; not restored: " + std::to_string(counter.failures) + "."));
    if (!incomplete.empty()) {
      Print("The saveset itself is incomplete: " + incomplete + ".");
    }
  }
  return good ? kGood : kFindings;
}

store::Status Open(const Options& options, std::unique_ptr<store::Store>& store, store::Saveset& saveset) {
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  if (done) {
    done = store->Secrets().CanRead();
  }
  return done ? store->FindSaveset(options.saveset, saveset) : done;
}

// Writes the bytes of one file to standard output, and nothing else.
int ToOutput(const Options& options, store::SavesetReader& reader) {
  std::optional<store::Item> item;
  store::Status done = reader.Find(options.names[0], item);
  if (done && (!item || item->kind != store::ItemKind::kFile)) {
    done = store::Status::Missing("saveset " + options.saveset + " has no file " + options.names[0]);
  }
  if (!done) {
    return Fail(done);
  }
  platform::TextFile output(stdout, false, platform::TextFile::LineEnd::kLineFeed);
  done = reader.Stream(*item, [&output](std::string_view bytes) {
    return output.Write(bytes) ? store::Status() : store::Status::Failed("standard output takes no more");
  });
  if (done && !output.Flush()) {
    done = store::Status::Failed("standard output takes no more");
  }
  if (done) {
    return kGood;
  }
  Complain("cannot restore " + item->name + ": " + done.Message());
  return kFindings;
}

int ToDirectory(const Options& options, store::Store& store, const store::Saveset& saveset,
                store::SavesetReader& reader) {
  std::string why;
  if (!platform::MakeDirectories(options.to, platform::DirectoryAccess::kUsual, why)) {
    return Fail(store::Status::Failed(options.to + " cannot be made: " + why));
  }
  store::ProgressRow row(store, "restore", &saveset);
  const store::ProgressTeller teller(
      store.Work(),
      {.line = !options.quiet,
       .count = [&](const auto& ended) { CountSaved(store, {saveset}, NamesOf(options.names), ended); },
       .tell = [&row] { row.Tell(); }});
  Counter counter(options.json);
  RestoreRun run(reader, options.to, {options.over, store.Config().inPlace, "--over"}, counter);
  run.TakeNamed(options.names);
  if (options.names.empty()) {
    run.TakeAll(store.Rows(), saveset);
  }
  run.Settle();
  return Tell(options, saveset, counter);
}

int Restore(const Options& options) {
  platform::WatchInterrupts();
  std::unique_ptr<store::Store> store;
  store::Saveset saveset;
  if (store::Status opened = Open(options, store, saveset); !opened) {
    return Fail(opened);
  }
  store::SavesetReader reader(*store);
  if (store::Status begun = reader.BeginWithoutJob(saveset.name); !begun) {
    return Fail(begun);
  }
  if (options.to != "-") {
    return ToDirectory(options, *store, saveset, reader);
  }
  return options.names.size() == 1 && !options.json
             ? ToOutput(options, reader)
             : Fail(store::Status::Failed("--to - is for one file: name it, without --json"));
}

}  // namespace

void AddRestore(Program& program) {
  Command command = program.Add("restore", "Brings files back, without backint and its caller.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operand("ID", options->saveset, "The saveset, as korvo list shows it");
  command.Operands("NAME", options->names, "Files and directories, by the names that they were saved under");
  command.NeededOption("--to", "DIR", options->to, "The directory that they come to; - for standard output");
  command.Flag("--over", options->over, "Replaces files that are there");
  command.Json(options->json);
  command.Quiet(options->quiet);
  command.Explain(
      "Without a NAME everything in the saveset comes back; if the saveset itself is incomplete, that is "
      "told.\n"
      "Below DIR each item has its whole path, so that no two meet: /data/a comes to DIR/data/a, D:\\data\\a "
      "to\n"
      "DIR\\D\\data\\a. With --to - one file is written to standard output. Nothing in the repository "
      "changes.\n"
      "Exit status 1 if something was not restored.\n"
      "Example: korvo restore prod ABC___1700000000 /oracle/ABC/sapdata1 --to /tmp/back");
  command.Does([options] { return Restore(*options); });
}

}  // namespace korvo
