#include "xfr/restore.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "backint/base/path.h"
#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/marker.h"
#include "store/names.h"
#include "store/saveset_reader.h"
#include "xfr/placer.h"
#include "xfr/plan.h"
#include "xfr/restore_directory.h"

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
  Restorer(const Request& request, store::SavesetReader& reader)
      : request_(request), reader_(reader), placer_(reader, request.replace) {}

  // Brings one item back, now or with the next `Settle`; one that the saveset does not hold is passed over.
  void Take(const std::string& name, const std::vector<std::string>& spellings);
  void Settle() { placer_.Settle(); }
  void Fail(const std::string& place, const Status& status) { placer_.Fail(place, status); }
  [[nodiscard]] bool Failed() const { return placer_.Failures() > 0; }

 private:
  struct Found {
    std::optional<store::Item> item;
    DirectoryContent content;  // empty if it is no directory
    [[nodiscard]] bool IsDirectory() const { return !content.name.empty(); }
  };
  Status Find(const std::string& name, Found& found);
  void TakeFile(const store::Item& item, const std::vector<std::string>& spellings);
  void TakeDirectory(const DirectoryContent& content, const std::vector<std::string>& spellings);
  [[nodiscard]] std::string WhyNot(const std::string& name) const;
  [[nodiscard]] bool IsAlone() const { return request_.items.size() == 1; }
  void ReportDirectory(const std::vector<std::string>& spellings) const {
    for (const std::string& spelling : spellings) {
      ReportRestoredDirectory(spelling, PlaceOf(spelling, request_.destination), IsAlone());
    }
  }

  const Request& request_;
  store::SavesetReader& reader_;
  Placer placer_;
};

// Whatever was saved under a name belongs to it, unless it is the name of a file or link.
Status Restorer::Find(const std::string& name, Found& found) {
  if (Status looked = reader_.Find(name, found.item); !looked) {
    return looked;
  }
  const bool single =
      found.item && (found.item->kind == ItemKind::kFile || found.item->kind == ItemKind::kLink);
  if (single) {
    return {};
  }
  DirectoryContent& content = found.content;
  Status looked = reader_.FindIn(found.item ? found.item->name : name, content.name, content.items);
  if (found.item) {
    // What is only shown by the name of a directory that is empty belongs to another one.
    if (store::ItemKey(content.name) != store::ItemKey(found.item->name)) {
      content.items.clear();
    }
    content.name = store::WithoutEndSeparators(found.item->name);
    content.items.insert(content.items.begin(), *found.item);
  }
  return looked;
}

// Why the item, which is there, cannot be told as restored; empty if it can.
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

void Restorer::Take(const std::string& name, const std::vector<std::string>& spellings) {
  const std::string place = PlaceOf(name, request_.destination);
  Found found;
  if (const Status looked = Find(name, found); !looked) {
    Fail(place, looked);
    return;
  }
  if (!found.item && !found.IsDirectory()) {
    return;
  }
  for (const std::string& spelling : spellings) {
    if (const std::string why = WhyNot(spelling); !why.empty()) {
      Fail(PlaceOf(spelling, request_.destination), Status::Failed(why));
      return;
    }
  }
  if (found.IsDirectory()) {
    TakeDirectory(found.content, spellings);
  } else {
    TakeFile(*found.item, spellings);
  }
}

void Restorer::TakeDirectory(const DirectoryContent& content, const std::vector<std::string>& spellings) {
  if (RestoreDirectory(content, PlaceOf(content.name, request_.destination), placer_)) {
    ReportDirectory(spellings);
  }
}

void Restorer::TakeFile(const store::Item& item, const std::vector<std::string>& spellings) {
  const std::string place = PlaceOf(item.name, request_.destination);
  if (item.kind == ItemKind::kLink) {
    // The program may find a directory where it leads.
    if (placer_.PutLink(item, place)) {
      ReportDirectory(spellings);
    }
    return;
  }
  std::vector<std::string> reports;
  reports.reserve(spellings.size());
  for (const std::string& spelling : spellings) {
    reports.push_back(PlaceOf(spelling, request_.destination));
  }
  if (!store::IsMarker(item)) {
    placer_.PutFile(item, place, reports);
  } else if (placer_.PutDirectory(platform::DirectoryOf(place))) {
    std::for_each(reports.begin(), reports.end(), ReportItem);
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
    if (platform::Interrupted()) {
      restorer.Fail(item, Status::Failed(store::kToldToEnd));
      break;
    }
    restorer.Take(item, plan.spellings.at(item));
  }
  restorer.Settle();
  return restorer.Failed() ? End::kFailed : End::kGood;
}
