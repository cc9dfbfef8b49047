// The data mover: saves files into a saveset, or brings them back, and reports each on standard error.
#include <memory>

#include "platform/platform.h"
#include "store/command_line.h"
#include "store/last_words.h"
#include "store/store.h"
#include "xfr/caller_watch.h"
#include "xfr/report.h"
#include "xfr/request.h"
#include "xfr/restore.h"
#include "xfr/save.h"

using store::Status;

namespace {

constexpr const char* kHelp =
    R"(Usage: xfr -b -S SERVER -s SAVESET [OPTION...] ITEM...
       xfr -r -S SERVER -s SAVESET [OPTION...] ITEM...

The data mover of backint's embedded backup server, which backint calls: saves the items into a saveset, or
brings them back. Each item that is done is reported on standard error.

  -b, -r          back up, restore
  -S SERVER       the server, a section of korvo.ini
  -s SAVESET      the saveset, as the control tool named it
  -f FILE         the items are the lines of FILE (@file:FILE: a list that backint wrote)
  -o plain        backup: the item is a directory, to be saved whole; restore: -R is the destination itself
  -o over         restore: replaces what is there
  -R DIRECTORY    restore: brings the items to this directory
  -j, -t, -d, -n, -l, -v
                  job, tape, drive and settings of other servers, taken and not used
  --version, --help

Exit status: 0 if all items were done, 1 otherwise. See also xfr_com_interface and backint.
)";

Status Prepare(int argc, char** argv, Request& request, std::unique_ptr<store::Store>& store) {
  store::ServerConfig config;
  Status asked = ReadRequest(argc, argv, request);
  store::HideLogin(argc, argv, "-S");
  if (!asked) {
    return asked;
  }
  if (Status read = store::ReadServerConfig(request.server, config); !read) {
    return read;
  }
  // A restore only needs to read.
  const auto access = request.restore ? store::Store::Access::kRead : store::Store::Access::kWrite;
  if (Status opened = store::Store::Open(config, access, store); !opened) {
    return opened;
  }
  for (const std::string& note : store->Notes()) {
    ReportNote(note);
  }
  return {};
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  store::SetLastWords("ERROR: ", 1);
  if (store::TellAboutTool(argc, argv, "xfr", kHelp)) {
    return 0;
  }
  // After an interrupt the block under way is the last one: what is committed stays, and nothing half done
  // does.
  platform::WatchInterrupts();
  EndWithItsReader();
  const CallerWatch watch;
  Request request;
  std::unique_ptr<store::Store> store;
  if (const Status prepared = Prepare(argc, argv, request, store); !prepared) {
    ReportTrouble(prepared.Message());
    ReportEnd(End::kFailed);
    return 1;
  }
  const End end = request.restore ? Restore(request, *store) : Save(request, *store);
  const bool good = end == End::kGood || end == End::kWarnings;
  if (good) {
    ReportNote(store::TellServer(store->Config()));
  }
  const bool told = ReportEnd(end);
  return good && told ? 0 : 1;
}
