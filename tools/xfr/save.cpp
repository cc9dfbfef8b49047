#include "xfr/save.h"

#include <memory>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/saveset_writer.h"
#include "xfr/plan.h"

using store::Status;

namespace {

// What cannot be saved because of its name, in words; empty for all others.
std::string RefusalOf(const std::string& item) {
  if (platform::IsSystemName(item) && item.find('\\') != std::string::npos) {
    return "a name with a backslash could not be told from another file";
  }
  return CanBeReported(item) ? "" : "its name holds a line break or a text that this program reports with";
}

struct Outcome {
  bool failed = false;
  bool warnings = false;
};

// A bad status is the store's; what is wrong with the file alone goes into the outcome.
Status SaveOne(const std::string& item, store::SavesetWriter& writer, Outcome& outcome) {
  store::Saved saved;
  saved.trouble = RefusalOf(item);
  if (saved.trouble.empty()) {
    if (const auto source = platform::DataFile::OpenForReading(item, saved.trouble)) {
      if (Status status = writer.Save(item, *source, saved); !status) {
        return status;
      }
    }
  }
  if (!saved.trouble.empty()) {
    ReportTrouble("cannot back up " + item + ": " + saved.trouble);
    outcome.failed = true;
  } else if (saved.grew) {
    ReportTrouble(item + " became longer while it was read: it is saved as long as it was");
    outcome.warnings = true;
  }
  return {};
}

}  // namespace

End Save(const Request& request, store::Repository& repository) {
  const Plan plan = MakePlan(request.items);
  store::SavesetWriter writer(repository, [&plan](const std::string& name) {
    for (const std::string& spelling : plan.spellings.at(name)) {
      ReportItem(spelling);
    }
  });
  if (Status begun = writer.Begin(request.saveset); !begun) {
    ReportTrouble(begun.Message());
    return End::kFailed;
  }
  Outcome outcome;
  Status store;
  for (const std::string& item : plan.items) {
    store = SaveOne(item, writer, outcome);
    if (!store) {
      ReportTrouble("the backup stops at " + item + ": " + store.Message());
      outcome.failed = true;
      break;
    }
  }
  if (Status ended = writer.End(!outcome.failed); !ended) {
    ReportTrouble(ended.Message());
    return End::kFailed;
  }
  if (outcome.failed) {
    return End::kFailed;
  }
  if (plan.items.empty()) {
    return End::kEmpty;
  }
  return outcome.warnings ? End::kWarnings : End::kGood;
}
