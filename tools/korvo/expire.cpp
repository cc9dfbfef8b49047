#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "korvo/text.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string saveset;
  bool doDelete = false;
  bool now = false;
  bool keep = false;
};

std::string Describe(const store::Saveset& saveset) {
  return "saveset " + saveset.name + " (database " + saveset.database + ", " + TimeText(saveset.created) +
         ", " + StateText(saveset) + ")";
}

store::Status Delete(const Options& options, store::Store& store, const store::Saveset& saveset) {
  store::Status done = options.now ? store.DeleteAtOnce(saveset.name) : store.Mark(saveset.name, true);
  if (done) {
    Print(Describe(saveset) +
          (options.now
               ? " is deleted."
               : " is marked. It is deleted by the end of the first backup, or by the first"
                 " korvo expire, that comes " +
                     DurationText(store.Config().grace) + " later. Until then --keep takes that back."));
  }
  return done;
}

store::Status Keep(store::Store& store, const store::Saveset& saveset) {
  store::Status done = store.Mark(saveset.name, false);
  if (done) {
    Print("saveset " + saveset.name + " stays.");
  }
  return done;
}

store::Status Change(const Options& options, store::Store& store) {
  store::Saveset saveset;
  if (store::Status found = store.FindSaveset(options.saveset, saveset); !found) {
    return found;
  }
  if (options.keep) {
    return Keep(store, saveset);
  }
  store::Status done = Delete(options, store, saveset);
  return done ? store.DeleteMarked(store.Config().grace) : done;
}

// On a full disk the catalog cannot be written before the room is given up that is kept for that.
store::Status ChangeOnAnyDisk(const Options& options, std::unique_ptr<store::Store>& store) {
  store::Status done = store->Rows().CanWrite() ? Change(options, *store)
                                                : store::Status::NoRoom("the catalog cannot be written");
  if (done.What() != store::Status::Kind::kNoRoom || !store::Store::GiveSpareRoom(store->Config())) {
    return store->Rows().CanWrite() ? done : Change(options, *store);
  }
  store.reset();
  done = OpenServer(options.server, store::Store::Access::kWrite, store);
  return done ? Change(options, *store) : done;
}

store::Status Tell(const Options& options, store::Store& store) {
  store::Saveset saveset;
  store::Status found = store.FindSaveset(options.saveset, saveset);
  if (found) {
    Print(Describe(saveset) + " would be deleted. Nothing was changed: --delete does it.");
  }
  return found;
}

int Expire(const Options& options) {
  const bool changes = options.doDelete || options.keep;
  std::unique_ptr<store::Store> store;
  const auto access = changes ? store::Store::Access::kWrite : store::Store::Access::kRead;
  store::Status done = OpenServer(options.server, access, store);
  if (done) {
    done = changes ? ChangeOnAnyDisk(options, store) : Tell(options, *store);
  }
  return done ? kGood : Fail(done);
}

}  // namespace

void AddExpire(CLI::App& program, int& exitStatus) {
  CLI::App* command =
      program.add_subcommand("expire", "Deletes a saveset, after a time in which it can be kept.");
  const auto options = std::make_shared<Options>();
  command->add_option("SERVER", options->server, "The server, a section of korvo.ini")->required();
  command->add_option("--saveset", options->saveset, "The saveset's name, as korvo list shows it")
      ->required();
  CLI::Option* doDelete = command->add_flag("--delete", options->doDelete,
                                            "Marks it to be deleted. Without this nothing is changed");
  command->add_flag("--now", options->now, "Deletes it at once, without a way back")->needs(doDelete);
  command->add_flag("--keep", options->keep, "Takes the mark back")->excludes(doDelete);
  command->footer(
      "A saveset with an open job is refused. Room comes back as far as no other saveset refers to the same "
      "data.\n"
      "Example: korvo expire prod --saveset ABC___1700000000 --delete");
  command->callback([options, &exitStatus] { exitStatus = Expire(*options); });
}

}  // namespace korvo
