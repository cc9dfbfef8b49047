#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/item_rows.h"
#include "korvo/json.h"
#include "korvo/output.h"
#include "korvo/table.h"
#include "korvo/text.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  std::string saveset;
  bool json = false;
};

store::Status TellPeople(store::Store& store, const store::Saveset& saveset) {
  Print("Saveset " + saveset.name + " of database " + saveset.database + ", " + TimeText(saveset.created) +
        ", " + StateText(saveset) + ": " + Count(static_cast<std::uint64_t>(saveset.items), "item") + ", " +
        SizeText(static_cast<std::uint64_t>(saveset.bytes)));
  Table table({{"SIZE", Align::kRight}, {"CHANGED"}, {"NAME"}});
  store::Status listed = store.Rows().ListItems(saveset, [&table](const store::Item& item) {
    table.Add({ItemSize(item), ItemTime(item), ItemName(item)});
    table.PrintWhenLong();
    return store::Status();
  });
  table.Print();
  return listed;
}

store::Status TellPrograms(const Options& options, store::Store& store, const store::Saveset& saveset) {
  JsonList items({{"server", JsonText(options.server)}, {"saveset", JsonSaveset(saveset)}}, "items");
  store::Status listed = store.Rows().ListItems(saveset, [&items](const store::Item& item) {
    items.Add(JsonItem(item));
    return store::Status();
  });
  if (listed) {
    items.End();
  }
  return listed;
}

int Show(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  store::Saveset saveset;
  if (done) {
    done = store->FindSaveset(options.saveset, saveset);
  }
  if (done) {
    done = options.json ? TellPrograms(options, *store, saveset) : TellPeople(*store, saveset);
  }
  return done ? kGood : Fail(done);
}

}  // namespace

void AddShow(Program& program) {
  Command command = program.Add("show", "Lists what is in a saveset.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operand("ID", options->saveset, "The saveset, as korvo list shows it");
  command.Json(options->json);
  command.Explain(
      "CHANGED is when the file was last changed before it was saved.\n"
      "Example: korvo show prod ABC___1700000000");
  command.Does([options] { return Show(*options); });
}

}  // namespace korvo
