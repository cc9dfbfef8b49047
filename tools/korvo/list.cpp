#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "korvo/commands.h"
#include "korvo/output.h"

namespace korvo {
namespace {

using Row = std::array<std::string, 5>;

// Columns as wide as what is in them.
void PrintTable(const std::vector<Row>& rows) {
  std::array<std::size_t, std::tuple_size_v<Row>> widths = {};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
    }
    Print(line.substr(0, line.find_last_not_of(' ') + 1));
  }
}

int List(const std::string& server) {
  std::unique_ptr<store::Store> store;
  if (store::Status opened = OpenServer(server, store::Store::Access::kRead, store); !opened) {
    return Fail(opened);
  }
  std::vector<Row> rows = {{"SAVESET", "DATABASE", "POOL", "TIME", "STATE"}};
  store::Status listed = store->Rows().ListAllSavesets([&rows](const store::Saveset& saveset) {
    rows.push_back(
        {saveset.name, saveset.database, saveset.pool, TimeText(saveset.created), StateText(saveset)});
    return store::Status();
  });
  if (!listed) {
    return Fail(listed);
  }
  PrintTable(rows);
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
