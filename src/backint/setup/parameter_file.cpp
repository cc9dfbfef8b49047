#include "backint/setup/parameter_file.h"

#include <string>
#include <string_view>

#include "backint/base/path.h"
#include "backint/base/print.h"
#include "backint/base/text.h"
#include "backint/base/trace.h"
#include "backint/setup/parameter_keys.h"
#include "platform/platform.h"

namespace {

RunResult TooLong(const char* key) {
  Print("ERROR: Value of key (%s) in parameter file is too long.\n", key);
  return RunResult::kFailure;
}

RunResult StoreText(const char* key, const std::string& value, std::size_t width, std::string& field) {
  if (value.size() > width) {
    return TooLong(key);
  }
  field = value;
  return RunResult::kSuccess;
}

RunResult StoreElsewhere(const ParameterKey& key, const std::string& value) {
  const std::string_view name = key.name;
  if (name == "BI_TRACE_LEVEL") {
    Params().nTraceLevel = ToNumber(value);
  } else if (name == "SAVESET_SIZE") {
    return StoreText(key.name, value, key.limit, Params().szSavesetSize);
  } else if (name == "DIRECTORY_XFR_USE") {
    Params().bDirectoryXfrUse = Params().bDirectoryXfrUse || Upper(value) == "YES";
  }
  return RunResult::kSuccess;
}

RunResult StoreValue(const std::string& name, const std::string& value) {
  for (const ParameterKey& key : kParameterKeys) {
    if (name == key.name) {
      return key.field == nullptr ? StoreElsewhere(key, value)
                                  : StoreText(key.name, value, key.limit, Server().*key.field);
    }
  }
  return RunResult::kSuccess;
}

// Takes one line `key=value`, in any letter case. Any other line is ignored.
RunResult TakeLine(std::string line) {
  StripNewline(line);
  const std::size_t sign = line.find('=');
  std::string value;
  if (sign == std::string::npos || !GetKeyValue(line, value) || value.empty()) {
    return RunResult::kSuccess;
  }
  std::string key = line.substr(0, sign);
  TrimBlanks(key);
  ToUpper(key);
  return StoreValue(key, value);
}

std::string FindParameterFile() {
  const BackintParams& run = Params();
  if (FileExists(run.szParFile)) {
    return run.szParFile;
  }
  return WithSeparator(run.szOracleHome) + "Database\\" + run.szParFile;
}

void SkipByteOrderMark(std::string& line) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (line.starts_with(kMark)) {
    line.erase(0, kMark.size());
  }
}

RunResult ReadLines() {
  const auto file = platform::TextFile::Open(FindParameterFile(), platform::TextFile::Mode::kRead);
  if (file == nullptr) {
    Print("WARNING: Cannot open parameter file.\n");
    return RunResult::kFailure;
  }
  std::string line;
  for (bool first = true; file->ReadLine(line, kReplyLineWidth); first = false) {
    if (first) {
      SkipByteOrderMark(line);
    }
    if (TakeLine(line) == RunResult::kFailure) {
      return RunResult::kFailure;
    }
  }
  if (file->ReadFailed()) {
    Print("ERROR: Reading parameter file failed.\n");
    return RunResult::kFailure;
  }
  return RunResult::kSuccess;
}

RunResult CheckMandatoryKey(const char* key, const std::string& field) {
  if (field.empty()) {
    Print("Mandatory key (%s) is not set in parameter file.\n", key);
    return RunResult::kFailure;
  }
  return RunResult::kSuccess;
}

// The server, followed by port, user and password, joined by colons.
std::string ServerLogin() {
  const SessionData& server = Server();
  std::string login = server.szServer;
  const auto append = [&login](const std::string& value) {
    if (!EndsWithChar(login, ':')) {
      login += ':';
    }
    login += value;
  };
  if (!IsBlank(server.szPort)) {
    append(server.szPort);
  }
  if (!IsBlank(server.szUserName)) {
    append(server.szUserName);
    append(server.szPassword);
  }
  return login;
}

// The server and its login are passed on as one value, which has one limit.
RunResult AddLogin() {
  SessionData& server = Server();
  const std::string login = ServerLogin();
  if (login.size() > kServerWidth) {
    return TooLong("KORVO_SERVER");
  }
  server.szBareTapeServer = server.szTapeServer.empty() ? server.szServer : server.szTapeServer;
  server.szServer = login;
  return RunResult::kSuccess;
}

// The product's install directory. A failure is written to standard output.
RunResult GetInstallDir(std::string& directory) {
  switch (platform::InstallDirectory(directory)) {
    case platform::InstallDirResult::kFound:
      return RunResult::kSuccess;
    case platform::InstallDirResult::kNoKey:
      Print("ERROR: Cannot get registry directory SOFTWARE\\Talvani Systeme GmbH\\korvo.\n");
      break;
    case platform::InstallDirResult::kNoValue:
      Print("ERROR: Cannot get registry key: KV_BIN_KORVO.\n");
      break;
  }
  return RunResult::kFailure;
}

// The path of a program or file of the product in its install directory.
RunResult InstalledPath(const char* name, const char* tool, std::string& path) {
  std::string directory;
  if (GetInstallDir(directory) == RunResult::kFailure) {
    Print("Could not find %s Default Installation Directory.\n", tool);
    return RunResult::kFailure;
  }
  path = WithSeparator(directory) + name;
  return RunResult::kSuccess;
}

RunResult DefaultXfrPath() {
  std::string& field = Server().szXfrPath;
  std::string path;
  if (!field.empty()) {
    return RunResult::kSuccess;
  }
  if (InstalledPath("xfr.exe", "XFR", path) == RunResult::kFailure) {
    return RunResult::kFailure;
  }
  return StoreText("XFR", platform::InstalledProgram(path), kToolPathWidth, field);
}

RunResult DefaultComInterfacePath() {
  std::string& field = Server().szComInterfacePath;
  std::string path;
  if (!field.empty()) {
    return RunResult::kSuccess;
  }
  if (InstalledPath("xfr_com_interface.exe", "XFR_COM_INTERFACE", path) == RunResult::kFailure) {
    return RunResult::kFailure;
  }
  const std::string program = platform::InstalledProgram(path);
  if (!FileExists(program)) {
    Print("ERROR: Cannot find xfr_com_interface utility [%s]", path.c_str());
    return RunResult::kFailure;
  }
  if (program.size() > kToolPathWidth) {
    return TooLong("XFR_COM_INTERFACE");
  }
  field = FormatText("\"%s\"", program.c_str()).substr(0, kToolPathWidth);
  return RunResult::kSuccess;
}

RunResult DefaultRawUtil() {
  std::string& field = Server().szRawUtil;
  return field.empty() ? InstalledPath("xfr_raw_backup.sh", "XFR", field) : RunResult::kSuccess;
}

void RaiseXfrTraceLevel() {
  std::string& level = Server().szXfrTraceLevel;
  if (!IsNumber(level) || ToNumber(level) < 2) {
    level = "2";
  }
}

}  // namespace

RunResult ReadParameterFile() {
  const auto failed = [](RunResult result) { return result == RunResult::kFailure; };
  const SessionData& server = Server();
  if (failed(ReadLines()) || failed(CheckMandatoryKey("KORVO_SERVER", server.szServer)) ||
      failed(CheckMandatoryKey("KORVO_JOB", server.szJobName)) ||
      failed(CheckMandatoryKey("KORVO_POOL", server.szPool)) || failed(AddLogin()) ||
      failed(DefaultXfrPath()) || failed(DefaultComInterfacePath()) || failed(DefaultRawUtil())) {
    return RunResult::kFailure;
  }
  RaiseXfrTraceLevel();
  return RunResult::kSuccess;
}
