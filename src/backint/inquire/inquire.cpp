#include "backint/inquire/inquire.h"

#include <optional>
#include <string>
#include <vector>

#include "backint/base/interrupt.h"
#include "backint/base/text.h"
#include "backint/base/tokens.h"
#include "backint/base/trace.h"
#include "backint/caller/bi_files.h"
#include "backint/caller/input_list.h"
#include "backint/caller/result_line.h"
#include "backint/server/query.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint_inqu";

RunResult InquireItem(const Question& question) {
  Params().szBackupId = question.backupId;
  const bool interrupted = RunIsInterrupted();
  if (interrupted || question.backupId.size() > kBackupIdWidth) {
    if (!interrupted) {
      TellLongBackupId(question.backupId);
    }
    static_cast<void>(WriteInquireResult(question.backupId, question.file, InquireStatus::kError));
    return RunResult::kFailure;
  }
  return QueryBackups(question);
}

RunResult InquireList(const ItemList& lines) {
  RunResult result = RunResult::kSuccess;
  platform::EndOnInterrupt(false);
  for (const std::string& line : lines) {
    std::vector<std::string> tokens = SplitTokens(line);
    const bool extraWords = tokens.size() > 2;
    tokens.resize(2);
    TRACE(3, "INFO: Input BackupId Item: %s.", tokens[0].c_str());
    TRACE(3, "INFO: Input File Item: %s.", tokens[1].c_str());
    if (extraWords) {
      TellExtraWords(line, kTraceSource);
    }
    FoldResult(result, InquireItem({tokens[0], tokens[1]}));
  }
  return result;
}

}  // namespace

RunResult Inquire() {
  TRACE(1, "INFO: Inquire() ...");
  const std::optional<InputFile> input = OpenInputFile(Params().szInFile);
  if (!input) {
    return RunResult::kFailure;
  }
  TraceInputList(input->lines);
  RunResult result = InquireList(input->lines);
  if (RunIsInterrupted()) {
    result = RunResult::kFailure;
  }
  TRACE(1, "INFO: Inquire() finished. Return value: %d.", NumberOf(result));
  return result;
}
