#include "backint/base/run_records.h"

#include <memory>

namespace {

std::unique_ptr<BackintParams> params;
std::unique_ptr<SessionData> server;

}  // namespace

void FoldResult(RunResult& stored, RunResult next) {
  if (NumberOf(next) > NumberOf(stored)) {
    stored = next;
  }
}

BackintParams& Params() { return *params; }
SessionData& Server() { return *server; }

RunRecords::RunRecords() {
  params = std::make_unique<BackintParams>();
  server = std::make_unique<SessionData>();
}

RunRecords::~RunRecords() {
  server.reset();
  params.reset();
}

void SetDefaults() {
  BackintParams& run = Params();
  run.szFunction = "BACKUP";
  run.szType = "FILE";
  run.szParFile = "NO";
  run.szInFile = "STDIN";
  run.szOutFile = "STDOUT";
  run.bAttended = true;
  run.nTraceLevel = 3;
  run.szTraceFile = "backint";
  run.szXfrTraceFile = "xfr";
  run.szSavesetSize = "50000";
  Server().szXfrTraceLevel = "2";
  Server().szComTraceLevel = "2";
}
