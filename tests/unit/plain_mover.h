// The handling of a mover's lines as plain loops over a job's items: slow, and simple enough to be checked by
// reading. The program's look-ups have to come to the same.
#pragma once

#include <algorithm>
#include <optional>
#include <string>

#include "backint/base/path.h"
#include "backint/base/run_records.h"
#include "backint/base/text.h"
#include "platform/platform.h"
#include "support/scenario.h"

struct MoverJob {
  Lines items;
  bool logRun = false;  // the items stand in the list file
  std::string listFile = "items";
  bool restore = false;      // else a backup
  std::string destination;   // of a restore; empty: none
  bool directories = false;  // the run is about a directory from its start
  int traceLevel = 3;
  Lines moverLines;
};

namespace plain {

inline bool Holds(const std::string& line, const char* number, const char* text) {
  return line.find(number) != std::string::npos && line.find(text) != std::string::npos;
}

inline int Code(const std::string& line) {
  const struct {
    const char* number;
    const char* text;
  } statuses[] = {{"3007", "Operation successful"},
                  {"2032", "Operation successful with warnings"},
                  {"3053", "Operation failed"},
                  {"2002", "Saveset empty"},
                  {"2045", "Cannot write to Item"}};
  for (const auto& status : statuses) {
    if (Holds(line, status.number, status.text)) {
      return std::stoi(status.number);
    }
  }
  const std::string processed = "Items processed correctly";
  if (!Holds(line, "-3052", processed.c_str())) {
    return 0;
  }
  const std::size_t bracket = line.find('[', line.find(processed) + processed.size());
  return bracket != std::string::npos && line.compare(bracket + 1, 2, "0]") == 0 ? -3052 : 0;
}

inline std::optional<std::string> Reported(const std::string& line) {
  const std::string cut = line.substr(0, line.rfind(']'));
  const std::size_t bracket = cut.find('[');
  if (cut == line || bracket == std::string::npos) {
    return std::nullopt;
  }
  return cut.substr(bracket + 1);
}

// Whether the first occurrence of `tail` in the text is its end.
inline bool EndsFirstIn(const std::string& tail, const std::string& text) {
  const std::size_t first = text.find(tail);
  return first != std::string::npos && first + tail.size() == text.size();
}

// What the trace shows of a message.
inline std::string Shown(std::string message) {
  message.erase(std::min<std::size_t>(message.size(), 1500));
  if (message.size() >= 2 && message[message.size() - 2] == '\r') {
    message.erase(message.size() - 2);
  }
  return message;
}

}  // namespace plain

class PlainMover {
 public:
  explicit PlainMover(const MoverJob& job)
      : job_(job), destination_(job.destination), directories_(job.directories) {}

  RunResult Run() {
    int last = 0;
    for (std::string line : job_.moverLines) {
      moverTrace.push_back("backint_func: " + plain::Shown(line));
      Say(3, "xfr: [" + line + "]");
      const bool found = Confirms(line);
      if (const int code = plain::Code(line); code != 0) {
        last = last == 2045 ? last : code;
        moverTrace.push_back("backint_func: " + plain::Shown(line));
        line.erase(line.size() - (line.ends_with('\r') ? 1 : 0));
        Say(3, "INFO: XFR Message Line: ===[" + line + "]===. ");
      }
      Say(3, std::string("Item found: [") + (found ? "1" : "0") + "]");
      if (found) {
        Take(line);
      }
    }
    switch (last) {
      case 3007:
        return RunResult::kSuccess;
      case 2032:
        return RunResult::kWarnings;
      case -3052:
      case 2045:
      case 3053:
        return RunResult::kFailure;
      default:
        Say(1, "There was no XFR Success Info output line.");
        return RunResult::kFailure;
    }
  }

  void SettleBackup(RunResult& result) {
    Say(3, "INFO: ExecuteXFR finished.", "backint_back");
    Read(true);
    for (const std::string& name : pushed) {
      entries.push_back(name + "0");
    }
    for (const std::string& item : job_.items) {
      const bool confirmed = std::any_of(pushed.begin(), pushed.end(), [&](const std::string& name) {
        const bool whole = platform::IsSystemName(name) || platform::IsSystemName(item);
        return whole ? name == item : Upper(ToUnix(name)) == Upper(ToUnix(item));
      });
      if (!confirmed) {
        Say(1, "ERROR: File: [" + item + "] has not been successfully backed up.", "backint_back");
        entries.push_back(item + "2");
        result = RunResult::kFailure;
      }
    }
  }

  void SettleRestore(RunResult result, const std::string& saveset) {
    std::string joined;
    for (const std::string& name : pushed) {
      entries.push_back(platform::ToSystemForm(name) + "0");
      joined += (joined.empty() ? "" : " ") + entries.back();
    }
    Say(0, "INFO: Success list: " + joined);
    for (const std::string& item : job_.items) {
      Say(1, "INFO: Read list [" + item + "]", "backint_rest");
      std::string file = item.substr(item.starts_with('.') ? 1 : 0);
      bool confirmed = false;
      for (const std::string& entry : pushed) {
        const bool systemEntry = platform::IsSystemName(entry) &&
                                 std::find(job_.items.begin(), job_.items.end(), entry) != job_.items.end();
        const bool whole = systemEntry || platform::IsSystemName(item);
        const std::string upper = Upper(entry);
        file = Upper(file);
        Compare(0, "INFO: Comparing files: <" + upper + "> == <" + file + ">");
        bool same = upper == file;
        if (!same && upper.size() >= file.size()) {
          const std::string tail = upper.substr(upper.size() - file.size());
          Compare(0, "INFO: Comparing files2: <" + tail + "> == <" + file + ">");
          same = tail == file;
        }
        same = whole ? entry == item : same;
        confirmed = confirmed || same;
      }
      if (confirmed) {
        Say(3, "File: [" + item + "]/[" + file + "] has been found within this saveset: [" + saveset + "].",
            "backint_rest");
      } else {
        Say(1, "ERROR: File: [" + item + "] has not been found within this saveset: [" + saveset + "].",
            "backint_rest");
        entries.push_back(item + (result == RunResult::kSuccess ? "3" : "2"));
      }
    }
  }

  // What came of it: "source: message" of each trace line, the items pushed, the items as they come back,
  // each with its digit.
  Lines trace;
  Lines moverTrace;
  Lines pushed;
  Lines entries;

 private:
  void Say(int level, const std::string& message, const std::string& source = "backint_func") {
    if (job_.traceLevel != 0 && level <= job_.traceLevel) {
      trace.push_back(source + ": " + plain::Shown(message));
    }
  }

  void Compare(int level, const std::string& message, const std::string& source = "backint_func") {
    if (job_.items.size() <= 250) {
      Say(level, message, source);
    } else if (!announced_) {
      announced_ = true;
      Say(1, "INFO: More than 250 items: single comparisons are not traced.");
    }
  }

  void Read(bool always) {
    if (!job_.logRun) {
      return;
    }
    const auto say = always ? &PlainMover::Say : &PlainMover::Compare;
    (this->*say)(3, "Open input file: [" + job_.listFile + "].", "backint_util");
    for (const std::string& item : job_.items) {
      (this->*say)(3, "Push item: [" + item + "]", "backint_util");
    }
  }

  std::string Moved(std::string item) {
    if (!destination_.empty()) {
      ReallocateItem(item, destination_);
    }
    return item;
  }

  bool IsSystemItem(const std::optional<std::string>& path) {
    return path && platform::IsSystemName(*path) &&
           std::any_of(job_.items.begin(), job_.items.end(), [&](const std::string& item) {
             std::string destination = job_.destination;
             std::string moved = item;
             destination.empty() ? void() : ReallocateItem(moved, destination);
             return moved == *path || (directories_ && moved + '/' == *path);
           });
  }

  bool Confirms(const std::string& line) {
    if (!plain::Holds(line, "-3108", "Item processed successfully")) {
      return false;
    }
    Read(false);
    Say(1, "SuccessInfo:    Check line [" + line + "]");
    Say(1, "SuccessInfo:    Compare with items from list...");
    const std::optional<std::string> reported = plain::Reported(line);
    const bool systemPath = IsSystemItem(reported);
    for (const std::string& item : job_.items) {
      Compare(1, "Item from list: [" + item + "]");
      if (!destination_.empty()) {
        Compare(0, "Re-allocate file: <" + item + ">dir: <" + destination_ + ">");
      }
      const std::string moved = Moved(item);
      if (!destination_.empty()) {
        Compare(0, "IsSuccessInfoLine: reallocated [" + moved + "]");
      }
      const std::string separator =
          directories_ && IsDirectory(moved) ? std::string(1, platform::SeparatorOf(moved)) : "";
      directories_ = directories_ || (job_.restore && job_.items.size() == 1 && IsDirectory(item));
      const std::string named = moved + separator;
      std::string record = named;
      record.erase(0, record.starts_with('.') ? 1 : 0);
      record.erase(0, record.starts_with('/') ? 1 : 0);
      const std::string copy = Upper(ToUnix(record));
      const std::string cut = line.substr(0, line.rfind(']'));
      const std::string lineCopy = Upper(ToUnix(cut));
      Compare(1, "SuccessInfo:    Check <" + copy + "> in line <" + lineCopy + "> ...");
      if (reported && (systemPath || platform::IsSystemName(moved)) ? named == *reported
          : platform::IsSystemName(moved)                           ? plain::EndsFirstIn(named, cut)
                                                                    : plain::EndsFirstIn(copy, lineCopy)) {
        found_ = platform::ToSystemForm(item);
        Say(1, "SuccessInfo:    Found <" + record + "> in line <" + line + ">");
        return true;
      }
    }
    Say(1, "IsSuccessInfoLine: Didn't find item in line [" + line + "]");
    return false;
  }

  void Take(const std::string& line) {
    const bool directory = job_.restore && directories_;
    const std::optional<std::string> reported = plain::Reported(line);
    if (!reported) {
      directory ? PushDirectory(found_) : Say(2, "WARNING: Cannot read item from XFR line: [" + line + "]");
      return;
    }
    std::string path = *reported;
    Say(3, "INFO: File: [" + path + "] successfully processed.");
    Read(false);
    const bool systemPath = IsSystemItem(path);
    bool inList = false;
    for (const std::string& item : job_.items) {
      Compare(3, "Check file from input list: " + item);
      const std::string listForm = platform::ToSystemForm(item);
      const std::string record = Moved(listForm);
      Compare(1, "Compare XFR = LIST: " + path + " == " + record);
      if (directory) {
        Compare(1, "Directory restore: " + Upper(path));
      }
      const bool whole = systemPath || platform::IsSystemName(record);
      if (whole ? record == path : plain::EndsFirstIn(Upper(record), Upper(path))) {
        path = listForm;
        inList = true;
        directory ? Say(1, "File restored found in input list:" + path + " == " + Upper(record))
                  : Say(3, "4:" + path + "<>" + Upper(record));
      }
    }
    if (directories_ && path.ends_with(platform::SeparatorOf(path))) {
      path.pop_back();
    }
    if (!directory) {
      pushed.push_back(path);
      Say(3, "Push lhSuccessResultList: " + path + "0");
    } else if (inList) {
      PushDirectory(path);
    } else {
      Say(1, "File restored but not in input list: " + path + "0");
    }
  }

  void PushDirectory(const std::string& path) {
    Say(1, "File restored found in input list. Add it output list: " + path + "0");
    if (std::find(pushed.begin(), pushed.end(), path) == pushed.end()) {
      pushed.push_back(path);
    }
    Say(1, "Push lhSuccessResultList restore: " + path + "0");
  }

  const MoverJob& job_;
  std::string destination_;
  bool directories_;
  bool announced_ = false;
  std::string found_;  // the item that the line confirms
};
