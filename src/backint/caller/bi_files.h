// The two files through which the caller hands over its work and reads the results.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "backint/base/item_list.h"
#include "platform/platform.h"

// An input file that was read to its end.
struct InputFile {
  std::string path;         // where it was found; "STDIN" for standard input
  ItemList lines;           // by the rules of InputLines
  bool rereadable = false;  // whether another program can read it at `path` once more
};

// Opens the input under its own name, else in the caller's work directory, and reads it to its end: what
// comes later works on the lines that are held, so that an input that can be read only once serves as well as
// any. None, with its message traced, if it cannot be opened or reading fails on the way.
[[nodiscard]] std::optional<InputFile> OpenInputFile(const std::string& name);

// The path of the output for one more line, as it is to be opened: its own name, else in the caller's work
// directory. Tells of the opening, which comes next.
struct OutputFile {
  std::string path;
  bool isThere = false;
};
[[nodiscard]] OutputFile FindOutputFile(const std::string& name);

// Opens it; an existing file is never emptied. None if it cannot be opened.
[[nodiscard]] std::unique_ptr<platform::TextFile> OpenOutputFile(const OutputFile& output);

// Both at once. "STDOUT" gives standard output.
[[nodiscard]] std::unique_ptr<platform::TextFile> OpenOutputFile(const std::string& name);

// A file of this run's own that holds the lines of an input that nobody else can read; deleted at its end.
class SpooledInput {
 public:
  SpooledInput() = default;
  SpooledInput(const SpooledInput&) = delete;
  SpooledInput& operator=(const SpooledInput&) = delete;
  ~SpooledInput();

  // Writes the lines under `saptrace`, or in the system's temporary directory if that cannot be used. False,
  // with its message traced, if there is no room for them in either.
  [[nodiscard]] bool Write(const ItemList& lines);
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};
