// The commands of korvo, one in a file (`keep` is in protect.cpp). Each adds itself to the command line.
#pragma once

#include "korvo/command.h"

namespace korvo {

void AddInit(Program& program);
void AddList(Program& program);
void AddShow(Program& program);
void AddFind(Program& program);
void AddStats(Program& program);
void AddProtect(Program& program);
void AddKeep(Program& program);
void AddExpire(Program& program);
void AddMetrics(Program& program);
void AddRebuild(Program& program);
void AddReport(Program& program);
void AddRunning(Program& program);
void AddVerify(Program& program);
void AddRestore(Program& program);
void AddCopy(Program& program);

}  // namespace korvo
