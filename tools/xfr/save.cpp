#include "xfr/save.h"

#include <algorithm>
#include <deque>
#include <memory>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/progress_teller.h"
#include "store/save/saveset_writer.h"
#include "xfr/count.h"
#include "xfr/own_files.h"
#include "xfr/plan.h"
#include "xfr/save_directory.h"

using store::Status;

namespace {

bool HasDots(std::string_view name) {
  while (true) {
    const std::size_t end = name.find_first_of("/\\");
    const std::string_view component = name.substr(0, end);
    if (component == "." || component == "..") {
      return true;
    }
    if (end == std::string_view::npos) {
      return false;
    }
    name.remove_prefix(end + 1);
  }
}

// What cannot be saved because of its name, in words; empty for all others.
std::string RefusalOf(const std::string& item) {
  if (platform::IsSystemName(item) && item.find('\\') != std::string::npos) {
    return "a name with a backslash could not be told from another file";
  }
  if (HasDots(item)) {
    return "its name has . or .. in it: name it by the way that leads to it";
  }
  return CanBeReported(item) ? "" : "its name holds a line break or a text that this program reports with";
}

// One run of the mover.
class Backup {
 public:
  Backup(const Request& request, store::Store& store)
      : request_(request),
        store_(store),
        plan_(request.items),
        own_(store.OwnPaths()),
        writer_(
            store, [this](const std::vector<store::Item>& items) { Report(items); },
            [this](const store::Item& item, const store::Saved& saved) { SavedAgain(item, saved); }) {}

  End Run() {
    if (Status begun = writer_.Begin(request_.saveset); !begun) {
      ReportTrouble(begun.Message());
      return End::kFailed;
    }
    const store::ProgressTeller teller(store_.Work(), {.count = [this](const Ended& ended) {
                                         CountToSave(request_, plan_, store_, ended);
                                       }});
    const Status saved = SaveAll();
    if (Status ended = writer_.End(!outcome_.failed, !request_.wholeDirectory, outcome_.why); !ended) {
      // A failure of the store that ended the saving was told then.
      if (saved || saved.Message() != ended.Message()) {
        ReportTrouble(Advice(ended));
      }
      return End::kFailed;
    }
    if (outcome_.failed) {
      return End::kFailed;
    }
    if (request_.items.Size() == 0) {
      return End::kEmpty;
    }
    return outcome_.warnings ? End::kWarnings : End::kGood;
  }

 private:
  // What makes room, if it is that which is missing.
  [[nodiscard]] std::string Advice(const Status& failure) const {
    return failure.What() == Status::Kind::kNoRoom
               ? failure.Message() + "; korvo expire " + store_.Config().section +
                     " makes room by deleting old savesets"
               : failure.Message();
  }

  // A bad status is the store's.
  Status SaveAll() {
    for (std::size_t index = 0; index < request_.items.Size(); ++index) {
      if (index % store::Catalog::kNamesAtOnce == 0) {
        LookAhead(index);
      }
      if (!plan_.IsFirst(index)) {
        continue;
      }
      const std::string item(request_.items[index]);
      waiting_.push_back(index);
      if (Status store = SaveOne(item); !store) {
        Fail("the backup stops at " + item + ": " + Advice(store), outcome_);
        return store;
      }
    }
    return {};
  }

  void LookAhead(std::size_t first) {
    const std::size_t behind = std::min(request_.items.Size(), first + store::Catalog::kNamesAtOnce);
    std::vector<std::string> names;
    for (std::size_t index = first; index < behind; ++index) {
      names.emplace_back(request_.items[index]);
    }
    writer_.LookAhead(names);
  }

  Status SaveOne(const std::string& item) {
    Outcome here;
    Status store;
    platform::EntryKind kind = platform::EntryKind::kOther;
    if (const std::string refusal = RefusalOf(item); !refusal.empty()) {
      Refuse(item, refusal, here);
    } else if (own_.ContainsPath(item, kind)) {
      Refuse(item, "it belongs to the repository itself", here);
    } else if (kind == platform::EntryKind::kDirectory) {
      store = SaveDirectory(item, own_, writer_, here);
    } else {
      store = SaveFile(item, here);
    }
    if (here.failed) {
      waiting_.pop_back();
    }
    outcome_.why = outcome_.failed ? outcome_.why : here.why;
    outcome_.failed = outcome_.failed || here.failed;
    outcome_.warnings = outcome_.warnings || here.warnings;
    return store;
  }

  Status SaveFile(const std::string& item, Outcome& outcome) {
    store::Saved saved;
    if (const auto source = platform::DataFile::OpenForReading(item, saved.trouble)) {
      if (Status status = writer_.Save(item, *source, saved); !status) {
        return status;
      }
    }
    TakeIn(item, saved, outcome);
    return {};
  }

  void Report(const std::vector<store::Item>& items) {
    const ReportTogether together;
    for (const store::Item& item : items) {
      Report(item);
    }
  }

  // Items come back in the order in which they were given, but for a few.
  void Report(const store::Item& item) {
    const auto waits = std::find_if(waiting_.begin(), waiting_.end(),
                                    [&](std::size_t index) { return request_.items[index] == item.name; });
    if (waits == waiting_.end()) {
      return;
    }
    for (const std::string& spelling : plan_.Spellings(*waits)) {
      item.kind == store::ItemKind::kDirectory ? ReportSavedDirectory(spelling) : ReportItem(spelling);
    }
    waiting_.erase(waits);
  }

  // Its first saving was told of already: only what went wrong is new.
  void SavedAgain(const store::Item& item, const store::Saved& saved) { TakeIn(item.name, saved, outcome_); }

  const Request& request_;
  store::Store& store_;
  Plan plan_;
  OwnFiles own_;
  Outcome outcome_;
  std::deque<std::size_t> waiting_;  // indexes of items that are not reported yet
  store::SavesetWriter writer_;
};

}  // namespace

End Save(const Request& request, store::Store& store) { return Backup(request, store).Run(); }
