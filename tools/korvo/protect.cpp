#include <algorithm>
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

// The marked savesets of the backup to which this one belongs: rules mark them together.
store::Status ListMarked(store::Store& store, const store::Saveset& saveset,
                         std::vector<store::Saveset>& marked) {
  store::Status done = ListSavesets(store, saveset.database, "", marked);
  std::erase_if(marked, [&saveset](const store::Saveset& other) {
    return other.together != saveset.together || !other.marked;
  });
  return done;
}

std::string AndOthers(const store::Saveset& saveset, const std::vector<store::Saveset>& marked) {
  const auto others = std::count_if(marked.begin(), marked.end(), [&saveset](const store::Saveset& other) {
    return other.id != saveset.id;
  });
  return others == 0 ? "" : Count(static_cast<std::uint64_t>(others), "other saveset") + " of its backup";
}

int Protect(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Saveset saveset;
  std::vector<store::Saveset> marked;
  store::Status done = OpenServer(options.server, store::Store::Access::kWrite, store);
  if (done) {
    done = store->FindSaveset(options.saveset, saveset);
  }
  if (done) {
    done = ListMarked(*store, saveset, marked);
  }
  if (done) {
    done = store->Protect(options.saveset, !options.off);
  }
  if (!done) {
    return Fail(done);
  }
  if (options.off) {
    Print("Saveset " + options.saveset + " is no longer protected.");
    return kGood;
  }
  Print("Saveset " + options.saveset + " is protected: nothing deletes it until --off.");
  if (const std::string others = AndOthers(saveset, marked); !others.empty()) {
    Print("The mark is also taken from " + others + ".");
  }
  return kGood;
}

store::Status TakeMarks(store::Store& store, const std::vector<store::Saveset>& marked) {
  store::Status done;
  for (auto saveset = marked.begin(); done && saveset != marked.end(); ++saveset) {
    done = store.Mark(saveset->name, false);
  }
  return done;
}

int Keep(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Saveset saveset;
  std::vector<store::Saveset> marked;
  store::Status done = OpenServer(options.server, store::Store::Access::kWrite, store);
  if (done) {
    done = store->FindSaveset(options.saveset, saveset);
  }
  if (done) {
    done = ListMarked(*store, saveset, marked);
  }
  if (done) {
    done = TakeMarks(*store, marked);
  }
  if (!done) {
    return Fail(done);
  }
  const std::string others = AndOthers(saveset, marked);
  Print((saveset.marked ? "Saveset " + saveset.name + " stays"
                        : "Saveset " + saveset.name + " was not marked: it stays anyway") +
        (others.empty() ? "." : ", and " + others + "."));
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
      "A saveset that is marked to be deleted stays, too, with the others of its backup.\n"
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
