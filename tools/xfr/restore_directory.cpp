#include "xfr/restore_directory.h"

#include <algorithm>
#include <string_view>

#include "platform/platform.h"
#include "platform/tree.h"
#include "store/marker.h"
#include "store/names.h"

using store::ItemKind;

namespace {

class DirectoryRestorer {
 public:
  DirectoryRestorer(const DirectoryContent& content, std::string place, Placer& placer)
      : content_(content), place_(std::move(place)), placer_(placer) {}

  bool Run() {
    placer_.Settle();
    const int failures = placer_.Failures();
    const bool whole = !content_.items.empty() && content_.items.front().kind == ItemKind::kDirectory;
    if (!placer_.PutDirectory(place_, whole ? Placer::Make::kUnfinished : Placer::Make::kFinished)) {
      return false;
    }
    for (const store::Item& item : content_.items) {
      if (platform::Interrupted()) {
        placer_.Fail(place_, store::Status::Failed(store::kToldToEnd));
        break;
      }
      if (!IsBlocked(item)) {
        Put(item);
      }
    }
    placer_.Settle();
    SetFacts();
    return placer_.Failures() == failures;
  }

 private:
  [[nodiscard]] std::string PlaceOf(std::string_view name) const {
    return place_ + std::string(name.substr(content_.name.size()));
  }

  // Nothing is written below a directory that could not be made: what stands there may lead elsewhere.
  [[nodiscard]] bool IsBlocked(const store::Item& item) const {
    const std::string key = platform::FoldName(item.name + '/');
    return std::any_of(blocked_.begin(), blocked_.end(),
                       [&key](const std::string& blocked) { return key.starts_with(blocked); });
  }

  void PutInnerDirectory(std::string_view name, Placer::Make make, Placer::Links links) {
    if (!placer_.PutDirectory(PlaceOf(name), make, links)) {
      blocked_.push_back(platform::FoldName(std::string(name) + '/'));
    }
  }

  void Put(const store::Item& item) {
    switch (item.kind) {
      case ItemKind::kFile:
        if (store::IsMarker(item)) {
          PutInnerDirectory(store::ParentOf(item.name), Placer::Make::kFinished, Placer::Links::kFollow);
        } else {
          placer_.PutFile(item, PlaceOf(item.name), {});
        }
        break;
      case ItemKind::kDirectory:
        // It bears its own mode only when everything is in it.
        if (item.name.size() > content_.name.size()) {
          PutInnerDirectory(item.name, Placer::Make::kUnfinished,
                            item.inside ? Placer::Links::kRefuse : Placer::Links::kFollow);
        }
        break;
      case ItemKind::kLink:
        static_cast<void>(placer_.PutLink(item, PlaceOf(item.name)));
        break;
      case ItemKind::kFirstLevel:
        break;
    }
  }

  // From the innermost out: what is put into a directory changes its time, and its mode may forbid it.
  void SetFacts() {
    std::string why;
    for (auto item = content_.items.rbegin(); item != content_.items.rend(); ++item) {
      const std::string place = PlaceOf(item->name);
      if (item->kind == ItemKind::kDirectory && !IsBlocked(*item) &&
          platform::LookUp(place).kind == platform::PathKind::kDirectory &&
          !platform::SetDirectoryFacts(place, item->facts, why)) {
        placer_.Fail(place, store::Status::Failed("its times and mode cannot be set: " + why));
      }
    }
  }

  const DirectoryContent& content_;
  std::string place_;
  Placer& placer_;
  std::vector<std::string> blocked_;
};

}  // namespace

bool RestoreDirectory(const DirectoryContent& content, const std::string& place, Placer& placer) {
  return DirectoryRestorer(content, place, placer).Run();
}
