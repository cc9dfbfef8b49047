#include "backint/backint_util/input_lines.h"

#include "backint/backint_util/text.h"
#include "backint/run_records.h"

bool InputLines::Next(std::string& line) {
  while (file_.ReadLine(line, kPathWidth)) {
    StripNewline(line);
    if (!IsEmptyLine(line)) {
      return true;
    }
  }
  return false;
}
