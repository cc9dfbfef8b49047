#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/options.h"
#include "korvo/output.h"

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

int Keep(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Saveset saveset;
  store::Status done = OpenServer(options.server, store::Store::Access::kWrite, store);
  if (done) {
    done = store->FindSaveset(options.saveset, saveset);
  }
  if (done) {
    done = store->Mark(saveset.name, false);
  }
  if (!done) {
    return Fail(done);
  }
  Print(saveset.marked ? "Saveset " + saveset.name + " stays."
                       : "Saveset " + saveset.name + " was not marked: it stays anyway.");
  return kGood;
}

void AddOperands(CLI::App& command, Options& options) {
  AddServer(command, options.server);
  command.add_option("ID", options.saveset, "The saveset, as korvo list shows it")->required();
}

}  // namespace

void AddProtect(CLI::App& program, int& exitStatus) {
  CLI::App* command =
      program.add_subcommand("protect", "Protects a saveset: nothing deletes it until that is taken back.");
  const auto options = std::make_shared<Options>();
  AddOperands(*command, *options);
  command->add_flag("--off", options->off, "Takes the protection back");
  command->footer(
      "A saveset that is marked to be deleted stays, too.\n"
      "Example: korvo protect prod ABC___1700000000");
  command->callback([options, &exitStatus] { exitStatus = Protect(*options); });
}

void AddKeep(CLI::App& program, int& exitStatus) {
  CLI::App* command =
      program.add_subcommand("keep", "Keeps a saveset that is marked to be deleted and still there.");
  const auto options = std::make_shared<Options>();
  AddOperands(*command, *options);
  command->footer("Example: korvo keep prod ABC___1700000000");
  command->callback([options, &exitStatus] { exitStatus = Keep(*options); });
}

}  // namespace korvo
