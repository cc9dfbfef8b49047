// The data mover: saves files into a saveset, or brings them back, and reports each on standard error.
#include <memory>

#include "platform/platform.h"
#include "store/repository.h"
#include "xfr/report.h"
#include "xfr/request.h"
#include "xfr/restore.h"
#include "xfr/save.h"

using store::Status;

namespace {

Status Prepare(int argc, const char* const* argv, Request& request,
               std::unique_ptr<store::Repository>& repository) {
  store::ServerConfig config;
  if (Status read = ReadRequest(argc, argv, request); !read) {
    return read;
  }
  if (Status read = store::ReadServerConfig(request.server, config); !read) {
    return read;
  }
  return store::Repository::Open(config, store::Catalog::Access::kMustExist, repository);
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  // The block that is under way is the last one then: what is committed stays, nothing half done does.
  platform::WatchInterrupts();
  Request request;
  std::unique_ptr<store::Repository> repository;
  if (const Status prepared = Prepare(argc, argv, request, repository); !prepared) {
    ReportTrouble(prepared.Message());
    ReportEnd(End::kFailed);
    return 1;
  }
  const End end = request.restore ? Restore(request, *repository) : Save(request, *repository);
  ReportEnd(end);
  return end == End::kGood || end == End::kWarnings ? 0 : 1;
}
