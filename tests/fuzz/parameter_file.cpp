// The parameter file: what is taken is within its limits, and comes back when it is written anew.
#include "backint/setup/parameter_file.h"

#include <algorithm>

#include "backint/base/text.h"
#include "backint/setup/parameter_keys.h"
#include "fuzz/fuzz.h"
#include "fuzz/stories.h"
#include "fuzz/workplace.h"

namespace fuzz {
namespace {

// What the caller's defaults and the file have made of the keys that can be written back as they are.
std::string Rewritten() {
  std::string text;
  for (const ParameterKey& key : kParameterKeys) {
    const std::string name = key.name;
    // The server has its login behind it by now, and what is missing was filled in.
    if (key.field != nullptr && key.field != &SessionData::szServer && !(Server().*key.field).empty()) {
      text += name + "=" + Server().*key.field + "\n";
    }
  }
  return text + "KORVO_SERVER=" + Server().szServer.substr(0, Server().szServer.find(':')) +
         "\nSAVESET_SIZE=" + Params().szSavesetSize +
         "\nBI_TRACE_LEVEL=" + std::to_string(Params().nTraceLevel) +
         "\nDIRECTORY_XFR_USE=" + (Params().bDirectoryXfrUse ? "yes" : "no") + "\n";
}

RunResult ReadText(std::string_view text) {
  Workplace::Write("init.par", text);
  SetDefaults();
  Server() = SessionData();
  Server().szXfrTraceLevel = Server().szComTraceLevel = "2";
  Params().bDirectoryXfrUse = false;
  Params().szParFile = "init.par";
  return ReadParameterFile();
}

void CheckLimits() {
  for (const ParameterKey& key : kParameterKeys) {
    const std::size_t size = key.field == nullptr ? 0 : (Server().*key.field).size();
    Require(key.limit == 0 || size <= key.limit, "a value is within its limit", key.name);
    Require(key.field == nullptr || (Server().*key.field).find_first_of("\n ") == std::string::npos ||
                key.field == &SessionData::szServer,
            "a value ends at its first blank", key.name);
  }
  Require(Params().szSavesetSize.size() <= kSavesetSizeWidth, "a saveset's size is within its limit");
  for (const auto& field : {Server().szServer, Server().szJobName, Server().szPool}) {
    Require(!field.empty(), "what has to be set is set");
  }
  Require(IsNumber(Server().szXfrTraceLevel) && ToNumber(Server().szXfrTraceLevel) >= 2,
          "the mover's trace level is a number from 2 on", Server().szXfrTraceLevel);
}

void Run(std::string_view text) {
  const RunOfProgram program("BACKUP");
  if (ReadText(text) == RunResult::kFailure) {
    Require(!RunOfProgram::Printed().empty(), "a failure is told");
    return;
  }
  CheckLimits();
  const std::string first = Rewritten();
  if (first.find('\r') != std::string::npos || Server().szServer.find(':') == 0) {
    return;
  }
  Require(ReadText(first) == RunResult::kSuccess, "what was read can be read again", first);
  Require(Rewritten() == first, "what was read is read again", first);
}

void Seed(Corpus& corpus) {
  const std::string all =
      "KORVO_SERVER=server\nKORVO_JOB = job\nkorvo_pool=pool\nXFR=xfr\nXFR_COM_INTERFACE=com\n"
      "KORVO_RAW_UTIL=none\n";
  corpus.Add(all);
  corpus.Add("\xEF\xBB\xBF" + all +
             "PORT=4711\nUSERNAME=me\nPASSWORD=secret\nKORVO_TAPE=t\nKORVO_DRIVE=d\n"
             "KORVO_TAPESERVER=tape\nSAVESET_SIZE=100\nDIRECTORY_XFR_USE=YES\nBI_TRACE_LEVEL=2\n"
             "XFR_TRACE_LEVEL=5\nXFR_COM_TRACE_LEVEL=3\r\n");
  for (const Story& story : Stories()) {
    for (const Section& section : story.sections) {
      if (section.name == "parameters" || section.name == "parameter file") {
        corpus.Add((section.name == "parameters" ? all : "") + section.text);
      }
    }
  }
}

std::vector<std::string> Words() {
  std::vector<std::string> words;
  std::transform(kParameterKeys.begin(), kParameterKeys.end(), std::back_inserter(words),
                 [](const ParameterKey& key) { return std::string(key.name) + "="; });
  return words;
}

}  // namespace

const Target kParameterFile = {"parameter_file", Run, Seed, Words()};

}  // namespace fuzz
