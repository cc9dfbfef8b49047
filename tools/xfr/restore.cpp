#include "xfr/restore.h"

#include <optional>
#include <string>
#include <vector>

#include "backint/base/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "restore/placer.h"
#include "restore/restore_directory.h"
#include "store/load/saveset_reader.h"
#include "store/names.h"
#include "store/progress_row.h"
#include "store/progress_teller.h"
#include "xfr/count.h"
#include "xfr/plan.h"

using store::ItemKind;
using store::Status;

namespace {

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

// Which items would overwrite another one of the request: several items can have the same last component and
// go to one directory. The first in the list gets the place, whether or not the saveset has it.
std::vector<bool> FindRivals(const NameList& items, const std::string& destination) {
  std::vector<bool> rivals(items.Size(), false);
  if (destination.empty()) {
    return rivals;
  }
  const std::vector<std::uint32_t> holders = FirstOfEach(items.Size(), [&](std::size_t index) {
    return platform::FoldName(store::ListedName(PlaceOf(std::string(items[index]), destination)));
  });
  for (std::size_t index = 0; index < items.Size(); ++index) {
    rivals[index] = platform::FoldName(items[holders[index]]) != platform::FoldName(items[index]);
  }
  return rivals;
}

class Reporter : public RestoreTeller {
 public:
  void Done(const std::vector<std::string>& reports) override {
    const ReportTogether together;
    for (const std::string& report : reports) {
      ReportItem(report);
    }
  }
  void Placed(const store::Item& /*item*/) override {}
  void Note(const std::string& text) override { ReportNote(text); }
  void Failed(const std::string& place, const Status& why) override {
    ReportTrouble("cannot restore " + place + ": " + why.Message());
  }
};

class Restorer {
 public:
  Restorer(const Request& request, store::SavesetReader& reader, const store::ServerConfig& config)
      : request_(request),
        reader_(reader),
        placer_(reader, {request.replace, config.inPlace, "option -o over"}, reporter_) {}

  // Restores one item, now or with the next `Settle`. An item that the saveset does not have is left out.
  void Take(const std::string& name, const std::vector<std::string>& spellings);
  void Settle() { placer_.Settle(); }
  void Fail(const std::string& place, const Status& status) { placer_.Fail(place, status); }
  [[nodiscard]] bool Failed() const { return placer_.Failures() > 0; }

 private:
  void TakeFile(const store::Item& item, const std::vector<std::string>& spellings);
  void TakeDirectory(const std::string& name, const std::optional<store::Item>& item,
                     const std::vector<std::string>& spellings);
  [[nodiscard]] std::string WhyNot(const std::string& name) const;
  [[nodiscard]] std::string WhyNoneOf(const std::vector<std::string>& spellings) const;
  [[nodiscard]] bool IsAlone() const { return request_.items.Size() == 1; }
  void ReportDirectory(const std::vector<std::string>& spellings) const {
    for (const std::string& spelling : spellings) {
      ReportRestoredDirectory(spelling, PlaceOf(spelling, request_.destination), IsAlone());
    }
  }

  const Request& request_;
  store::SavesetReader& reader_;
  Reporter reporter_;
  Placer placer_;
};

// Why the item, which the saveset has, cannot be reported as restored; empty if it can.
std::string Restorer::WhyNot(const std::string& name) const {
  const std::string place = PlaceOf(name, request_.destination);
  if (!CanBeReported(place)) {
    return "its name holds a line break or a text that this program reports with";
  }
  if (store::WithoutEndSeparators(name) != name && !request_.destination.empty()) {
    return "a name with a separator at its end cannot go into another directory: ask for it without";
  }
  if (!CanReportRestored(name, place, IsAlone())) {
    return "a directory with a ] in its name cannot be reported while it is there, or by a name with a "
           "separator at its end: move it away, and ask for it without";
  }
  return "";
}

std::string Restorer::WhyNoneOf(const std::vector<std::string>& spellings) const {
  for (const std::string& spelling : spellings) {
    if (std::string why = WhyNot(spelling); !why.empty()) {
      return why;
    }
  }
  return "";
}

// Everything that was saved under a name belongs to it, unless it is the name of a file or link.
void Restorer::Take(const std::string& name, const std::vector<std::string>& spellings) {
  const std::string place = PlaceOf(name, request_.destination);
  std::optional<store::Item> item;
  if (const Status looked = reader_.Find(name, item); !looked) {
    Fail(place, looked);
    return;
  }
  if (!item || (item->kind != ItemKind::kFile && item->kind != ItemKind::kLink)) {
    TakeDirectory(name, item, spellings);
    return;
  }
  if (const std::string why = WhyNoneOf(spellings); !why.empty()) {
    Fail(place, Status::Failed(why));
  } else if (store::HasDots(item->name)) {
    Fail(place, Status::Failed("its name has a component . or .., which could lead anywhere"));
  } else {
    TakeFile(*item, spellings);
  }
}

void Restorer::TakeDirectory(const std::string& name, const std::optional<store::Item>& item,
                             const std::vector<std::string>& spellings) {
  DirectoryRequest directory;
  directory.asked = item ? item->name : name;
  directory.item = item;
  directory.placeOf = [this](const std::string& saved) { return PlaceOf(saved, request_.destination); };
  directory.whyNot = [&] { return WhyNoneOf(spellings); };
  if (RestoreDirectory(directory, reader_, placer_) == DirectoryOutcome::kDone) {
    ReportDirectory(spellings);
  }
}

void Restorer::TakeFile(const store::Item& item, const std::vector<std::string>& spellings) {
  Placer::Target target;
  target.place = PlaceOf(item.name, request_.destination);
  target.root = platform::DirectoryOf(target.place);
  if (item.kind == ItemKind::kLink) {
    // backint may find a directory where the link leads.
    placer_.Settle();
    const int failures = placer_.Failures();
    const bool made = placer_.PutLink(item, target);
    placer_.Settle();
    if (made && placer_.Failures() == failures) {
      ReportDirectory(spellings);
    }
    return;
  }
  std::vector<std::string> reports;
  reports.reserve(spellings.size());
  for (const std::string& spelling : spellings) {
    reports.push_back(PlaceOf(spelling, request_.destination));
  }
  if (item.marker) {
    target.place = target.root;
    static_cast<void>(placer_.PutDirectory(target, Placer::Make::kFinished, std::move(reports)));
  } else {
    placer_.PutFile(item, target, std::move(reports));
  }
}

}  // namespace

End Restore(const Request& request, store::Store& store) {
  store::SavesetReader reader(store);
  if (Status begun = reader.Begin(request.saveset); !begun) {
    ReportTrouble(begun.Message());
    return End::kFailed;
  }
  const NameList& items = request.items;
  if (items.Size() == 0) {
    return End::kEmpty;
  }
  const Plan plan(items);
  store::ProgressRow row(store, "restore", &reader.Source());
  const store::ProgressTeller teller(
      store.Work(),
      {.count = [&](const Ended& ended) { CountToRestore(request, plan, store, reader.Source(), ended); },
       .tell = [&row] { row.Tell(); }});
  Restorer restorer(request, reader, store.Config());
  const std::vector<bool> rivals = FindRivals(items, request.destination);
  for (std::size_t index = 0; index < items.Size(); ++index) {
    if (index % store::Catalog::kNamesAtOnce == 0) {
      reader.LookAhead(items.Names(index, store::Catalog::kNamesAtOnce));
    }
    const std::string item(items[index]);
    if (rivals[index]) {
      restorer.Fail(item, Status::Failed("an item listed before it has the same name in the destination"));
    } else if (platform::Interrupted()) {
      restorer.Fail(item, Status::Failed(store::kToldToEnd));
      break;
    } else if (plan.IsFirst(index)) {
      restorer.Take(item, plan.Spellings(index));
    }
  }
  restorer.Settle();
  return restorer.Failed() ? End::kFailed : End::kGood;
}
