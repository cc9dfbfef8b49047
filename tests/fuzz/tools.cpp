#include "fuzz/tools.h"

#include <algorithm>

#include "backint/base/mover_words.h"
#include "fuzz/fuzz.h"
#include "platform/internal.h"
#include "xfr/request.h"

namespace fuzz {
namespace {

std::map<char, std::vector<std::string>> answers;
std::map<char, std::size_t> asked;
std::vector<ToolCall> calls;

std::string GoodAnswer(const ToolCall& call) {
  switch (call.verb) {
    case Verb::kOpen:
      return "reply=OK\nSESSIONID=17\n";
    case Verb::kOpenJob:
      return "reply=OK\nJOBNAME=job\nTAPE_SERVER=tape\nSAVESETNAME=SET@tail\n";
    case Verb::kMove:
      break;
    default:
      return "reply=OK\n";
  }
  std::string text;
  for (const std::string& item : call.items) {
    text += kSaysItemDone.Line() + " [" + item + "]\n";
  }
  return text + kSaysSuccessful.Line() + "\n";
}

std::string AnswerTo(const ToolCall& call) {
  const char verb = static_cast<char>(call.verb);
  const std::vector<std::string>& known = answers[verb];
  return known.empty() ? GoodAnswer(call) : known[std::min(asked[verb]++, known.size() - 1)];
}

Verb VerbOf(const std::vector<std::string>& words) {
  if (words.size() > 1 && (words[0] == "-b" || words[0] == "-r")) {
    const std::string name = words[1].substr(0, words[1].find(':'));
    return name == "open"       ? Verb::kOpen
           : name == "openjob"  ? Verb::kOpenJob
           : name == "closejob" ? Verb::kCloseJob
                                : Verb::kClose;
  }
  Require(!words.empty() && words[0] == "-q", "a call of the control tool opens, closes or asks");
  return Verb::kQuery;
}

// What the embedded server's mover makes of its command line.
void ReadItems(ToolCall& call) {
  std::vector<const char*> arguments = {"xfr"};
  std::transform(call.words.begin(), call.words.end(), std::back_inserter(arguments),
                 [](const std::string& word) { return word.c_str(); });
  Request request;
  if (ReadRequest(static_cast<int>(arguments.size()), arguments.data(), request)) {
    for (std::size_t i = 0; i < request.items.Size(); ++i) {
      call.items.emplace_back(request.items[i]);
    }
    call.destination = request.destination;
  }
}

std::unique_ptr<platform::ToolStream> Start(ToolCall call, bool isMover) {
  call.printed = AnswerTo(call);
  auto stream = std::make_unique<platform::ToolStream>(OpenStreamOf(call.printed), isMover);
  calls.push_back(std::move(call));
  return stream;
}

}  // namespace

void Tools::Answer(const std::vector<std::string>& pieces) {
  answers.clear();
  asked.clear();
  calls.clear();
  for (const std::string& piece : pieces) {
    if (!piece.empty()) {
      answers[piece[0]].push_back(piece.substr(1));
    }
  }
}

const std::vector<ToolCall>& Tools::Calls() { return calls; }

std::string Tools::Verbs() {
  std::string verbs;
  for (const ToolCall& call : calls) {
    verbs += static_cast<char>(call.verb);
  }
  return verbs;
}

void Tools::RequireAllWasRead() { Require(UnreadBytes() == 0, "what a tool prints is read to its end"); }

}  // namespace fuzz

// ---- In place of the platform layer's own ----

namespace platform {

std::unique_ptr<ToolStream> StartControlTool(const std::string& commandLine, const std::string& /*errorFile*/,
                                             std::string* /*why*/) {
  const internal::ProgramToken program = internal::FirstToken(commandLine);
  fuzz::ToolCall call;
  call.words = internal::SplitArguments(commandLine.substr(program.end));
  call.verb = fuzz::VerbOf(call.words);
  return fuzz::Start(std::move(call), false);
}

std::unique_ptr<ToolStream> StartDataMover(const std::string& /*program*/, const std::string& arguments,
                                           std::string* /*why*/) {
  fuzz::ToolCall call;
  call.verb = fuzz::Verb::kMove;
  call.words = internal::SplitArguments(arguments);
  fuzz::ReadItems(call);
  return fuzz::Start(std::move(call), true);
}

}  // namespace platform
