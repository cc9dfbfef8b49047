#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "korvo/text.h"
#include "store/server_config.h"

namespace korvo {
namespace {

int Rebuild(const std::string& server) {
  store::ServerConfig config;
  if (store::Status read = store::ReadServerConfig(server, config); !read) {
    return Fail(read);
  }
  std::uint64_t losses = 0;
  store::Store::Rebuilt rebuilt;
  store::Status done = store::Store::Rebuild(
      config,
      [&losses](const std::string& loss) {
        Print(loss);
        ++losses;
      },
      rebuilt);
  for (const std::string& note : rebuilt.notes) {
    Print("Note: " + note);
  }
  if (!done) {
    return Fail(done);
  }
  Print("The catalog of " + config.repository + " was made anew from " + Count(rebuilt.packs, "pack") +
        " and " + Count(rebuilt.savesets, "saveset") + ".");
  if (!rebuilt.oldCatalog.empty()) {
    Print("The old one is " + rebuilt.oldCatalog + "; it can be deleted once all is well.");
  }
  return losses == 0 ? kGood : kFindings;
}

}  // namespace

void AddRebuild(Program& program) {
  Command command = program.Add("rebuild", "Makes a lost or damaged catalog anew from what it lists.");
  const auto server = std::make_shared<std::string>();
  command.Server(*server);
  command.Explain(
      "Tells each thing that is lost; exit status 1 if there was one. Call it while no backup runs.\n"
      "Example: korvo rebuild prod");
  command.Does([server] { return Rebuild(*server); });
}

}  // namespace korvo
