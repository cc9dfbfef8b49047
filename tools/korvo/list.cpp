#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"

namespace korvo {
namespace {

int List(const std::string& server) {
  std::unique_ptr<store::Store> store;
  if (store::Status opened = OpenServer(server, store::Store::Access::kRead, store); !opened) {
    return Fail(opened);
  }
  Table table({{"SAVESET"}, {"DATABASE"}, {"POOL"}, {"TIME"}, {"STATE"}});
  store::Status listed = store->Rows().ListAllSavesets([&table](const store::Saveset& saveset) {
    table.Add({saveset.name, saveset.database, saveset.pool, TimeText(saveset.created), StateText(saveset)});
    return store::Status();
  });
  if (!listed) {
    return Fail(listed);
  }
  table.Print();
  return kGood;
}

}  // namespace

void AddList(CLI::App& program, int& exitStatus) {
  CLI::App* command = program.add_subcommand("list", "Lists the savesets, newest first.");
  const auto server = std::make_shared<std::string>();
  command->add_option("SERVER", *server, "The server, a section of korvo.ini")->required();
  command->footer(
      "States: good; failed (its items that were confirmed can be restored); withdrawn (saved well, but its\n"
      "caller reported a failure); running; unused (nothing came yet); marked (to be deleted after the "
      "grace).\n"
      "Example: korvo list prod");
  command->callback([server, &exitStatus] { exitStatus = List(*server); });
}

}  // namespace korvo
