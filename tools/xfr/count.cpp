#include "xfr/count.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "backint/base/path.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "restore/saved_count.h"
#include "xfr/own_files.h"

namespace {

struct Sum {
  std::uint64_t items = 0;
  std::uint64_t bytes = 0;

  void Add(std::uint64_t size) {
    ++items;
    bytes += size;
  }
};

class SourceCount {
 public:
  SourceCount(const OwnFiles& own, const Ended& ended) : own_(own), ended_(ended) {}

  void AddEntry(const std::string& path) {
    std::string why;
    platform::Entry entry;
    if (ended_() || !platform::ReadEntry(path, entry, why) || own_.Contains(entry.id)) {
      return;
    }
    if (entry.kind == platform::EntryKind::kDirectory) {
      AddDirectory(path, entry.id);
    } else if (entry.kind == platform::EntryKind::kFile) {
      sum_.Add(entry.facts.size);
    }
  }

  // Adds what the item leads to, through links. For most items this is one system call.
  void AddItem(const std::string& item) {
    const platform::PathInfo info = platform::LookUp(item);
    std::string target;
    std::string why;
    if (info.kind == platform::PathKind::kFile) {
      sum_.Add(info.size);
    } else if (info.kind == platform::PathKind::kDirectory) {
      AddEntry(platform::FollowLinks(item, target, why) ? target : item);
    }
  }

  [[nodiscard]] const Sum& Total() const { return sum_; }

 private:
  // A volume may be mounted inside itself.
  void AddDirectory(const std::string& directory, const platform::FileId& id) {
    if (std::find(way_.begin(), way_.end(), id) != way_.end()) {
      return;
    }
    way_.push_back(id);
    const std::string before = WithSeparator(directory, platform::SeparatorOf(directory));
    static_cast<void>(platform::ListDirectory(
        directory, [&](std::string_view name) { AddEntry(before + std::string(name)); }));
    way_.pop_back();
  }

  const OwnFiles& own_;
  const Ended& ended_;
  Sum sum_;
  std::vector<platform::FileId> way_;  // all directories down to the one that is being counted
};

}  // namespace

void CountToSave(const Request& request, const Plan& plan, store::Store& store, const Ended& ended) {
  const OwnFiles own(store.OwnPaths());
  SourceCount count(own, ended);
  for (std::size_t index = 0; index < request.items.Size() && !ended(); ++index) {
    if (plan.IsFirst(index)) {
      count.AddItem(std::string(request.items[index]));
    }
  }
  if (!ended()) {
    store.Work().Expect(count.Total().items, count.Total().bytes);
  }
}

void CountToRestore(const Request& request, const Plan& plan, store::Store& store,
                    const store::Saveset& saveset, const Ended& ended) {
  const auto names = [&](const std::function<store::Status(const std::string&)>& each) {
    store::Status done;
    for (std::size_t index = 0; done && index < request.items.Size(); ++index) {
      done = plan.IsFirst(index) ? each(std::string(request.items[index])) : store::Status();
    }
    return done;
  };
  CountSaved(store, {saveset}, names, ended);
}
