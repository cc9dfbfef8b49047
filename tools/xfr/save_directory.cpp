#include "xfr/save_directory.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "backint/base/path.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "store/names.h"
#include "xfr/report.h"

using store::Status;

namespace {

// Everything in a directory, link by link. Whatever cannot be saved is named before any data is read.
class Walk {
 public:
  Walk(const store::Repository& repository, Outcome& outcome) : outcome_(outcome) {
    std::string why;
    for (const std::string& directory : repository.Directories()) {
      if (platform::Entry entry; platform::ReadEntry(directory, entry, why)) {
        leftOut_.push_back(entry.id);
      }
    }
  }

  // The directory itself, which may be named by a link, stands first.
  void Begin(const std::string& item) {
    std::string target;
    std::string why;
    platform::Entry entry;
    if (!platform::FollowLinks(item, target, why) || !platform::ReadEntry(target, entry, why)) {
      Refuse(item, why, outcome_);
    } else if (IsLeftOut(entry)) {
      Refuse(item, "it belongs to the repository itself", outcome_);
    } else {
      Add(item, entry, store::ItemKind::kDirectory);
      items_.back().inside = false;
      TakeEntriesOf(std::string(store::WithoutEndSeparators(item)));
    }
  }

  [[nodiscard]] const std::vector<store::Item>& Items() const { return items_; }

 private:
  [[nodiscard]] bool IsLeftOut(const platform::Entry& entry) const {
    return std::find(leftOut_.begin(), leftOut_.end(), entry.id) != leftOut_.end();
  }

  void Add(const std::string& path, const platform::Entry& entry, store::ItemKind kind) {
    store::Item item;
    item.name = path;
    item.kind = kind;
    item.inside = true;
    item.link = entry.link;
    item.facts = entry.facts;
    items_.push_back(std::move(item));
  }

  void TakeEntriesOf(const std::string& directory) {
    std::vector<std::string> names;
    std::string why;
    std::string unusableName;
    if (!platform::ListDirectory(directory, names, &why, &unusableName)) {
      Refuse(directory, unusableName.empty() ? "the directory cannot be read" : why, outcome_);
      return;
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      const std::string path = WithSeparator(directory, platform::SeparatorOf(directory)) + name;
      if (name.find('\\') != std::string::npos) {
        Refuse(path, "a name with a backslash could not be told from another file", outcome_);
      } else {
        Take(path);
      }
    }
  }

  void Take(const std::string& path) {
    if (platform::Interrupted()) {
      if (!outcome_.failed) {
        Refuse(path, store::kToldToEnd, outcome_);
      }
      return;
    }
    platform::Entry entry;
    std::string why;
    if (!platform::ReadEntry(path, entry, why)) {
      Refuse(path, why, outcome_);
      return;
    }
    switch (entry.kind) {
      case platform::EntryKind::kFile:
        Add(path, entry, store::ItemKind::kFile);
        break;
      case platform::EntryKind::kLink:
        Add(path, entry, store::ItemKind::kLink);
        break;
      case platform::EntryKind::kDirectory:
        if (IsLeftOut(entry)) {
          ReportNote(path + " belongs to the repository itself and is left out");
          break;
        }
        Add(path, entry, store::ItemKind::kDirectory);
        TakeEntriesOf(path);
        break;
      case platform::EntryKind::kOther:
        Refuse(path, "it is no regular file, directory or symbolic link", outcome_);
        break;
    }
  }

  Outcome& outcome_;
  std::vector<platform::FileId> leftOut_;
  std::vector<store::Item> items_;
};

// A bad status is the store's.
Status SaveEntry(const store::Item& item, store::SavesetWriter& writer, Outcome& outcome) {
  if (item.kind != store::ItemKind::kFile) {
    writer.AddEntry(item);
    return {};
  }
  store::Saved saved;
  if (const auto source = platform::DataFile::OpenForReading(item.name, saved.trouble)) {
    if (Status status = writer.SaveInside(item.name, *source, saved); !status) {
      return status;
    }
  }
  TakeIn(item.name, saved, outcome);
  return {};
}

}  // namespace

Status SaveDirectory(const std::string& item, const store::Repository& repository,
                     store::SavesetWriter& writer, Outcome& outcome) {
  Outcome here;
  Walk walk(repository, here);
  walk.Begin(item);
  Status store = writer.BeginDirectory();
  for (const store::Item& entry : walk.Items()) {
    if (!store || here.failed) {
      break;
    }
    store = SaveEntry(entry, writer, here);
  }
  Status ended = writer.EndDirectory(store && !here.failed);
  outcome.failed = outcome.failed || here.failed;
  outcome.warnings = outcome.warnings || here.warnings;
  return store ? ended : store;
}
