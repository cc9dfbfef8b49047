#include "platform/figures.h"

const int kLinesPerWriter = 2000;
const int kToolStarts = 1000;
