#include "backint/base/input_lines.h"

#include "backint/base/run_records.h"
#include "backint/base/text.h"

bool InputLines::Next(std::string& line) {
  while (file_.ReadLine(line, kPathWidth)) {
    StripNewline(line);
    if (!IsEmptyLine(line)) {
      TrimBlanks(line);  // blanks before a second carriage return
      return true;
    }
  }
  return false;
}

bool InputLines::NextName(std::string& name) {
  const bool there = Next(name);
  StripNewline(name);
  TrimBlanks(name);
  return there;
}
