#include "fuzz/workplace.h"

#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "backint/base/format.h"
#include "backint/base/print.h"
#include "fuzz/fuzz.h"
#include "platform/platform.h"

namespace fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* kResults = "out.lis";

std::string directory;
std::string printed;
std::uint64_t milliseconds = 0;

void Leave() {
  std::error_code ignored;
  fs::current_path("/", ignored);
  fs::remove_all(directory, ignored);
}

// Nobody waits. Meanwhile BRBACKUP answers whoever asks it.
void Sleep(std::uint32_t slept) {
  milliseconds += slept;
  if (fs::exists("sapbackup/.switch.sem")) {
    Workplace::Write("sapbackup/.switch.log", "#SUCCESS\n");
    fs::remove("sapbackup/.switch.lis");
    fs::remove("sapbackup/.switch.sem");
  }
}

}  // namespace

void Workplace::Enter() {
  directory = (fs::temp_directory_path() / ("fuzz_" + std::to_string(std::random_device()()))).string();
  fs::create_directories(directory);
  fs::current_path(directory);
  std::atexit(Leave);
  for (const char* name :
       {"home/saptrace", "home of all/saptrace", "-home/saptrace", "@home/saptrace", "sapbackup", "saparch",
        "oracle/Database", "data", "data/dir/sub/low", "data/empty"}) {
    fs::create_directories(name);
  }
  for (const char* name :
       {"data/a.dbf", "data/b.dbf", "data/with blank.dbf", "data/log_1.dbf", "data/cntrl.ctl", "data/dir/x",
        "data/dir/y", "data/dir/sub/z", "data/init.ora", "xfr.exe"}) {
    Write(name, "bytes");
  }
  platform::ReplaceClock({Sleep, [] { return milliseconds; }});
}

const std::string& Workplace::Directory() { return directory; }

void Workplace::Write(const std::string& name, std::string_view text) {
  std::ofstream file(name, std::ios::binary | std::ios::trunc);
  file.write(text.data(), static_cast<std::streamsize>(text.size()));
  file.close();
  Require(!file.fail(), "a file can be written", name);
}

std::string Workplace::Read(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

RunOfProgram::RunOfProgram(const char* function) {
  printed.clear();
  SetDefaults();
  BackintParams& run = Params();
  run.szFunction = function;
  run.szInFile = "in.lis";
  run.szOutFile = kResults;
  run.szCaller = "BRBACKUP";
  run.szSapBackup = "sapbackup";
  run.szSapArch = "saparch";
  run.szSapDataHome = "home";
  run.szOracleHome = "oracle";
  run.szOracleSid = "C11";
  run.nTraceLevel = 0;
  run.szTraceFile = "home\\saptrace\\backint.log";
  run.szXfrTraceFile = "home\\saptrace\\xfr.log";
  SessionData& server = Server();
  server.szServer = server.szBareTapeServer = "server";
  server.szJobName = "job";
  server.szPool = "pool";
  server.szXfrPath = "xfr";
  server.szComInterfacePath = "xfr_com_interface";
  for (const char* name : {"sapbackup/.switch.lis", "sapbackup/.switch.sem", "sapbackup/.switch.log"}) {
    platform::RemoveFile(name);
  }
  Workplace::Write(kResults, "");
  Workplace::Write("home/saptrace/backint.log", "");
  Workplace::Write("home/saptrace/xfr.log", "");
}

RunOfProgram::~RunOfProgram() = default;

const std::string& RunOfProgram::Printed() { return printed; }

std::vector<std::string> RunOfProgram::ResultLines() { return LinesOf(Workplace::Read(kResults)); }

}  // namespace fuzz

// ---- In place of the program's own, which write to the streams of the fuzzer ----

void Print(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  fuzz::printed += FormatArguments(format, arguments);
  va_end(arguments);
}

bool PrintText(std::string_view text) {
  fuzz::printed += text;
  return true;
}

void TellOnStandardError(const std::string& sentence) { static_cast<void>(sentence); }
