// The control tool: answers one request on standard output, `reply=OK` and lines `key=value`, or
// `reply=ERROR` and one line that says what is wrong. That line goes to standard error too.
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/command_line.h"
#include "store/names.h"
#include "store/store.h"
#include "xfr_com_interface/reply.h"
#include "xfr_com_interface/request.h"

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

Answers reply=OK and lines key=value, exit status 0, or reply=ERROR and one sentence, exit status 1. The sentence is
written to standard error too. See also xfr, korvo and backint.
)";

// The process that has to live as long as its session: the backint that called. A tool that was started by
// hand has none.
store::Process Owner() {
  platform::ProcessIdentity parent;
  std::string program;
  if (!platform::ParentProcess(parent, program) || program != "backint") {
    return {};
  }
  return {parent.space, parent.number, parent.start};
}

Status OpenSession(const Request& request, store::Store& store, Reply& reply) {
  std::string session;
  Status opened = store.OpenSession(request.mode, request.client, Owner(), session);
  if (opened) {
    reply.Add("SESSIONID", session);
  }
  return opened;
}

Status OpenJob(const Request& request, store::Store& store, Reply& reply) {
  std::string saveset;
  Status opened =
      store.OpenJob({request.mode, request.session, request.saveset, request.job, request.pool}, saveset);
  if (opened) {
    reply.Add("JOBNAME", request.job);
    reply.Add("SAVESETNAME", saveset);
    reply.Add("TAPE_SERVER", store.Config().section);
  }
  return opened;
}

Status ListItems(const Request& request, store::Store& store, Reply& reply) {
  return store.ListItems(request.sid, request.saveset, [&reply](const store::Item& item) {
    reply.Add("backupsrc", store::OneLine(store::ListedName(item.name)));
    return Status();
  });
}

Status ListSavesets(const Request& request, store::Store& store, Reply& reply) {
  std::vector<std::string> names;
  Status listed = store.ListSavesets(request.sid, request.file, names);
  for (const std::string& name : names) {
    reply.Add("savesetname", name);
  }
  return listed;
}

Status Work(const Request& request, store::Store& store, Reply& reply) {
  switch (request.verb) {
    case Verb::kOpen:
      return OpenSession(request, store, reply);
    case Verb::kOpenJob:
      return OpenJob(request, store, reply);
    case Verb::kCloseJob:
      return store.CloseJob(request.mode, request.session, request.saveset, request.state);
    case Verb::kClose:
      return store.CloseSession(request.mode, request.session, request.state);
    case Verb::kQuery:
      break;
  }
  return request.saveset.empty() ? ListSavesets(request, store, reply) : ListItems(request, store, reply);
}

// A restore and a query work where nothing can be written.
store::Store::Access AccessFor(const Request& request) {
  if (request.verb == Verb::kQuery || request.mode == store::Mode::kRestore) {
    return store::Store::Access::kRead;
  }
  return request.verb == Verb::kOpen ? store::Store::Access::kCreate : store::Store::Access::kWrite;
}

void Note(const std::string& sentence) {
  platform::WriteToStandardError("xfr_com_interface: " + store::OneLine(sentence) + "\n");
}

Status Serve(int argc, char** argv, Reply& reply) {
  Request request;
  Status read = ReadRequest(argc, argv, request);
  store::HideLogin(argc, argv, "-C");
  if (!read) {
    return read;
  }
  store::ServerConfig config;
  if (Status configured = store::ReadServerConfig(request.server, config); !configured) {
    return configured;
  }
  if (Status let = store::CheckLogin(request.server, config); !let) {
    return let;
  }
  std::unique_ptr<store::Store> store;
  if (Status opened = store::Store::Open(config, AccessFor(request), store); !opened) {
    return opened;
  }
  Status done = Work(request, *store, reply);
  for (const std::string& note : store->Notes()) {
    Note(note);
  }
  return done;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
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
