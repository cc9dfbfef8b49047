#include "xfr/save.h"

#include <memory>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/saveset_writer.h"
#include "xfr/plan.h"
#include "xfr/save_directory.h"

using store::Status;

namespace {

// What cannot be saved because of its name, in words; empty for all others.
std::string RefusalOf(const std::string& item) {
  if (platform::IsSystemName(item) && item.find('\\') != std::string::npos) {
    return "a name with a backslash could not be told from another file";
  }
  return CanBeReported(item) ? "" : "its name holds a line break or a text that this program reports with";
}

// A bad status is the store's; what is wrong with the file alone goes into the outcome.
Status SaveFile(const std::string& item, store::SavesetWriter& writer, Outcome& outcome) {
  store::Saved saved;
  if (const auto source = platform::DataFile::OpenForReading(item, saved.trouble)) {
    if (Status status = writer.Save(item, *source, saved); !status) {
      return status;
    }
  }
  TakeIn(item, saved, outcome);
  return {};
}

Status SaveOne(const std::string& item, const store::Repository& repository, store::SavesetWriter& writer,
               Outcome& outcome) {
  if (const std::string refusal = RefusalOf(item); !refusal.empty()) {
    Refuse(item, refusal, outcome);
    return {};
  }
  return platform::LookUp(item).kind == platform::PathKind::kDirectory
             ? SaveDirectory(item, repository, writer, outcome)
             : SaveFile(item, writer, outcome);
}

}  // namespace

End Save(const Request& request, store::Repository& repository) {
  const Plan plan = MakePlan(request.items);
  store::SavesetWriter writer(repository, [&plan](const store::Item& item) {
    for (const std::string& spelling : plan.spellings.at(item.name)) {
      item.kind == store::ItemKind::kDirectory ? ReportSavedDirectory(spelling) : ReportItem(spelling);
    }
  });
  if (Status begun = writer.Begin(request.saveset); !begun) {
    ReportTrouble(begun.Message());
    return End::kFailed;
  }
  Outcome outcome;
  Status store;
  for (const std::string& item : plan.items) {
    store = SaveOne(item, repository, writer, outcome);
    if (!store) {
      ReportTrouble("the backup stops at " + item + ": " + store.Message());
      outcome.failed = true;
      break;
    }
  }
  if (Status ended = writer.End(!outcome.failed, !request.wholeDirectory); !ended) {
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
