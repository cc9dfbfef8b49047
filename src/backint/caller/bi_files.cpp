#include "backint/caller/bi_files.h"

#include <new>

#include "backint/base/input_lines.h"
#include "backint/base/path.h"
#include "backint/base/run_records.h"
#include "backint/base/trace.h"

namespace {

constexpr const char* kTraceSource = "backint_func";

using platform::TextFile;

// The directory is used unchanged: if it ends in a separator, the path has two.
std::string PathInWorkDirectory(const std::string& name) {
  const BackintParams& run = Params();
  return (run.szCaller == "BRARCHIVE" ? run.szSapArch : run.szSapBackup) + "\\" + name;
}

std::unique_ptr<TextFile> OpenForReading(const std::string& path) {
  std::unique_ptr<TextFile> file = TextFile::Open(path, TextFile::Mode::kRead);
  if (file != nullptr) {
    TRACE(3, "INFO: Open input file: %s.", path.c_str());
  }
  return file;
}

std::unique_ptr<TextFile> FindInput(const std::string& name, std::string& path) {
  path = name;
  if (name == "STDIN") {
    TRACE(3, "INFO: STDIN is used as input file.");
    return TextFile::StandardInput();
  }
  std::unique_ptr<TextFile> file = OpenForReading(path);
  if (file == nullptr) {
    TRACE(2, "WARNING: cannot open input file: %s.", name.c_str());
    path = PathInWorkDirectory(name);
    file = OpenForReading(path);
  }
  if (file == nullptr) {
    TRACE(1, "ERROR: cannot open input file: %s.", path.c_str());
  }
  return file;
}

OutputFile Existing(const std::string& path) {
  TRACE(3, "INFO: Open output file: %s.", path.c_str());
  return {path, true};
}

OutputFile Missing(const std::string& path) {
  TRACE(3, "INFO: Creating output file: %s.", path.c_str());
  return {path, false};
}

bool WriteLines(TextFile& file, const ItemList& lines) {
  for (const std::string& line : lines) {
    if (!file.Write(line + "\n")) {
      return false;
    }
  }
  return file.Close();
}

}  // namespace

std::optional<InputFile> OpenInputFile(const std::string& name) {
  InputFile input;
  const std::unique_ptr<TextFile> file = FindInput(name, input.path);
  if (file == nullptr) {
    return std::nullopt;
  }
  InputLines lines(*file);
  for (std::string line; lines.Next(line);) {
    input.lines.Push(line);
  }
  if (lines.Failed()) {
    TRACE(1, "ERROR: Reading input file failed: %s.", input.path.c_str());
    return std::nullopt;
  }
  input.rereadable = name != "STDIN" && file->Rewind();
  return input;
}

OutputFile FindOutputFile(const std::string& name) {
  if (FileExists(name)) {
    return Existing(name);
  }
  TRACE(2, "WARNING: cannot open output file: %s.", name.c_str());
  if (IsFullPath(name)) {
    return Missing(name);
  }
  const std::string path = PathInWorkDirectory(name);
  return FileExists(path) ? Existing(path) : Missing(path);
}

// For appending: this creates a missing file and never empties an existing one.
std::unique_ptr<TextFile> OpenOutputFile(const OutputFile& output) {
  std::unique_ptr<TextFile> file = TextFile::Open(output.path, TextFile::Mode::kAppend);
  if (file == nullptr && !output.isThere) {
    TRACE(3, "INFO: Creating output file: %s failed.", output.path.c_str());
  }
  return file;
}

std::unique_ptr<TextFile> OpenOutputFile(const std::string& name) {
  if (name == "STDOUT") {
    TRACE(3, "INFO: STDOUT is used as output file.");
    return TextFile::StandardOutput();
  }
  return OpenOutputFile(FindOutputFile(name));
}

bool SpooledInput::Write(const ItemList& lines) {
  for (const std::string& directory :
       {WithSeparator(Params().szSapDataHome) + "saptrace", platform::TemporaryDirectory()}) {
    const std::unique_ptr<TextFile> file = TextFile::CreateTemporary(directory, path_);
    if (file != nullptr && WriteLines(*file, lines)) {
      return true;
    }
    if (file != nullptr) {
      file->Close();
      platform::RemoveFile(path_);
      path_.clear();
    }
  }
  TRACE(1, "ERROR: Could not create temporary input file: [%s].", Params().szInFile.c_str());
  return false;
}

SpooledInput::~SpooledInput() {
  try {
    if (!path_.empty()) {
      platform::RemoveFile(path_);
    }
  } catch (const std::bad_alloc&) {
    return;  // the file stays
  }
}
