#include "backint/caller/result_line.h"

#include "backint/base/print.h"
#include "backint/base/trace.h"

namespace {

ResultLines* together = nullptr;

RunResult ResultOf(bool written) { return written ? RunResult::kSuccess : RunResult::kFailure; }

}  // namespace

// The output file for one line: one that is open already, or opened now.
class OutputForLine {
 public:
  explicit OutputForLine(const std::string& name) {
    if (together == nullptr) {
      file_ = OpenOutputFile(name);
      return;
    }
    // Nobody is told of each opening if no trace shows it.
    if (together->file_ == nullptr || TraceShows(2)) {
      OutputFile output = FindOutputFile(name);
      if (together->file_ == nullptr || !output.isThere || output.path != together->path_) {
        together->file_ = OpenOutputFile(output);
        KeepLock();
      }
      together->path_ = std::move(output.path);
    }
    file_ = std::move(together->file_);
  }
  [[nodiscard]] bool IsOpen() const { return file_ != nullptr; }

  // A file in which a line failed is opened anew for the next one.
  bool Write(const std::string& line) {
    const bool staysOpen = together != nullptr && file_->AppendsToFile();
    if (!staysOpen) {
      TraceBatch::WriteOut();  // a pipe may have nobody who reads it
    }
    if (!file_->Write(line + "\n")) {
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
  static void KeepLock() {
    if (together->file_ != nullptr && together->between_ == ResultLines::Between::kNothing) {
      together->file_->KeepLock();
    }
  }

  std::unique_ptr<platform::TextFile> file_;
};

namespace {

// `beforeWriting` speaks between the opening and the writing.
template <typename BeforeWriting>
RunResult WriteResultLine(const std::string& line, const BeforeWriting& beforeWriting) {
  const std::string& name = Params().szOutFile;
  if (name == "STDOUT") {
    beforeWriting();
    TraceBatch::WriteOut();
    return ResultOf(PrintText(line + "\n"));
  }
  OutputForLine output(name);
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

ResultLines::ResultLines(Between between) : between_(between), outer_(together) {
  together = this;
  if (between_ == Between::kNothing) {
    trace_.emplace();
  }
}

ResultLines::~ResultLines() { together = outer_; }

RunResult ResultLines::Close() {
  TraceBatch::WriteOut();
  const std::unique_ptr<platform::TextFile> file = std::move(file_);
  return ResultOf(file == nullptr || file->Close());
}

RunResult WriteBackupResult(const std::string& item, ItemStatus status) {
  return WriteResultLine(IsDone(status) ? "#SAVED " + Params().szBackupId + " " + item : "#ERROR " + item);
}

RunResult WriteRestoreResult(const std::string& file, ItemStatus status) {
  constexpr const char* kTraceSource = "backint_rest";
  TRACE(3, "Write outfile...");
  const std::string withId = " " + Params().szBackupId + " " + file;
  std::string line = "#ERROR " + file;
  std::string traced = line;
  if (IsDone(status)) {
    line = traced = "#RESTORED" + withId;
  } else if (status == ItemStatus::kNotHeld) {
    line = "#NOTFOUND " + file;
    traced = "#NOTFOUND" + withId;
  }
  return WriteResultLine(line, [&] { TRACE(3, "OUT: %s", traced.c_str()); });
}

RunResult WriteInquireResult(const std::string& backupId, const std::string& file, InquireStatus status) {
  switch (status) {
    case InquireStatus::kBackup:
      return WriteResultLine("#BACKUP " + backupId + " " + file);
    case InquireStatus::kError:
      return WriteResultLine("#ERROR " + file);
    case InquireStatus::kNotFound:
      break;
  }
  return WriteResultLine("#NOTFOUND " + file);
}
