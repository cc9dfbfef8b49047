#include "xfr/save.h"

#include <algorithm>
#include <deque>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/progress_teller.h"
#include "store/save/saveset_writer.h"
#include "xfr/count.h"
#include "xfr/own_files.h"
#include "xfr/plan.h"
#include "xfr/save_directory.h"
#include "xfr/sources.h"

using store::Status;

namespace {

// One run of the mover.
class Backup {
 public:
  Backup(const Request& request, store::Store& store)
      : request_(request),
        store_(store),
        plan_(request.items),
        own_(store.OwnPaths()),
        sources_(request.items, own_),
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
      // If the store failed during the saving, that was told then.
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
  // The message, with what makes room if room is missing.
  [[nodiscard]] std::string Advice(const Status& failure) const {
    return failure.What() == Status::Kind::kNoRoom
               ? failure.Message() + "; korvo expire " + store_.Config().section +
                     " makes room by deleting old savesets"
               : failure.Message();
  }

  // Fails only if the store fails or the process is interrupted.
  Status SaveAll() {
    for (std::size_t index = 0; index < request_.items.Size(); ++index) {
      if (index % store::Catalog::kNamesAtOnce == 0) {
        writer_.LookAhead(request_.items.Names(index, store::Catalog::kNamesAtOnce));
      }
      if (!plan_.IsFirst(index)) {
        continue;
      }
      const std::string item(request_.items[index]);
      waiting_.push_back(index);
      if (Status store = SaveOne(item, sources_.Take(index)); !store) {
        Fail("the backup stops at " + item + ": " + Advice(store), outcome_);
        return store;
      }
    }
    return {};
  }

  Status SaveOne(const std::string& item, const Source& source) {
    Outcome here;
    Status store;
    if (!source.refusal.empty()) {
      Refuse(item, source.refusal, here);
    } else if (source.kind == platform::EntryKind::kDirectory) {
      store = SaveDirectory(item, own_, writer_, here);
    } else {
      store = SaveFile(item, source, here);
    }
    if (here.failed) {
      waiting_.pop_back();
    }
    outcome_.why = outcome_.failed ? outcome_.why : here.why;
    outcome_.failed = outcome_.failed || here.failed;
    outcome_.warnings = outcome_.warnings || here.warnings;
    return store;
  }

  Status SaveFile(const std::string& item, const Source& source, Outcome& outcome) {
    store::Saved saved;
    saved.trouble = source.why;
    if (source.file != nullptr) {
      if (Status status = writer_.Save(item, *source.file, saved); !status) {
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

  // Items are confirmed in the order in which they were given, except for a few.
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

  // How its first saving went was told already. Only what went wrong now is new.
  void SavedAgain(const store::Item& item, const store::Saved& saved) { TakeIn(item.name, saved, outcome_); }

  const Request& request_;
  store::Store& store_;
  Plan plan_;
  OwnFiles own_;
  Sources sources_;
  Outcome outcome_;
  std::deque<std::size_t> waiting_;  // indexes of items that are not reported yet
  store::SavesetWriter writer_;
};

}  // namespace

End Save(const Request& request, store::Store& store) { return Backup(request, store).Run(); }
