#include "restore/saved_count.h"

#include <cstdint>
#include <memory>
#include <optional>

using store::Item;
using store::ItemKind;
using store::Status;

namespace {

class SavedCount {
 public:
  SavedCount(store::Catalog& rows, const std::function<bool()>& ended) : rows_(rows), ended_(ended) {}

  Status AddAll(const store::Saveset& saveset) {
    return rows_.ListItems(saveset, [this](const Item& item) { return Add(item); });
  }

  Status AddNamed(const store::Saveset& saveset, const std::string& name) {
    std::optional<Item> item;
    if (Status found = rows_.FindItem(saveset, name, item); !found) {
      return found;
    }
    if (item && item->kind == ItemKind::kFile) {
      return Add(*item);
    }
    std::string directory;
    return rows_.FindItemsIn(saveset, item ? item->name : name, directory,
                             [this](const Item& each) { return Add(each); });
  }

  [[nodiscard]] std::uint64_t Items() const { return items_; }
  [[nodiscard]] std::uint64_t Bytes() const { return bytes_; }

 private:
  Status Add(const Item& item) {
    if (item.kind == ItemKind::kFile && !item.marker) {
      ++items_;
      bytes_ += item.facts.size;
    }
    return ended_() ? Status::Interrupted() : Status();
  }

  store::Catalog& rows_;
  const std::function<bool()>& ended_;
  std::uint64_t items_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace

EachName NamesOf(const std::vector<std::string>& names) {
  if (names.empty()) {
    return {};
  }
  return [&names](const std::function<Status(const std::string&)>& each) {
    Status done;
    for (auto name = names.begin(); done && name != names.end(); ++name) {
      done = each(*name);
    }
    return done;
  };
}

void CountSaved(store::Store& store, const std::vector<store::Saveset>& savesets, const EachName& names,
                const std::function<bool()>& ended) {
  std::unique_ptr<store::Catalog> rows;
  if (!store.Connect(rows)) {
    return;
  }
  SavedCount count(*rows, ended);
  std::vector<store::Saveset> counted = savesets;
  const auto add = [&counted](const store::Saveset& saveset) {
    counted.push_back(saveset);
    return Status();
  };
  if (counted.empty() && !rows->ListAllSavesets(add)) {
    return;
  }
  for (const store::Saveset& saveset : counted) {
    const Status added = names ? names([&](const std::string& name) { return count.AddNamed(saveset, name); })
                               : count.AddAll(saveset);
    if (!added) {
      return;
    }
  }
  store.Work().Expect(count.Items(), count.Bytes());
}
