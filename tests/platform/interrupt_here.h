// What the tests of interrupts need of each system.
#pragma once

#include <cstdio>

// This process gets a Ctrl-C.
void InterruptHere();

// A pipe, open for writing, that is held open and never read.
std::FILE* UnreadPipe();
