// The command line of the control tool.
#include "fuzz/fuzz.h"
#include "xfr_com_interface/call.h"

namespace fuzz {
namespace {

void RunControlCommand(std::string_view bytes) {
  Input input(bytes);
  std::vector<std::string> arguments = {"xfr_com_interface"};
  while (!input.AtEnd()) {
    std::string argument(input.Piece());
    std::erase(argument, '\0');
    arguments.push_back(argument);
  }
  std::vector<const char*> argv;
  argv.reserve(arguments.size());
  for (const std::string& argument : arguments) {
    argv.push_back(argument.c_str());
  }
  Call call;
  const store::Status read = ReadCall(static_cast<int>(argv.size()), argv.data(), call);
  if (!read) {
    Require(!read.Message().empty(), "a refusal says why");
    return;
  }
  const bool opens = call.verb == CallVerb::kOpen;
  const bool asks = call.verb == CallVerb::kQuery;
  Require(!call.server.empty(), "each call names its server");
  Require(asks || opens == call.session.empty(), "what goes on in a session names it", call.session);
  Require(asks == !call.sid.empty(), "a query names its database", call.sid);
  Require(call.file.empty() || call.saveset.empty(), "a query has one question", call.file);
  Require(call.verb != CallVerb::kOpenJob || !call.job.empty(), "a job that is opened has a name");
}

void SeedControlCommand(Corpus& corpus) {
  for (const char* flag : {"-b", "-r"}) {
    corpus.Add(Joined({flag, "open", "-C", "srv", "-I", "host", "-v", "2"}));
    corpus.Add(Joined({flag, "openjob:17", "-C", "user:word@srv", "-s", "SET", "-j", "job", "-m", "pool"}));
    corpus.Add(Joined({flag, "closejob:17", "-C", "srv", "-s", "SET", "-i", "3"}));
    corpus.Add(Joined({flag, "close:17", "-C", "srv", "-i", "1"}));
  }
  corpus.Add(Joined({"-q", "-C", "srv", "-s", "NULL", "ABC@data/a.dbf"}));
  corpus.Add(Joined({"-q", "-C", "srv", "-s", "SET", "ABC@"}));
}

}  // namespace

const Target kControlCommand = {"control_command",
                                RunControlCommand,
                                SeedControlCommand,
                                {"-b", "-r", "-q", "-C", "-s", "-i", "openjob:", "closejob:", "@", "\x1e"}};

}  // namespace fuzz
