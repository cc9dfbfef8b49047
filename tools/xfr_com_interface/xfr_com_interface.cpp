// The control tool: answers one call on standard output, `reply=OK` and lines `key=value`, or
// `reply=ERROR` and one line that says what is wrong. That line goes to standard error too.
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/calling_backint.h"
#include "store/command_line.h"
#include "store/last_words.h"
#include "store/names.h"
#include "store/store.h"
#include "xfr_com_interface/call.h"
#include "xfr_com_interface/reply.h"

using store::Status;

namespace {

constexpr const char* kHelp =
    R"(Usage: xfr_com_interface -b|-r open -C SERVER [OPTION...]
       xfr_com_interface -b|-r openjob:SESSION -C SERVER -j JOB -s SAVESET [OPTION...]
       xfr_com_interface -b|-r closejob:SESSION -C SERVER -s SAVESET -i STATE [OPTION...]
       xfr_com_interface -b|-r close:SESSION -C SERVER -i STATE [OPTION...]
       xfr_com_interface -q -C SERVER -s NULL DATABASE@[FILE]
       xfr_com_interface -q -C SERVER -s SAVESET DATABASE@

The control tool of backint's embedded backup server, which backint calls: keeps account of sessions, jobs and
savesets, and answers which savesets there are (-s NULL), or contain a file, and what a saveset contains.

  -b, -r, -q      for a backup, for a restore, query
  -C SERVER       the server, a section of korvo.ini, with its login: SERVER[:PORT][:USER:PASSWORD]
  -I CLIENT       who asks
  -j JOB          name of the job
  -m POOL         media pool
  -s SAVESET      name of the saveset
  -i STATE        how the job or session went: 0 well, 1 with warnings, 3 not
  -S, -d, -t, -v  settings of other servers, taken and not used
  --version, --help

Answers reply=OK and lines key=value, exit status 0, or reply=ERROR and one sentence, exit status 1. So it is if a list
breaks off. The sentence is written to standard error too. See also xfr, korvo and backint.
)";

// The process that must live as long as its session: the backint that called. A tool that was started by hand
// has none.
store::Process Owner() {
  platform::ProcessIdentity caller;
  if (!store::CallingBackint(caller)) {
    return {};
  }
  return {caller.space, caller.number, caller.start};
}

Status OpenSession(const Call& call, store::Store& store, Reply& reply) {
  std::string session;
  Status opened = store.OpenSession(call.mode, call.client, Owner(), session);
  if (opened) {
    reply.Add("SESSIONID", session);
  }
  return opened;
}

Status OpenJob(const Call& call, store::Store& store, Reply& reply) {
  std::string saveset;
  Status opened = store.OpenJob({call.mode, call.session, call.saveset, call.job, call.pool}, saveset);
  if (opened) {
    reply.Add("JOBNAME", call.job);
    reply.Add("SAVESETNAME", saveset);
    reply.Add("TAPE_SERVER", store.Config().section);
  }
  return opened;
}

Status ListItems(const Call& call, store::Store& store, Reply& reply) {
  return store.ListItems(call.sid, call.saveset, [&reply](const store::Item& item) {
    reply.Add("backupsrc", store::OneLine(store::ListedName(item.name)));
    return Status();
  });
}

Status ListSavesets(const Call& call, store::Store& store, Reply& reply) {
  std::vector<std::string> names;
  Status listed = store.ListSavesets(call.sid, call.file, names);
  for (const std::string& name : names) {
    reply.Add("savesetname", name);
  }
  return listed;
}

Status Work(const Call& call, store::Store& store, Reply& reply) {
  switch (call.verb) {
    case CallVerb::kOpen:
      return OpenSession(call, store, reply);
    case CallVerb::kOpenJob:
      return OpenJob(call, store, reply);
    case CallVerb::kCloseJob:
      return store.CloseJob(call.mode, call.session, call.saveset, call.state);
    case CallVerb::kClose:
      return store.CloseSession(call.mode, call.session, call.state);
    case CallVerb::kQuery:
      break;
  }
  return call.saveset.empty() ? ListSavesets(call, store, reply) : ListItems(call, store, reply);
}

// Restores and queries also work where nothing can be written.
store::Store::Access AccessFor(const Call& call) {
  if (call.verb == CallVerb::kQuery || call.mode == store::Mode::kRestore) {
    return store::Store::Access::kRead;
  }
  return call.verb == CallVerb::kOpen ? store::Store::Access::kCreate : store::Store::Access::kWrite;
}

void Note(const std::string& sentence) {
  platform::WriteToStandardError("xfr_com_interface: " + store::OneLine(sentence) + "\n");
}

Status Serve(int argc, char** argv, Reply& reply) {
  Call call;
  Status read = ReadCall(argc, argv, call);
  store::HideLogin(argc, argv, "-C");
  if (!read) {
    return read;
  }
  store::ServerConfig config;
  if (Status configured = store::ReadServerConfig(call.server, config); !configured) {
    return configured;
  }
  if (Status let = store::CheckLogin(call.server, config); !let) {
    return let;
  }
  std::unique_ptr<store::Store> store;
  if (Status opened = store::Store::Open(config, AccessFor(call), store); !opened) {
    return opened;
  }
  Status done = Work(call, *store, reply);
  for (const std::string& note : store->Notes()) {
    Note(note);
  }
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  platform::LeaveInterruptsToCaller();
  store::SetLastWords("xfr_com_interface: ", 1, Reply::Abandon);
  if (store::TellAboutTool(argc, argv, "xfr_com_interface", kHelp)) {
    return 0;
  }
  Reply reply;
  const Status served = Serve(argc, argv, reply);
  if (!served) {
    Note(served.Message());
  }
  return reply.End(served) && served ? 0 : 1;
}
