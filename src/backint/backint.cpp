// The steps of a run, from the start of the process to its exit status.

#include <new>
#include <optional>
#include <string>

#include "backint/backup/backup.h"
#include "backint/base/memory_reserve.h"
#include "backint/base/print.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/inquire/inquire.h"
#include "backint/restore/restore.h"
#include "backint/server/com_interface.h"
#include "backint/setup/getopt.h"
#include "backint/setup/parameter_file.h"
#include "backint/setup/run_environment.h"
#include "common/trace_hook.h"
#include "platform/platform.h"

namespace {

constexpr const char* kTraceSource = "backint";
constexpr const char* kVersion = "Version 4.4 Build Revision: 1.23";
constexpr int kFailureStatus = 2;

int ErrorExit() {
  Print("Error Exiting ...\n");
  return kFailureStatus;
}

int UsageExit(const char* reason) {
  Print("\nProgram: TALkorvo BACKINT %s\n", kVersion);
  Print("\n%s\n", reason);
  Print(
      "Wrong Usage. USAGE: backint -u <user_id> [-f <function>] [-t <type>][-p <par_file>] [-i <in_file>] "
      "[-o <out_file>] [-c]\n");
  return ErrorExit();
}

// An option's field, whether its value is upper-cased, and its width.
struct ValueOption {
  char letter;
  std::string BackintParams::*field;
  bool upperCased;
  std::size_t width;
};

constexpr ValueOption kValueOptions[] = {
    {'u', &BackintParams::szUserId, true, kOptionWidth},
    {'f', &BackintParams::szFunction, true, kOptionWidth},
    {'t', &BackintParams::szType, true, kOptionWidth},
    {'p', &BackintParams::szParFile, false, kPathWidth},
    {'i', &BackintParams::szInFile, false, kPathWidth},
    {'o', &BackintParams::szOutFile, false, kPathWidth},
};

// False if the value is too long.
bool StoreOption(const ValueOption& option, const std::string& value) {
  if (value.size() > option.width) {
    Print("ERROR: Value of option -%c is too long.\n", option.letter);
    return false;
  }
  Params().*option.field = option.upperCased ? Upper(value) : value;
  return true;
}

// Takes one scanned option. Returns the exit status if the option ends the run.
std::optional<int> TakeOption(int letter, const char* value) {
  if (letter == 'c') {
    Params().bAttended = false;
    return std::nullopt;
  }
  for (const ValueOption& option : kValueOptions) {
    if (option.letter == letter) {
      return StoreOption(option, value) ? std::nullopt : std::optional<int>(ErrorExit());
    }
  }
  return UsageExit("Got wrong argument");
}

std::optional<int> ScanOptions(int argc, char** argv) {
  OptionScanner scanner(argc, argv, ":u:f:t:p:i:o:c");
  bool userSeen = false;
  for (int letter = scanner.Next(); letter != OptionScanner::kEnd; letter = scanner.Next()) {
    const std::optional<int> exitStatus = TakeOption(letter, scanner.Argument());
    if (exitStatus) {
      return exitStatus;
    }
    userSeen = userSeen || letter == 'u';
  }
  return userSeen ? std::nullopt : std::optional<int>(UsageExit("Argument user is missing"));
}

std::optional<int> ReadConfiguration() {
  if (!ReadEnvironment()) {
    return ErrorExit();
  }
  if (Params().szParFile == "NO") {
    Print("ERROR: Parameter file is not defined.\n");
    return ErrorExit();
  }
  if (ReadParameterFile() == RunResult::kFailure) {
    return ErrorExit();
  }
  return std::nullopt;
}

void SetTracePaths() {
  SetTraceFileName(Params().szTraceFile);
  SetTraceFileName(Params().szXfrTraceFile);
  SetComTraceFileName(Params().szComTraceFile);
}

RunResult CallFunction() {
  struct Function {
    const char* name;
    RunResult (*call)();
  };
  constexpr Function kFunctions[] = {{"BACKUP", Backup}, {"RESTORE", Restore}, {"INQUIRE", Inquire}};
  for (const Function& function : kFunctions) {
    if (Params().szFunction == function.name) {
      return function.call();
    }
  }
  TRACE(1, "ERROR: Function type unknown.");
  return RunResult::kFailure;
}

int Run(int argc, char** argv) {
  SetDefaults();
  if (const std::optional<int> exitStatus = ScanOptions(argc, argv)) {
    return *exitStatus;
  }
  if (const std::optional<int> exitStatus = ReadConfiguration()) {
    return *exitStatus;
  }
  SetTracePaths();
  TRACE(3, "%s", "");
  TRACE(1, "INFO: Backint (%s) started...", kVersion);
  TraceCommandParameters();
  const RunResult result = CallFunction();
  TRACE(1, "INFO: Backint finished.");
  TRACE(1, "INFO: backint exit code: %d", NumberOf(result));
  return NumberOf(result);
}

int MemoryExit() {
  platform::WriteWithoutMemory("ERROR: Allocation memory error.");
  return kFailureStatus;
}

int RunWithRecords(int argc, char** argv) {
  const MemoryReserve reserve;
  const RunRecords records;
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    CloseAfterExhaustedMemory();
    return MemoryExit();
  }
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  platform::EndOnInterrupt(true);
  platform::WatchInterrupts();
  cm_TraceHook = TraceFormatted;
  try {
    return RunWithRecords(argc, argv);
  } catch (const std::bad_alloc&) {
    return MemoryExit();
  }
}
