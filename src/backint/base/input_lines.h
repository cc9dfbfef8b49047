// The rules that every reader of an input file shares.
#pragma once

#include <string>

#include "platform/platform.h"

// Delivers the lines of a text file: without line end, without blanks at both ends, empty ones passed over.
class InputLines {
 public:
  explicit InputLines(platform::TextFile& file) : file_(file) {}

  // The next line; false at the end, and when reading failed (`Failed`).
  [[nodiscard]] bool Next(std::string& line);
  // The next line as the name of an item: one more carriage return at its end is taken off.
  [[nodiscard]] bool NextName(std::string& name);
  [[nodiscard]] bool Failed() const { return file_.ReadFailed(); }

 private:
  platform::TextFile& file_;
};
