// The control tool: answers one request on standard output, `reply=OK` and lines `key=value`, or
// `reply=ERROR` and one line that says what is wrong.
#include <memory>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/names.h"
#include "store/repository.h"
#include "xfr_com_interface/request.h"

using store::Status;

namespace {

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
