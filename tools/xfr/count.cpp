#include "xfr/count.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "backint/base/path.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "xfr/own_files.h"
#include "xfr/plan.h"

using store::Item;
using store::ItemKind;
using store::Status;

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
      AddDirectory(path);
    } else if (entry.kind == platform::EntryKind::kFile) {
      sum_.Add(entry.facts.size);
    }
  }

  // What the item leads to, through links.
  void AddItem(const std::string& item) {
    std::string target;
    std::string why;
    AddEntry(platform::FollowLinks(item, target, why) ? target : item);
  }

  [[nodiscard]] const Sum& Total() const { return sum_; }

 private:
  void AddDirectory(const std::string& directory) {
    const std::string before = WithSeparator(directory, platform::SeparatorOf(directory));
    static_cast<void>(platform::ListDirectory(
        directory, [&](std::string_view name) { AddEntry(before + std::string(name)); }));
  }

  const OwnFiles& own_;
  const Ended& ended_;
  Sum sum_;
};

Status AddSaved(store::Catalog& rows, const store::Saveset& saveset, const std::string& name,
                const Ended& ended, Sum& sum) {
  std::optional<Item> item;
  if (Status found = rows.FindItem(saveset, name, item); !found) {
    return found;
  }
  if (item && item->kind == ItemKind::kFile) {
    sum.Add(item->facts.size);
    return {};
  }
  std::string directory;
  return rows.FindItemsIn(saveset, item ? item->name : name, directory, [&](const Item& each) {
    if (each.kind == ItemKind::kFile && !each.marker) {
      sum.Add(each.facts.size);
    }
    return ended() ? Status::Interrupted() : Status();
  });
}

}  // namespace

void CountToSave(const Request& request, store::Store& store, const Ended& ended) {
  const OwnFiles own(store.OwnPaths());
  const Plan plan(request.items);
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

void CountToRestore(const Request& request, store::Store& store, const Ended& ended) {
  std::unique_ptr<store::Catalog> rows;
  std::optional<store::Saveset> saveset;
  if (!store.Connect(rows) ||
      !rows->FindSaveset(request.saveset.substr(0, request.saveset.find('@')), saveset) || !saveset) {
    return;
  }
  const Plan plan(request.items);
  Sum sum;
  for (std::size_t index = 0; index < request.items.Size(); ++index) {
    if (plan.IsFirst(index) && !AddSaved(*rows, *saveset, std::string(request.items[index]), ended, sum)) {
      return;
    }
  }
  store.Work().Expect(sum.items, sum.bytes);
}
