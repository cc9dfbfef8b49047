// The two files of the caller: the input with its requests and the output with the results.
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

// Opens the input under its own name, otherwise in the caller's work directory, and reads it to its end. The
// later steps work on the lines in memory, so an input may be one that can be read only once. Nothing, with a
// message in the trace, if the file cannot be opened or read to its end.
[[nodiscard]] std::optional<InputFile> OpenInputFile(const std::string& name);

// Where the output for the next line is to be opened: under its own name, otherwise in the caller's work
// directory. Traces the opening, which comes next.
struct OutputFile {
  std::string path;
  bool isThere = false;
};
[[nodiscard]] OutputFile FindOutputFile(const std::string& name);

// Opens the file. An existing file is not emptied. Null if it cannot be opened.
[[nodiscard]] std::unique_ptr<platform::TextFile> OpenOutputFile(const OutputFile& output);

// Finds the file and opens it. "STDOUT" gives standard output.
[[nodiscard]] std::unique_ptr<platform::TextFile> OpenOutputFile(const std::string& name);

// A file of this run with the lines of an input that no other program can read. The destructor deletes it.
class SpooledInput {
 public:
  SpooledInput() = default;
  SpooledInput(const SpooledInput&) = delete;
  SpooledInput& operator=(const SpooledInput&) = delete;
  ~SpooledInput();

  // Writes the lines to a file under `saptrace` or, if that fails, in the system's temporary directory.
  // False, with a message in the trace, if both fail.
  [[nodiscard]] bool Write(const ItemList& lines);
  [[nodiscard]] const std::string& Path() const { return path_; }

 private:
  std::string path_;
};
