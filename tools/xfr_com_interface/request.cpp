#include "xfr_com_interface/request.h"

#include "store/command_line.h"

using store::CommandLine;
using store::Status;

namespace {

// `-b openjob:17`: what to do, and behind the colon the session to do it in.
Status ReadVerb(const std::string& text, Request& request) {
  const std::size_t colon = text.find(':');
  const std::string name = text.substr(0, colon);
  request.session = colon == std::string::npos ? std::string() : text.substr(colon + 1);
  if (name == "open") {
    request.verb = Verb::kOpen;
    return request.session.empty() ? Status() : Status::Failed("open takes no session: " + text);
  }
  if (name == "openjob") {
    request.verb = Verb::kOpenJob;
  } else if (name == "closejob") {
    request.verb = Verb::kCloseJob;
  } else if (name == "close") {
    request.verb = Verb::kClose;
  } else {
    return Status::Failed("unknown operation " + name + ": open, openjob, closejob or close is expected");
  }
  return request.session.empty()
             ? Status::Failed(name + " names no session: " + name + ":<session> is expected")
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

Status ReadQuery(const CommandLine& line, Request& request) {
  request.verb = Verb::kQuery;
  if (line.Operands().size() != 1) {
    return Status::Failed("a query ends in one <database>@ or <database>@<file>");
  }
  const std::string& question = line.Operands().front();
  const std::size_t at = question.find('@');
  if (at == 0 || at == std::string::npos) {
    return Status::Failed("a query ends in <database>@ or <database>@<file>: " + question);
  }
  request.sid = question.substr(0, at);
  request.file = question.substr(at + 1);
  if (request.saveset == "NULL") {
    request.saveset.clear();
  } else if (!request.file.empty()) {
    return Status::Failed("a query for the contents of a saveset takes no file: " + request.file);
  }
  return {};
}

Status ReadOperation(const CommandLine& line, Request& request) {
  if (!line.Operands().empty()) {
    return Status::Failed("unexpected operand " + line.Operands().front());
  }
  request.mode = line.Has('b') ? store::Mode::kBackup : store::Mode::kRestore;
  if (Status verb = ReadVerb(line.Value(line.Has('b') ? 'b' : 'r'), request); !verb) {
    return verb;
  }
  const bool closes = request.verb == Verb::kClose || request.verb == Verb::kCloseJob;
  if (closes) {
    return ReadState(line.Value('i'), request.state);
  }
  return request.verb == Verb::kOpenJob && request.job.empty()
             ? Status::Failed("option -j with the job's name is missing")
             : Status();
}

}  // namespace

Status ReadRequest(int argc, const char* const* argv, Request& request) {
  CommandLine line;
  if (Status read = line.Read(argc, argv, "q", "brCISdjtmsiv", ""); !read) {
    return read;
  }
  if ((line.Has('b') ? 1 : 0) + (line.Has('r') ? 1 : 0) + (line.Has('q') ? 1 : 0) != 1) {
    return Status::Failed("one of -b, -r and -q is expected");
  }
  request.server = line.Value('C');
  request.client = line.Value('I');
  request.job = line.Value('j');
  request.pool = line.Value('m');
  request.saveset = line.Value('s');
  if (request.server.empty()) {
    return Status::Failed("option -C with the server's name is missing");
  }
  Status read = line.Has('q') ? ReadQuery(line, request) : ReadOperation(line, request);
  const bool named = request.verb == Verb::kOpenJob || request.verb == Verb::kCloseJob || line.Has('q');
  if (read && named && !line.Has('s')) {
    return Status::Failed("option -s with the saveset's name is missing");
  }
  return read;
}
