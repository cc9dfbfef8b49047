// The control tool: answers one request on standard output, `reply=OK` and lines `key=value`, or
// `reply=ERROR` and one line that says what is wrong.
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/command_line.h"
#include "store/names.h"
#include "store/repository.h"
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
savesets, and answers which savesets there are (-s NULL), or hold a file, and what a saveset holds.

  -b, -r, -q      for a backup, for a restore, query
  -C SERVER       the server, a section of korvo.ini
  -I CLIENT       who asks
  -j JOB          name of the job
  -m POOL         media pool
  -s SAVESET      name of the saveset
  -i STATE        how the job or session went: 0 well, 1 with warnings, 3 not
  -S, -d, -t, -v  settings of other servers, taken and not used
  --version, --help

Answers reply=OK and lines key=value, exit status 0, or reply=ERROR and one sentence, exit status 1. See also xfr
and backint.
)";

void Answer(std::string& reply, const char* key, const std::string& value) {
  reply += key;
  reply += '=';
  reply += value;
  reply += '\n';
}

Status Query(const Request& request, store::Repository& repository, std::string& reply) {
  std::vector<std::string> names;
  const bool contents = !request.saveset.empty();
  Status listed = contents ? repository.ListItems(request.sid, request.saveset, names)
                           : repository.ListSavesets(request.sid, request.file, names);
  for (const std::string& name : names) {
    Answer(reply, contents ? "backupsrc" : "savesetname", store::OneLine(store::ListedName(name)));
  }
  return listed;
}

Status Work(const Request& request, const std::string& section, store::Repository& repository,
            std::string& reply) {
  std::string given;
  Status done;
  switch (request.verb) {
    case Verb::kOpen:
      done = repository.OpenSession(request.mode, request.client, given);
      Answer(reply, "SESSIONID", given);
      return done;
    case Verb::kOpenJob:
      done = repository.OpenJob({request.mode, request.session, request.saveset, request.job, request.pool},
                                given);
      Answer(reply, "JOBNAME", request.job);
      Answer(reply, "SAVESETNAME", given);
      Answer(reply, "TAPE_SERVER", section);
      return done;
    case Verb::kCloseJob:
      return repository.CloseJob(request.mode, request.session, request.saveset, request.state);
    case Verb::kClose:
      return repository.CloseSession(request.mode, request.session, request.state);
    case Verb::kQuery:
      return Query(request, repository, reply);
  }
  return done;
}

Status Serve(int argc, const char* const* argv, std::string& reply) {
  Request request;
  store::ServerConfig config;
  std::unique_ptr<store::Repository> repository;
  if (Status read = ReadRequest(argc, argv, request); !read) {
    return read;
  }
  if (Status read = store::ReadServerConfig(request.server, config); !read) {
    return read;
  }
  const bool mayMake = request.verb == Verb::kOpen && request.mode == store::Mode::kBackup;
  const auto access = mayMake ? store::Catalog::Access::kCreate : store::Catalog::Access::kMustExist;
  if (Status opened = store::Repository::Open(config, access, repository); !opened) {
    return opened;
  }
  return Work(request, config.section, *repository, reply);
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  if (store::TellAboutTool(argc, argv, "xfr_com_interface", kHelp)) {
    return 0;
  }
  std::string reply;
  const Status served = Serve(argc, argv, reply);
  const std::unique_ptr<platform::TextFile> out = platform::TextFile::StandardOutput();
  if (served) {
    out->Write("reply=OK\n" + reply);
  } else {
    out->Write("reply=ERROR\n" + store::OneLine(served.Message()) + "\n");
  }
  return out->Flush() && served ? 0 : 1;
}
