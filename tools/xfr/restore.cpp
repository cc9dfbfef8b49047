#include "xfr/restore.h"

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "backint/backint_util/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"
#include "store/saveset_reader.h"
#include "xfr/plan.h"
#include "xfr/replacement.h"

using store::Status;

namespace {

// Small files are brought to the disk together, since each wait for it costs about as much as they do.
constexpr std::size_t kMostWaiting = 64;
constexpr std::uint64_t kMostWaitingBytes = 8 * 1024 * 1024;

// Where the item goes: into the destination under its last component, or to its own place.
std::string PlaceOf(const std::string& item, const std::string& destination) {
  if (destination.empty()) {
    return item;
  }
  std::string place = platform::ToSystemForm(item);
  std::string directory = destination;
  if (platform::LastSeparator(place) != std::string::npos) {
    ReallocateItem(place, directory);
    return place;
  }
  return WithSeparator(directory, platform::SeparatorOf(directory)) + place;
}

// Takes out the items that would overwrite another one of the request: several with the same last component,
// bound for one directory. The first listed has the place, whether or not the saveset holds it.
std::vector<std::string> TakeOutRivals(std::vector<std::string>& items, const std::string& destination) {
  std::vector<std::string> kept;
  std::vector<std::string> rivals;
  std::map<std::string, std::string> holders;
  for (const std::string& item : items) {
    const std::string place = platform::FoldName(store::ListedName(PlaceOf(item, destination)));
    const std::string name = platform::FoldName(item);
    const auto holder = holders.emplace(place, name).first;
    (destination.empty() || holder->second == name ? kept : rivals).push_back(item);
  }
  items = kept;
  return rivals;
}

class Restorer {
 public:
  Restorer(const Request& request, store::SavesetReader& reader) : request_(request), reader_(reader) {}

  // Brings one item back, now or with the next `Settle`; one that the saveset does not hold is passed over.
  void Take(const std::string& name, const std::vector<std::string>& spellings);
  // Everything taken is in its place and on the disk, and only then reported.
  void Settle();
  void Fail(const std::string& place, const Status& status);
  [[nodiscard]] bool Failed() const { return failed_; }

 private:
  struct Waiting {
    std::string place;
    std::vector<std::string> reports;
    platform::FileFacts facts;
    std::unique_ptr<Replacement> file;
    Status status;
  };
  Status Copy(const store::Item& item, Waiting& waiting);
  void SyncDirectories();

  const Request& request_;
  store::SavesetReader& reader_;
  std::vector<Waiting> waiting_;
  std::uint64_t waitingBytes_ = 0;
  bool failed_ = false;
};

void Restorer::Fail(const std::string& place, const Status& status) {
  ReportTrouble("cannot restore " + place + ": " + status.Message());
  failed_ = true;
}

Status Restorer::Copy(const store::Item& item, Waiting& waiting) {
  if (!CanBeReported(waiting.place)) {
    return Status::Failed("its name holds a line break or a text that this program reports with");
  }
  waiting.facts = item.facts;
  waiting.file = std::make_unique<Replacement>(PlaceOf(item.name, request_.destination));
  if (Status made = waiting.file->Create(request_.replace); !made) {
    return made;
  }
  return reader_.Copy(item, waiting.file->File());
}

void Restorer::Take(const std::string& name, const std::vector<std::string>& spellings) {
  std::optional<store::Item> item;
  Waiting waiting;
  waiting.place = PlaceOf(name, request_.destination);
  for (const std::string& spelling : spellings) {
    waiting.reports.push_back(PlaceOf(spelling, request_.destination));
  }
  Status status = reader_.Find(name, item);
  if (status && !item) {
    return;
  }
  if (status) {
    status = Copy(*item, waiting);
  }
  if (!status) {
    Fail(waiting.place, status);
    return;
  }
  waitingBytes_ += item->facts.size;
  waiting_.push_back(std::move(waiting));
  if (waiting_.size() >= kMostWaiting || waitingBytes_ >= kMostWaitingBytes) {
    Settle();
  }
}

void Restorer::Settle() {
  for (Waiting& waiting : waiting_) {
    waiting.status = waiting.file->Prepare(waiting.facts);
  }
  for (Waiting& waiting : waiting_) {
    if (waiting.status) {
      waiting.status = waiting.file->Finish();
    }
  }
  for (Waiting& waiting : waiting_) {
    if (waiting.status) {
      waiting.status = waiting.file->TakePlace();
    }
  }
  SyncDirectories();
  for (const Waiting& waiting : waiting_) {
    if (!waiting.status) {
      Fail(waiting.place, waiting.status);
      continue;
    }
    for (const std::string& report : waiting.reports) {
      ReportItem(report);
    }
  }
  waiting_.clear();
  waitingBytes_ = 0;
}

void Restorer::SyncDirectories() {
  std::map<std::string, std::string> whyNot;
  for (Waiting& waiting : waiting_) {
    const auto [entry, isNew] = whyNot.emplace(waiting.file->Directory(), "");
    if (isNew) {
      std::string why;
      entry->second = platform::SyncDirectory(entry->first, why) ? "" : why;
    }
    if (waiting.status && !entry->second.empty()) {
      waiting.status = Status::Failed("its directory cannot be synchronised: " + entry->second);
    }
  }
}

}  // namespace

End Restore(const Request& request, store::Repository& repository) {
  store::SavesetReader reader(repository);
  if (Status begun = reader.Begin(request.saveset); !begun) {
    ReportTrouble(begun.Message());
    return End::kFailed;
  }
  if (request.items.empty()) {
    return End::kEmpty;
  }
  Restorer restorer(request, reader);
  std::vector<std::string> items = request.items;
  for (const std::string& rival : TakeOutRivals(items, request.destination)) {
    restorer.Fail(rival, Status::Failed("an item listed before it has the same name in the destination"));
  }
  const Plan plan = MakePlan(items);
  for (const std::string& item : plan.items) {
    restorer.Take(item, plan.spellings.at(item));
  }
  restorer.Settle();
  return restorer.Failed() ? End::kFailed : End::kGood;
}
