#include "backint/server/item_matcher.h"

#include <algorithm>

#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/server/status_line.h"
#include "platform/platform.h"

namespace {

// The first of the items in several rows of rising positions.
std::optional<std::size_t> FirstOf(const std::vector<const TailIndex::Positions*>& rows) {
  std::optional<std::size_t> first;
  for (const TailIndex::Positions* row : rows) {
    if (!first || row->front() < *first) {
      first = row->front();
    }
  }
  return first;
}

}  // namespace

std::string RelocatedName(const std::string& name, const std::string& destination) {
  std::string relocated = name;
  if (!destination.empty()) {
    std::string directory = destination;
    ReallocateItem(relocated, directory);
  }
  return relocated;
}

std::string WithoutLeadingDotSlash(std::string name) {
  for (const char leading : {'.', '/'}) {
    if (name.starts_with(leading)) {
      name.erase(0, 1);
    }
  }
  return name;
}

std::string CheckForm(std::string_view name) { return ToUnix(Upper(name)); }

std::string CheckFormOfLine(std::string_view line) { return ToUnix(Upper(UpToLastBracket(line))); }

ItemMatcher::ItemMatcher(const ItemList& names, const std::string& destination) {
  std::unordered_map<std::string, std::size_t> lastOfForm;
  std::size_t position = 0;
  for (const std::string& name : names) {
    listForms_.push_back(platform::ToSystemForm(name));
    const std::string& relocated = relocated_.emplace_back(RelocatedName(name, destination));
    const bool systemName = platform::IsSystemName(relocated);
    const std::string form = systemName ? relocated : Upper(RelocatedName(listForms_.back(), destination));
    if (systemName) {
      systemTails_.Add(form, position);
      systemNames_[form].push_back(position);
    } else {
      checkTails_.Add(CheckForm(WithoutLeadingDotSlash(relocated)), position);
      takeTails_.Add(form, position);
    }
    const auto [last, isNew] = lastOfForm.try_emplace(form, position);
    const bool repeated = !isNew && listForms_[last->second] == listForms_[position];
    repetitions_.push_back(repeated ? repetitions_[last->second] : position);
    last->second = position;
    ++position;
  }
}

std::optional<std::size_t> ItemMatcher::FindConfirmed(const std::string& line, bool directories) const {
  return directories ? FindDirectoryOrFile(line) : FirstOf(FindConfirming(line, ""));
}

// The items that an item line names with `separator` behind them.
ItemMatcher::Rows ItemMatcher::FindConfirming(const std::string& line, std::string_view separator) const {
  const std::optional<std::string> path = ReportedPath(line);
  if (path && path->ends_with(separator)) {
    const auto exact = systemNames_.find(path->substr(0, path->size() - separator.size()));
    if (exact != systemNames_.end()) {
      return {&exact->second};
    }
  }
  Rows found = checkTails_.FindFirstTails(CheckFormOfLine(line), separator);
  if (!path) {
    const Rows more = systemTails_.FindFirstTails(std::string(UpToLastBracket(line)), separator);
    found.insert(found.end(), more.begin(), more.end());
  }
  return found;
}

// What kind of thing an item is, is looked up for those alone that the line could confirm.
std::optional<std::size_t> ItemMatcher::FindDirectoryOrFile(const std::string& line) const {
  std::optional<std::size_t> first;
  const auto search = [&](const Rows& rows, bool wantsDirectory) {
    for (const Positions* row : rows) {
      for (const std::size_t position : *row) {
        if ((!first || position < *first) && IsDirectory(relocated_[position]) == wantsDirectory) {
          first = position;
        }
      }
    }
  };
  search(FindConfirming(line, ""), false);
  search(FindConfirming(line, "/"), true);
  return first;
}

ItemMatcher::Rows ItemMatcher::FindCandidates(const std::string& path, bool systemPath) const {
  if (!systemPath) {
    return takeTails_.FindFirstTails(Upper(path));
  }
  const auto exact = systemNames_.find(path);
  return exact == systemNames_.end() ? Rows() : Rows{&exact->second};
}

// The first candidate behind `last`, but none of the name to skip.
std::optional<std::size_t> ItemMatcher::NextMatch(const Positions& candidates,
                                                  std::optional<std::size_t> last,
                                                  const std::string* nameToSkip) const {
  auto next = last ? std::upper_bound(candidates.begin(), candidates.end(), *last) : candidates.begin();
  if (next != candidates.end() && nameToSkip != nullptr && listForms_[*next] == *nameToSkip) {
    next = std::partition_point(
        next, candidates.end(),
        [this, same = repetitions_[*next]](std::size_t position) { return repetitions_[position] == same; });
  }
  return next == candidates.end() ? std::nullopt : std::optional(*next);
}

std::vector<ItemMatcher::Match> ItemMatcher::MatchPath(const std::string& path, bool all) const {
  const bool systemPath = systemNames_.contains(path);
  std::vector<Match> matches;
  std::string current = path;
  for (std::optional<std::size_t> last;;) {
    std::optional<std::size_t> next;
    for (const Positions* candidates : FindCandidates(current, systemPath)) {
      const std::optional<std::size_t> found =
          NextMatch(*candidates, last, all || matches.empty() ? nullptr : &current);
      next = found && (!next || *found < *next) ? found : next;
    }
    if (!next) {
      return matches;
    }
    last = next;
    current = listForms_[*next];
    matches.push_back({*next, current});
  }
}
