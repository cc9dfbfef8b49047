#include "platform/figures.h"

const int kLinesPerWriter = 300;
const int kToolStarts = 200;
