#include "xfr_com_interface/call.h"

#include "store/command_line.h"

using store::CommandLine;
using store::Status;

namespace {

// `-b openjob:17`: what to do, a colon, and the session to do it in.
Status ReadVerb(const std::string& text, Call& call) {
  const std::size_t colon = text.find(':');
  const std::string name = text.substr(0, colon);
  call.session = colon == std::string::npos ? std::string() : text.substr(colon + 1);
  if (name == "open") {
    call.verb = CallVerb::kOpen;
    return call.session.empty() ? Status() : Status::Failed("open takes no session: " + text);
  }
  if (name == "openjob") {
    call.verb = CallVerb::kOpenJob;
  } else if (name == "closejob") {
    call.verb = CallVerb::kCloseJob;
  } else if (name == "close") {
    call.verb = CallVerb::kClose;
  } else {
    return Status::Failed("unknown operation " + name + ": open, openjob, closejob or close is expected");
  }
  return call.session.empty() ? Status::Failed(name + " names no session: " + name + ":<session> is expected")
                              : Status();
}

Status ReadState(const std::string& text, store::State& state) {
  if (text == "0") {
    state = store::State::kGood;
  } else if (text == "1") {
    state = store::State::kWarnings;
  } else if (text == "3") {
    state = store::State::kFailed;
  } else {
    return Status::Failed("option -i takes 0, 1 or 3: " + text);
  }
  return {};
}

Status ReadQuery(const CommandLine& line, Call& call) {
  call.verb = CallVerb::kQuery;
  if (line.Operands().size() != 1) {
    return Status::Failed("a query ends in one <database>@ or <database>@<file>");
  }
  const std::string& question = line.Operands().front();
  const std::size_t at = question.find('@');
  if (at == 0 || at == std::string::npos) {
    return Status::Failed("a query ends in <database>@ or <database>@<file>: " + question);
  }
  call.sid = question.substr(0, at);
  call.file = question.substr(at + 1);
  if (call.saveset == "NULL") {
    call.saveset.clear();
  } else if (!call.file.empty()) {
    return Status::Failed("a query for the contents of a saveset takes no file: " + call.file);
  }
  return {};
}

Status ReadOperation(const CommandLine& line, Call& call) {
  if (!line.Operands().empty()) {
    return Status::Failed("unexpected operand " + line.Operands().front());
  }
  call.mode = line.Has('b') ? store::Mode::kBackup : store::Mode::kRestore;
  if (Status verb = ReadVerb(line.Value(line.Has('b') ? 'b' : 'r'), call); !verb) {
    return verb;
  }
  const bool closes = call.verb == CallVerb::kClose || call.verb == CallVerb::kCloseJob;
  if (closes) {
    return ReadState(line.Value('i'), call.state);
  }
  return call.verb == CallVerb::kOpenJob && call.job.empty()
             ? Status::Failed("option -j with the job's name is missing")
             : Status();
}

}  // namespace

Status ReadCall(int argc, const char* const* argv, Call& call) {
  CommandLine line;
  if (Status read = line.Read(argc, argv, "q", "brCISdjtmsiv", ""); !read) {
    return read;
  }
  if ((line.Has('b') ? 1 : 0) + (line.Has('r') ? 1 : 0) + (line.Has('q') ? 1 : 0) != 1) {
    return Status::Failed("one of -b, -r and -q is expected");
  }
  call.server = line.Value('C');
  call.client = line.Value('I');
  call.job = line.Value('j');
  call.pool = line.Value('m');
  call.saveset = line.Value('s');
  if (call.server.empty()) {
    return Status::Failed("option -C with the server's name is missing");
  }
  Status read = line.Has('q') ? ReadQuery(line, call) : ReadOperation(line, call);
  const bool named = call.verb == CallVerb::kOpenJob || call.verb == CallVerb::kCloseJob || line.Has('q');
  if (read && named && !line.Has('s')) {
    return Status::Failed("option -s with the saveset's name is missing");
  }
  return read;
}
