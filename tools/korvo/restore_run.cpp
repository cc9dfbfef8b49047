#include "korvo/restore_run.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <set>

#include "platform/data_file.h"
#include "platform/platform.h"
#include "store/names.h"

using store::ItemKind;
using store::Status;

namespace korvo {
namespace {

bool IsSeparator(char c) { return c == '/' || (c == '\\' && platform::SeparatorOf("") == '\\'); }

// Whether the item with this key is in one of the directories, which are keys too.
bool IsInOneOf(const std::vector<std::string>& directories, const std::string& key) {
  return std::any_of(directories.begin(), directories.end(), [&key](const std::string& directory) {
    return !directory.empty() && key.size() > directory.size() && key.starts_with(directory) &&
           key[directory.size()] == '/';
  });
}

}  // namespace

RestoreRun::RestoreRun(store::SavesetReader& reader, std::string directory, Placer::Rules rules,
                       RestoreTeller& teller)
    : reader_(reader), directory_(std::move(directory)), placer_(reader, std::move(rules), teller) {
  while (directory_.size() > 1 && IsSeparator(directory_.back())) {
    directory_.pop_back();
  }
}

std::string RestoreRun::PlaceOf(const std::string& name) const {
  std::string below = name;
  if (below.size() > 1 && below[1] == ':') {
    below.erase(1, 1);
  }
  const auto begin = std::find_if_not(below.begin(), below.end(), IsSeparator);
  return (directory_ == "/" ? "" : directory_) + "/" + std::string(begin, below.end());
}

Placer::Target RestoreRun::TargetOf(const std::string& name) const {
  return {PlaceOf(name), directory_, Way::Links::kFollow};
}

void RestoreRun::TakeNamed(const std::vector<std::string>& names) {
  std::vector<std::string> directories;
  for (const std::string& name : names) {
    if (IsOfDirectory(name)) {
      directories.push_back(store::ItemKey(name));
    }
  }
  std::set<std::string> taken;
  for (const std::string& name : names) {
    const std::string key = store::ItemKey(name);
    if (!taken.insert(key).second) {
      continue;
    }
    if (platform::Interrupted()) {
      placer_.Fail(directory_, Status::Interrupted());
      return;
    }
    if (!IsInOneOf(directories, key)) {
      Take(name);
    } else if (Status there = CheckIsThere(name); !there) {
      placer_.Fail(name, there);
    }
  }
}

// For a name that is restored with its directory: fails if the saveset does not have it.
Status RestoreRun::CheckIsThere(const std::string& name) {
  std::optional<store::Item> item;
  std::string directory;
  bool is = false;
  Status looked = reader_.Find(name, item);
  if (looked && !item) {
    looked = reader_.FindIn(name, directory, [&is](const store::Item& /*inside*/) {
      is = true;
      return Status::Interrupted();  // one is enough
    });
  }
  if (is || (looked && item)) {
    return {};
  }
  return looked ? Status::Missing("the saveset has no such item") : looked;
}

bool RestoreRun::IsOfDirectory(const std::string& name) {
  std::optional<store::Item> item;
  return reader_.Find(name, item) &&
         (!item || (item->kind != ItemKind::kFile && item->kind != ItemKind::kLink));
}

void RestoreRun::Take(const std::string& name) {
  std::optional<store::Item> item;
  if (Status looked = reader_.Find(name, item); !looked) {
    placer_.Fail(name, looked);
  } else if (item && (item->kind == ItemKind::kFile || item->kind == ItemKind::kLink)) {
    TakeItem(*item);
  } else {
    TakeDirectory(name, item);
  }
}

void RestoreRun::TakeDirectory(const std::string& name, const std::optional<store::Item>& item) {
  DirectoryRequest request;
  request.asked = item ? item->name : name;
  request.item = item;
  request.placeOf = [this](const std::string& saved) { return PlaceOf(saved); };
  request.whyNot = [] { return std::string(); };
  if (RestoreDirectory(request, reader_, placer_) == DirectoryOutcome::kNothing) {
    placer_.Fail(name, Status::Missing("the saveset has no such item"));
  }
}

// Whether no other item went to the place before. `/a` and `a`, for example, have the same place.
bool RestoreRun::IsFirstAt(const std::string& place, const store::Item& item) {
  const std::size_t hash = std::hash<std::string>()(platform::FoldName(place));
  return taken_.try_emplace(hash, item.number).first->second == item.number;
}

void RestoreRun::TakeItem(const store::Item& item) {
  Placer::Target target = TargetOf(item.name);
  if (!IsFirstAt(target.place, item)) {
    placer_.Fail(item.name, Status::Failed("another item comes to " + target.place +
                                           ": restore it by its name, to another directory"));
  } else if (store::HasDots(item.name)) {
    placer_.Fail(item.name, Status::Failed("its name has a component . or .., which could lead anywhere"));
  } else if (item.kind == ItemKind::kLink) {
    // The files before the link must go where its name has led until now.
    placer_.Settle();
    static_cast<void>(placer_.PutLink(item, target));
  } else if (item.kind == ItemKind::kFile && !item.marker) {
    placer_.PutFile(item, target, {});
  } else {
    // A directory of which only the name was saved.
    target.place = item.marker ? platform::DirectoryOf(target.place) : target.place;
    static_cast<void>(placer_.PutDirectory(target, Placer::Make::kFinished, {}));
  }
}

// Directories that were saved whole come first. What is in them comes with them, even if it was also saved by
// itself.
void RestoreRun::TakeAll(store::Catalog& rows, const store::Saveset& saveset) {
  std::vector<std::string> directories;
  std::vector<store::Item> wholes;
  Status listed = rows.ListItems(saveset, [&](const store::Item& item) {
    if (item.kind == ItemKind::kDirectory && item.directory == 0) {
      directories.push_back(store::ItemKey(item.name));
      wholes.push_back(item);
    }
    return Status();
  });
  for (const store::Item& whole : wholes) {
    if (listed && !platform::Interrupted() && !IsInOneOf(directories, store::ItemKey(whole.name))) {
      TakeDirectory(whole.name, whole);
    }
  }
  if (listed) {
    listed = rows.ListItems(saveset, [&](const store::Item& item) {
      if (platform::Interrupted()) {
        return Status::Interrupted();
      }
      if (item.directory == 0 && item.kind != ItemKind::kDirectory &&
          !IsInOneOf(directories, store::ItemKey(item.name))) {
        TakeItem(item);
      }
      return Status();
    });
  }
  if (!listed) {
    placer_.Fail(directory_, listed);
  }
}

}  // namespace korvo
