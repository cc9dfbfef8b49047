// How the lines of an input file are read. All readers share these rules.
#pragma once

#include <string>

#include "platform/platform.h"

// Reads a text file line by line. Removes the line end and the blanks at both ends, and skips empty lines.
// The file is borrowed.
class InputLines {
 public:
  explicit InputLines(platform::TextFile& file) : file_(file) {}

  // Gives the next line. False at the end of the file, and if reading failed (`Failed` tells which).
  [[nodiscard]] bool Next(std::string& line);
  // Gives the next line as the name of an item: one more carriage return at its end is removed.
  [[nodiscard]] bool NextName(std::string& name);
  [[nodiscard]] bool Failed() const { return file_.ReadFailed(); }

 private:
  platform::TextFile& file_;
};
