// The owner's tool: makes repositories, looks into them, deletes, and mends.
#include "korvo/commands.h"
#include "korvo/output.h"
#include "platform/platform.h"
#include "store/last_words.h"

namespace {

int Run(int argc, char** argv) {
  korvo::Program program;
  korvo::AddInit(program);
  korvo::AddList(program);
  korvo::AddShow(program);
  korvo::AddFind(program);
  korvo::AddStats(program);
  korvo::AddProtect(program);
  korvo::AddKeep(program);
  korvo::AddExpire(program);
  korvo::AddMetrics(program);
  korvo::AddRebuild(program);
  korvo::AddReport(program);
  korvo::AddRunning(program);
  korvo::AddVerify(program);
  korvo::AddRestore(program);
  korvo::AddCopy(program);
  const int exitStatus = program.Run(argc, argv);
  if (!korvo::FinishOutput()) {
    korvo::Complain("not all of the answer could be written to standard output");
    return korvo::kCouldNotRun;
  }
  return exitStatus;
}

}  // namespace

int main(int argc, char** argv) {
  platform::PrepareProcess();
  store::SetLastWords("korvo: ", korvo::kCouldNotRun);
  return Run(argc, argv);
}
