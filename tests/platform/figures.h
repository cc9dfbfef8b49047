// How much of a thing a test does on a system: some systems are slow to start processes.
#pragma once

extern const int kLinesPerWriter;
extern const int kToolStarts;
