#include "backint/caller/result_line.h"

#include <initializer_list>
#include <new>
#include <string_view>
#include <utility>

#include "backint/base/print.h"
#include "backint/base/trace.h"

namespace {

// When so many bytes wait, they are written.
constexpr std::size_t kMostGathered = 65536;
ResultLines* together = nullptr;

RunResult ResultOf(bool written) { return written ? RunResult::kSuccess : RunResult::kFailure; }

}  // namespace

// The output file for one text: a file that is open already, or one that is opened now.
class OutputForText {
 public:
  explicit OutputForText(const std::string& name) {
    if (together == nullptr) {
      file_ = OpenOutputFile(name);
      return;
    }
    // Each opening is looked up and traced. If no trace shows that, an open file is used as it is.
    if (together->file_ == nullptr || TraceShows(2)) {
      OutputFile output = FindOutputFile(name);
      if (together->file_ == nullptr || !output.isThere || output.path != together->path_) {
        together->file_ = OpenOutputFile(output);
        if (together->file_ != nullptr) {
          together->file_->KeepLock();
        }
      }
      together->path_ = std::move(output.path);
    }
    file_ = std::move(together->file_);
  }
  [[nodiscard]] bool IsOpen() const { return file_ != nullptr; }

  // After a failed text, the file is opened anew for the next one.
  bool Write(std::string_view text) {
    const bool staysOpen = together != nullptr && file_->AppendsToFile();
    if (!staysOpen) {
      TraceBatch::WriteOut();  // writing to a pipe may wait for its reader
    }
    if (!file_->Write(text)) {
      return false;
    }
    if (!staysOpen) {
      return file_->Close();
    }
    const bool written = file_->Flush();
    together->file_ = written ? std::move(file_) : nullptr;
    return written;
  }

 private:
  std::unique_ptr<platform::TextFile> file_;
};

namespace {

std::string Line(std::initializer_list<std::string_view> parts) {
  std::size_t size = 1;
  for (const std::string_view part : parts) {
    size += part.size();
  }
  std::string line;
  line.reserve(size);
  for (const std::string_view part : parts) {
    line += part;
  }
  return line += '\n';
}

// `beforeWriting` is called between the opening and the writing.
template <typename BeforeWriting>
RunResult WriteResultLine(const std::string& line, const BeforeWriting& beforeWriting) {
  const std::string& name = Params().szOutFile;
  if (name == "STDOUT") {
    beforeWriting();
    TraceBatch::WriteOut();
    return ResultOf(PrintText(line));
  }
  if (together != nullptr && !TraceShows(1)) {
    return together->Gather(line);
  }
  OutputForText output(name);
  if (!output.IsOpen()) {
    return RunResult::kFailure;
  }
  beforeWriting();
  return ResultOf(output.Write(line));
}

RunResult WriteResultLine(const std::string& line) {
  return WriteResultLine(line, [] {});
}

bool IsDone(ItemStatus status) {
  return status == ItemStatus::kDone || status == ItemStatus::kDoneWithWarnings;
}

}  // namespace

ResultLines::ResultLines() : outer_(together) { together = this; }

ResultLines::~ResultLines() {
  try {
    WriteGathered();
  } catch (const std::bad_alloc&) {
    gathered_.clear();  // the lines are lost, the run is not
  }
  together = outer_;
}

RunResult ResultLines::Gather(std::string_view line) {
  gathered_ += line;
  return ResultOf(gathered_.size() < kMostGathered || WriteGathered());
}

// Writes all lines at once or, if that fails, as many of them as possible.
bool ResultLines::WriteGathered() {
  if (gathered_.empty()) {
    return true;
  }
  const std::string lines = std::exchange(gathered_, {});
  const auto write = [](std::string_view text) {
    OutputForText output(Params().szOutFile);
    return output.IsOpen() && output.Write(text);
  };
  bool written = write(lines);
  if (!written) {
    written = true;
    for (std::size_t begin = 0, end = 0; begin < lines.size(); begin = end) {
      end = lines.find('\n', begin) + 1;
      written = write(std::string_view(lines).substr(begin, end - begin)) && written;
    }
  }
  return written;
}

RunResult ResultLines::Close() {
  TraceBatch::WriteOut();
  const bool written = WriteGathered();
  const std::unique_ptr<platform::TextFile> file = std::move(file_);
  return ResultOf((file == nullptr || file->Close()) && written);
}

RunResult WriteBackupResult(const std::string& item, ItemStatus status) {
  return WriteResultLine(IsDone(status) ? Line({"#SAVED ", Params().szBackupId, " ", item})
                                        : Line({"#ERROR ", item}));
}

RunResult WriteRestoreResult(const std::string& file, ItemStatus status) {
  constexpr const char* kTraceSource = "backint_rest";
  TRACE(3, "Write outfile...");
  const std::string& id = Params().szBackupId;
  if (IsDone(status)) {
    const std::string line = Line({"#RESTORED ", id, " ", file});
    return WriteResultLine(line, [&] { TRACE(3, "OUT: #RESTORED %s %s", id.c_str(), file.c_str()); });
  }
  if (status == ItemStatus::kNotHeld) {
    return WriteResultLine(Line({"#NOTFOUND ", file}),
                           [&] { TRACE(3, "OUT: #NOTFOUND %s %s", id.c_str(), file.c_str()); });
  }
  return WriteResultLine(Line({"#ERROR ", file}), [&] { TRACE(3, "OUT: #ERROR %s", file.c_str()); });
}

RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status) {
  switch (status) {
    case InquireStatus::kBackup:
      return WriteResultLine(Line({"#BACKUP ", backupId, " ", file}));
    case InquireStatus::kError:
      return WriteResultLine(Line({"#ERROR ", file}));
    case InquireStatus::kNotFound:
      break;
  }
  return WriteResultLine(Line({"#NOTFOUND ", file}));
}
