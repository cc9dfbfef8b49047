#include <memory>
#include <string>

#include "korvo/commands.h"
#include "korvo/output.h"
#include "store/server_config.h"

namespace korvo {
namespace {

struct Options {
  std::string server;
  bool encrypt = false;
};

void TellOfKeys(const store::ServerConfig& config) {
  Print("It is encrypted, with keys in two files:");
  Print("  " + config.secretFile + ": the savers' secret. Every machine that saves needs it.");
  Print("  " + config.keyFile +
        ": the private key. Only restoring needs it; a database host can do without.");
  Print("Without them nothing in the repository can be read, by nobody. Copy both to another place now.");
}

int Init(const Options& options) {
  store::ServerConfig config;
  if (store::Status read = store::ReadServerConfig(options.server, config); !read) {
    return Fail(read);
  }
  std::string abilities;
  if (store::Status made = store::Store::Make(config, options.encrypt, &abilities); !made) {
    return Fail(made);
  }
  Print("A repository was made in " + config.repository + ".");
  if (!abilities.empty()) {
    Print("What its server can do besides: " + abilities + ".");
  }
  if (options.encrypt) {
    TellOfKeys(config);
  }
  return kGood;
}

}  // namespace

void AddInit(Program& program) {
  Command command = program.Add("init", "Makes the repository of a server.");
  const auto options = std::make_shared<Options>();
  command.Server(options->server);
  command.Flag("--encrypt", options->encrypt,
               "Encrypts all that will be in it. Makes the key files that secret_file and key_file name");
  command.Explain(
      "The first backup makes a repository by itself; only one with encryption has to be made.\n"
      "Example: korvo init prod --encrypt");
  command.Does([options] { return Init(*options); });
}

}  // namespace korvo
