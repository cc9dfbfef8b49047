#include <memory>
#include <string>
#include <vector>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "korvo/text.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string saveset;
  bool off = false;
};

int Protect(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Status done = OpenServer(options.server, store::Store::Access::kWrite, store);
  if (done) {
    done = store->Protect(options.saveset, !options.off);
  }
  if (!done) {
    return Fail(done);
  }
  Print(options.off ? "Saveset " + options.saveset + " is no longer protected."
                    : "Saveset " + options.saveset + " is protected: nothing deletes it until --off.");
  return kGood;
}

// Takes the mark from all savesets of one backup: rules mark them together, too.
store::Status KeepBackup(store::Store& store, const store::Saveset& saveset, std::uint64_t& others) {
  std::vector<store::Saveset> savesets;
  store::Status done = ListSavesets(store, saveset.database, "", savesets);
  for (auto other = savesets.begin(); done && other != savesets.end(); ++other) {
    if (other->together == saveset.together && other->marked) {
      done = store.Mark(other->name, false);
      others += other->id != saveset.id ? 1U : 0U;
    }
  }
  return done;
}

int Keep(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Saveset saveset;
  std::uint64_t others = 0;
  store::Status done = OpenServer(options.server, store::Store::Access::kWrite, store);
  if (done) {
    done = store->FindSaveset(options.saveset, saveset);
  }
  if (done) {
    done = KeepBackup(*store, saveset, others);
  }
  if (!done) {
    return Fail(done);
  }
  Print((saveset.marked ? "Saveset " + saveset.name + " stays"
                        : "Saveset " + saveset.name + " was not marked: it stays anyway") +
        (others == 0 ? "." : ", and " + Count(others, "other saveset") + " of its backup."));
  return kGood;
}

void AddOperands(Command& command, Options& options) {
  command.Server(options.server);
  command.Operand("ID", options.saveset, "The saveset, as korvo list shows it");
}

}  // namespace

void AddProtect(Program& program) {
  Command command =
      program.Add("protect", "Protects a saveset: nothing deletes it until that is taken back.");
  const auto options = std::make_shared<Options>();
  AddOperands(command, *options);
  command.Flag("--off", options->off, "Takes the protection back");
  command.Explain(
      "A saveset that is marked to be deleted stays, too.\n"
      "Example: korvo protect prod ABC___1700000000");
  command.Does([options] { return Protect(*options); });
}

void AddKeep(Program& program) {
  Command command = program.Add("keep", "Keeps a backup that is marked to be deleted and still there.");
  const auto options = std::make_shared<Options>();
  AddOperands(command, *options);
  command.Explain(
      "All savesets of the backup that this one belongs to stay.\n"
      "Example: korvo keep prod ABC___1700000000");
  command.Does([options] { return Keep(*options); });
}

}  // namespace korvo
