// What the tests of interrupts need of each system.
#pragma once

#include <cstdio>

// From here on this process takes a Ctrl-C, however it was started: a job in the background of a script
// ignores it.
void TakeInterruptsHere();

// This process gets a Ctrl-C.
void InterruptHere();

// A pipe, open for writing, that is held open and never read.
std::FILE* UnreadPipe();
