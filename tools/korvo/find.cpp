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
  std::string name;
  bool json = false;
};

store::Status TellPeople(const Options& options, store::Store& store, bool& any) {
  Table table({{"SAVESET"}, {"TIME"}, {"STATE"}, {"SIZE", Align::kRight}, {"NAME"}});
  store::Status found = store.Rows().FindCopies(
      options.name, [&](const store::Saveset& saveset, const store::Item& item, bool damaged) {
        any = true;
        table.Add({saveset.name, TimeText(saveset.created), StateText(saveset) + (damaged ? ", damaged" : ""),
                   ItemSize(item), ItemName(item)});
        table.PrintWhenLong();
        return store::Status();
      });
  if (any) {
    table.Print();
  }
  return found;
}

store::Status TellPrograms(const Options& options, store::Store& store, bool& any) {
  JsonList copies({{"server", JsonText(options.server)}, {"name", JsonText(options.name)}}, "copies");
  store::Status found = store.Rows().FindCopies(
      options.name, [&](const store::Saveset& saveset, const store::Item& item, bool damaged) {
        any = true;
        Json json = JsonItem(item);
        json["damaged"] = damaged;
        json["saveset"] = JsonSaveset(saveset);
        copies.Add(json);
        return store::Status();
      });
  if (found) {
    copies.End();
  }
  return found;
}

int Find(const Options& options) {
  std::unique_ptr<store::Store> store;
  store::Status done = OpenServer(options.server, store::Store::Access::kRead, store);
  bool any = false;
  if (done) {
    done = options.json ? TellPrograms(options, *store, any) : TellPeople(options, *store, any);
  }
  if (!done) {
    return Fail(done);
  }
  if (!any) {
    const bool pattern = options.name.find_first_of("*?") != std::string::npos;
    Complain("no saveset holds " + options.name +
             (pattern ? "" : ": give its full name, or a pattern as '*" + options.name + "'"));
  }
  return any ? kGood : kFindings;
}

}  // namespace

void AddFind(Program& program) {
  Command command = program.Add("find", "Finds the savesets that hold a file or directory, newest first.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Operand("NAME", options->name,
                  "Its full name, or a pattern: * stands for any text, ? for one character");
  command.Json(options->json);
  command.Explain(
      "TIME and STATE are those of the saveset; damaged: this copy cannot be restored, take the next one.\n"
      "Exit status 1 if no saveset holds it. Put a pattern in quotes, or the shell takes it for its own.\n"
      "Example: korvo find prod '*/system.data1'");
  command.Does([options] { return Find(*options); });
}

}  // namespace korvo
