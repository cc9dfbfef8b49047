#include "restore/restore_directory.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "platform/tree.h"
#include "store/names.h"

using store::Item;
using store::ItemKind;
using store::Status;

namespace {

// Restores in two walks over the catalog: one for the files, and one for the times and modes of the
// directories, which change while files come into them.
class DirectoryRestorer {
 public:
  DirectoryRestorer(const DirectoryRequest& request, store::SavesetReader& reader, Placer& placer)
      : request_(request), reader_(reader), placer_(placer) {}

  DirectoryOutcome Run() {
    placer_.Settle();
    const int failures = placer_.Failures();
    TakeAll();
    placer_.Settle();
    if (!begun_) {
      return placer_.Failures() == failures ? DirectoryOutcome::kNothing : DirectoryOutcome::kFailed;
    }
    CheckCounts();
    SetAllFacts();
    placer_.Settle();
    return placer_.Failures() == failures ? DirectoryOutcome::kDone : DirectoryOutcome::kFailed;
  }

 private:
  struct Count {
    std::string name;
    std::uint64_t expected = 0;
    std::uint64_t found = 0;
  };

  void TakeAll();
  bool Begin(const std::string& name);
  Status Take(const Item& item);
  void Put(const Item& item);
  void PutInner(std::string_view name, Placer::Make make, Way::Links links);
  void CountIn(const Item& item);
  void CheckCounts();
  void SetAllFacts();
  void SetFactsOf(const Item& item);

  [[nodiscard]] bool BelongsElsewhere() const {
    return request_.item && store::ItemKey(name_) != store::ItemKey(request_.item->name);
  }
  [[nodiscard]] Placer::Target TargetOf(std::string_view name, Way::Links links) const {
    return {place_ + std::string(name.substr(root_.size())), place_, links};
  }
  [[nodiscard]] static Way::Links LinksFor(const Item& item) {
    return item.directory != 0 ? Way::Links::kRefuse : Way::Links::kFollow;
  }
  [[nodiscard]] bool IsBlocked(const Item& item) const;

  const DirectoryRequest& request_;
  store::SavesetReader& reader_;
  Placer& placer_;
  bool begun_ = false;
  bool refused_ = false;
  std::string name_;   // the name of the directory in the catalog, from the current walk
  std::string root_;   // the same, set once there is something to restore
  std::string place_;  // where `root_` goes
  std::vector<std::string> blocked_;
  std::string end_;                        // the key at which an interrupt ended the first walk
  std::map<std::uint64_t, Count> counts_;  // of the directories that were saved whole, by their numbers
};

// The directory's own record counts even if nothing is in the directory.
void DirectoryRestorer::TakeAll() {
  if (request_.item) {
    CountIn(*request_.item);
    if (!Begin(std::string(store::WithoutEndSeparators(request_.item->name)))) {
      return;
    }
  }
  const Status walked =
      reader_.FindIn(request_.asked, name_, [this](const Item& item) { return Take(item); });
  if (!walked && !refused_) {
    placer_.Fail(begun_ ? place_ : request_.placeOf(request_.asked), walked);
  }
}

bool DirectoryRestorer::Begin(const std::string& name) {
  begun_ = true;
  root_ = name;
  place_ = request_.placeOf(name);
  std::string why = request_.whyNot();
  if (why.empty() && store::HasDots(name)) {
    why = "its name has a component . or ..";
  }
  if (!why.empty()) {
    placer_.Fail(place_, Status::Failed(why));
    refused_ = true;
    return false;
  }
  const bool whole = request_.item && request_.item->kind == ItemKind::kDirectory;
  refused_ = !placer_.PutDirectory({place_, place_, Way::Links::kFollow},
                                   whole ? Placer::Make::kUnfinished : Placer::Make::kFinished, {});
  return !refused_;
}

Status DirectoryRestorer::Take(const Item& item) {
  if (BelongsElsewhere()) {
    return {};
  }
  if (!begun_ && !Begin(name_)) {
    return Status::Failed("refused");
  }
  if (platform::Interrupted()) {
    end_ = store::ItemKey(item.name);
    return Status::Interrupted();
  }
  CountIn(item);
  if (store::HasDots(item.name)) {
    placer_.Fail(item.name, Status::Failed("its name has a component . or .., which could lead anywhere"));
  } else if (!IsBlocked(item)) {
    Put(item);
  }
  return {};
}

// Nothing is written below a directory that could not be made: what is in its place may lead elsewhere.
bool DirectoryRestorer::IsBlocked(const Item& item) const {
  if (blocked_.empty()) {
    return false;
  }
  const std::string key = platform::FoldName(item.name + '/');
  return std::any_of(blocked_.begin(), blocked_.end(),
                     [&key](const std::string& blocked) { return key.starts_with(blocked); });
}

void DirectoryRestorer::PutInner(std::string_view name, Placer::Make make, Way::Links links) {
  if (!placer_.PutDirectory(TargetOf(name, links), make, {})) {
    blocked_.push_back(platform::FoldName(std::string(name) + '/'));
  }
}

void DirectoryRestorer::Put(const Item& item) {
  switch (item.kind) {
    case ItemKind::kFile:
      if (item.marker) {
        PutInner(store::ParentOf(item.name), Placer::Make::kFinished, Way::Links::kFollow);
      } else {
        placer_.PutFile(item, TargetOf(item.name, LinksFor(item)), {});
      }
      break;
    case ItemKind::kDirectory:
      // It gets its own mode only when everything is in it.
      PutInner(item.name, Placer::Make::kUnfinished, LinksFor(item));
      break;
    case ItemKind::kLink:
      static_cast<void>(placer_.PutLink(item, TargetOf(item.name, LinksFor(item))));
      break;
    case ItemKind::kFirstLevel:
      break;
  }
}

// ---- Whether everything is there -------------------------------------------------------------------------

void DirectoryRestorer::CountIn(const Item& item) {
  if (item.directory != 0) {
    if (const auto count = counts_.find(item.directory); count != counts_.end()) {
      ++count->second.found;
    }
  } else if (item.kind == ItemKind::kDirectory) {
    counts_[item.number] = {item.name, item.entries, 0};
  }
}

void DirectoryRestorer::CheckCounts() {
  if (refused_ || platform::Interrupted()) {
    return;
  }
  for (const auto& [number, count] : counts_) {
    std::uint64_t found = count.found;
    // An entry may have come as another item of the same name.
    Status counted = found == count.expected ? Status() : reader_.CountEntries(number, found);
    if (counted && found != count.expected) {
      counted =
          Status::Damaged("the catalog has " + std::to_string(found) + " of the " +
                          std::to_string(count.expected) + " entries that were saved in it: it is damaged");
    }
    if (!counted) {
      placer_.Fail(count.name, counted);
    }
  }
}

// ---- Times and modes -------------------------------------------------------------------------------------

// Nothing is set before the last file is in its place. A directory that keeps its owner out is set after
// everything below it.
void DirectoryRestorer::SetAllFacts() {
  if (refused_) {
    return;
  }
  std::vector<Item> closed;
  const Status walked = reader_.FindIn(request_.asked, name_, [&](const Item& item) {
    if (BelongsElsewhere() || item.kind != ItemKind::kDirectory || store::HasDots(item.name) ||
        IsBlocked(item) || (!end_.empty() && store::ItemKey(item.name) >= end_)) {
      return Status();
    }
    if (platform::KeepsOwnerOut(Placer::FactsAt(item, place_))) {
      closed.push_back(item);
      return Status();
    }
    SetFactsOf(item);
    return Status();
  });
  if (!walked) {
    placer_.Fail(place_, walked);
  }
  for (auto item = closed.rbegin(); item != closed.rend(); ++item) {
    SetFactsOf(*item);
  }
  if (request_.item && request_.item->kind == ItemKind::kDirectory) {
    placer_.SetFacts(*request_.item, {place_, place_, Way::Links::kFollow});
  }
}

void DirectoryRestorer::SetFactsOf(const Item& item) {
  placer_.SetFacts(item, TargetOf(item.name, LinksFor(item)));
}

}  // namespace

DirectoryOutcome RestoreDirectory(const DirectoryRequest& request, store::SavesetReader& reader,
                                  Placer& placer) {
  return DirectoryRestorer(request, reader, placer).Run();
}
