// The commands of korvo, one in a file. Each adds itself to the program's command line, and sets the exit
// status when it was the one that was asked for.
#pragma once

#include <CLI/CLI.hpp>

namespace korvo {

inline constexpr int kGood = 0;
inline constexpr int kFindings = 1;  // it ran, and what it found needs somebody's attention
inline constexpr int kCouldNotRun = 2;

void AddInit(CLI::App& program, int& exitStatus);
void AddList(CLI::App& program, int& exitStatus);
void AddShow(CLI::App& program, int& exitStatus);
void AddFind(CLI::App& program, int& exitStatus);
void AddProtect(CLI::App& program, int& exitStatus);
void AddKeep(CLI::App& program, int& exitStatus);
void AddExpire(CLI::App& program, int& exitStatus);
void AddMetrics(CLI::App& program, int& exitStatus);
void AddStats(CLI::App& program, int& exitStatus);
void AddRebuild(CLI::App& program, int& exitStatus);
void AddReport(CLI::App& program, int& exitStatus);
void AddRunning(CLI::App& program, int& exitStatus);
void AddVerify(CLI::App& program, int& exitStatus);
void AddRestore(CLI::App& program, int& exitStatus);
void AddCopy(CLI::App& program, int& exitStatus);

}  // namespace korvo
