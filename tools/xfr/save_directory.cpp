#include "xfr/save_directory.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "backint/base/path.h"
#include "platform/platform.h"
#include "platform/tree.h"
#include "store/names.h"
#include "xfr/name_list.h"
#include "xfr/report.h"

using store::ItemKind;
using store::Status;

namespace {

// Goes through everything in a directory, in the order of the names of each directory, and follows no links.
// Keeps only the names of the directories on the way.
class Walk {
 public:
  // `visit` gets what can be saved. Its failure is one of the store, and ends the walk. `leftOut` gets the
  // paths of what belongs to the repository, `ahead` the paths of what may come next.
  using Visit = std::function<Status(const std::string& path, const platform::Entry& entry)>;
  using LeftOut = std::function<void(const std::string& path)>;
  using Ahead = std::function<void(const std::vector<std::string>& paths)>;
  Walk(const OwnFiles& own, Outcome& outcome, Visit visit, LeftOut leftOut, Ahead ahead)
      : own_(own),
        outcome_(outcome),
        visit_(std::move(visit)),
        leftOut_(std::move(leftOut)),
        ahead_(std::move(ahead)) {}

  Status Run(const std::string& directory, const platform::FileId& id) {
    return TakeEntriesOf(directory, id);
  }

 private:
  // A directory inside itself, as volumes can be mounted on some systems, has no end.
  Status TakeEntriesOf(const std::string& directory, const platform::FileId& id) {
    if (std::find(way_.begin(), way_.end(), id) != way_.end()) {
      Refuse(directory, "it is a directory above itself", outcome_);
      return {};
    }
    way_.push_back(id);
    Status taken = TakeAllOf(directory, id);
    way_.pop_back();
    return taken;
  }

  Status TakeAllOf(const std::string& directory, const platform::FileId& id) {
    NameList names;
    std::string why;
    std::string unusableName;
    const auto add = [&names](std::string_view name) { names.Add(name); };
    if (!platform::ListDirectory(directory, add, &why, &unusableName)) {
      Refuse(directory, unusableName.empty() ? "the directory cannot be read" : why, outcome_);
      return {};
    }
    if (!IsStill(directory, id)) {
      Refuse(directory, "another directory has taken its place", outcome_);
      return {};
    }
    std::vector<std::uint32_t> order(names.Size());
    for (std::uint32_t i = 0; i < order.size(); ++i) {
      order[i] = i;
    }
    const bool caseless = store::IsWindowsPath(directory);
    std::sort(order.begin(), order.end(), [&names, caseless](std::uint32_t a, std::uint32_t b) {
      return caseless ? store::ComesBefore(names[a], names[b]) : names[a] < names[b];
    });
    for (std::size_t i = 0; i < order.size(); ++i) {
      if (caseless && i > 0 && store::DifferInCaseAlone(names[order[i - 1]], names[order[i]])) {
        Refuse(PathOf(directory, names[order[i]]),
               "its name differs from another one's by the case of letters alone", outcome_);
        continue;
      }
      if (i % store::Catalog::kNamesAtOnce == 0) {
        LookAhead(directory, names, order, i);
      }
      if (Status taken = Take(directory, names[order[i]]); !taken) {
        return taken;
      }
    }
    return {};
  }

  void LookAhead(const std::string& directory, const NameList& names, const std::vector<std::uint32_t>& order,
                 std::size_t first) const {
    const std::size_t behind = std::min(order.size(), first + store::Catalog::kNamesAtOnce);
    std::vector<std::string> paths;
    for (std::size_t i = first; i < behind; ++i) {
      paths.push_back(PathOf(directory, names[order[i]]));
    }
    ahead_(paths);
  }

  static std::string PathOf(const std::string& directory, std::string_view name) {
    return WithSeparator(directory, platform::SeparatorOf(directory)) + std::string(name);
  }

  // Whether the directory is still the one with this id. Its own name may be a link.
  static bool IsStill(const std::string& directory, const platform::FileId& id) {
    std::string target;
    std::string why;
    platform::Entry entry;
    return platform::ReadEntry(directory, entry, why) &&
           (entry.id == id || (platform::FollowLinks(directory, target, why) &&
                               platform::ReadEntry(target, entry, why) && entry.id == id));
  }

  Status Take(const std::string& directory, std::string_view name) {
    const std::string path = PathOf(directory, name);
    if (name.find('\\') != std::string_view::npos) {
      Refuse(path, "a name with a backslash could not be told from another file", outcome_);
      return {};
    }
    if (platform::Interrupted()) {
      return Status::Interrupted();
    }
    platform::Entry entry;
    std::string why;
    if (!platform::ReadEntry(path, entry, why)) {
      Refuse(path, why, outcome_);
      return {};
    }
    if (entry.kind == platform::EntryKind::kOther) {
      Refuse(path, "it is no regular file, directory or symbolic link", outcome_);
      return {};
    }
    if (own_.Contains(entry.id)) {
      leftOut_(path);
      return {};
    }
    if (Status visited = visit_(path, entry); !visited || entry.kind != platform::EntryKind::kDirectory) {
      return visited;
    }
    return TakeEntriesOf(path, entry.id);
  }

  const OwnFiles& own_;
  Outcome& outcome_;
  Visit visit_;
  LeftOut leftOut_;
  Ahead ahead_;
  std::vector<platform::FileId> way_;  // all directories down to the one whose entries are taken
};

// Reports everything that cannot be saved, before any data is read.
Status Check(const std::string& item, const platform::FileId& id, const OwnFiles& own, Outcome& outcome) {
  const auto visit = [](const std::string& /*path*/, const platform::Entry& /*entry*/) { return Status(); };
  const auto leftOut = [](const std::string& path) {
    ReportNote(path + " belongs to the repository itself and is left out");
  };
  return Walk(own, outcome, visit, leftOut, [](const std::vector<std::string>& /*paths*/) {}).Run(item, id);
}

// Fails only if the store fails or the process is interrupted.
Status SaveEntry(const std::string& path, const platform::Entry& entry, store::SavesetWriter& writer,
                 Outcome& outcome) {
  if (entry.kind != platform::EntryKind::kFile) {
    const ItemKind kind =
        entry.kind == platform::EntryKind::kDirectory ? ItemKind::kDirectory : ItemKind::kLink;
    return writer.AddInside(path, kind, entry.facts, entry.link);
  }
  store::Saved saved;
  if (const auto source = platform::DataFile::OpenEntry(path, entry.id, saved.trouble)) {
    if (Status status = writer.SaveInside(path, *source, saved); !status) {
      return status;
    }
  }
  TakeIn(path, saved, outcome);
  return {};
}

// After the first failure the directory is given up, and nothing more is read.
Status SaveEntries(const std::string& item, const platform::FileId& id, const OwnFiles& own,
                   store::SavesetWriter& writer, Outcome& outcome) {
  const auto visit = [&](const std::string& path, const platform::Entry& entry) {
    return outcome.failed ? Status() : SaveEntry(path, entry, writer, outcome);
  };
  const auto leftOut = [](const std::string& /*path*/) {};
  const auto ahead = [&](const std::vector<std::string>& paths) {
    if (!outcome.failed) {
      writer.LookAhead(paths);
    }
  };
  return Walk(own, outcome, visit, leftOut, ahead).Run(item, id);
}

}  // namespace

Status SaveDirectory(const std::string& item, const OwnFiles& own, store::SavesetWriter& writer,
                     Outcome& outcome) {
  std::string target;
  std::string why;
  platform::Entry entry;
  if (!platform::FollowLinks(item, target, why) || !platform::ReadEntry(target, entry, why)) {
    Refuse(item, why, outcome);
    return {};
  }
  const std::string directory(store::WithoutEndSeparators(item));
  if (Status checked = Check(directory, entry.id, own, outcome); !checked || outcome.failed) {
    return checked;
  }
  if (Status begun = writer.BeginDirectory(item, entry.facts); !begun) {
    return begun;
  }
  Status store = SaveEntries(directory, entry.id, own, writer, outcome);
  Status ended = writer.EndDirectory(store && !outcome.failed);
  return store ? ended : store;
}
