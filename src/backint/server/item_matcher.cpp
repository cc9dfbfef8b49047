#include "backint/server/item_matcher.h"

#include <algorithm>

#include "backint/base/path.h"
#include "backint/base/text.h"
#include "backint/server/status_line.h"
#include "platform/platform.h"

namespace {

// The first of all items in several rows; the positions in a row rise.
std::optional<std::size_t> FirstOf(const std::vector<TailIndex::Positions>& rows) {
  std::optional<std::size_t> first;
  for (const TailIndex::Positions row : rows) {
    if (!first || row.front() < *first) {
      first = row.front();
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

ItemMatcher::ItemMatcher(const ItemList& names, std::string destination)
    : names_(names), destination_(std::move(destination)) {
  LastOfForm lastOfSystemForm;
  LastOfForm lastOfTakeForm;
  repetitions_.reserve(names.Count());
  for (const std::string& name : names) {
    Add(name, lastOfSystemForm, lastOfTakeForm);
  }
  for (TailIndex* index : {&checkTails_, &takeTails_, &systemNames_}) {
    index->Finish();
  }
}

void ItemMatcher::Add(const std::string& name, LastOfForm& lastOfSystemForm, LastOfForm& lastOfTakeForm) {
  const auto position = static_cast<std::uint32_t>(repetitions_.size());
  const std::string relocated = RelocatedName(name, destination_);
  const bool systemName = platform::IsSystemName(relocated);
  std::uint32_t form = 0;
  if (systemName) {
    form = systemNames_.Add(relocated, position);
  } else {
    checkTails_.Add(CheckForm(WithoutLeadingDotSlash(relocated)), position);
    form = takeTails_.Add(Upper(RelocatedName(platform::ToSystemForm(name), destination_)), position);
  }
  LastOfForm& lastOfForm = systemName ? lastOfSystemForm : lastOfTakeForm;
  const bool isNew = form == lastOfForm.size();
  const bool repeated = !isNew && ListForm(lastOfForm[form]) == ListForm(position);
  repetitions_.push_back(repeated ? repetitions_[lastOfForm[form]] : position);
  if (isNew) {
    lastOfForm.push_back(position);
  }
  lastOfForm[form] = position;
}

std::string ItemMatcher::ListForm(std::size_t position) const {
  return platform::ToSystemForm(*names_.Get(position + 1));
}

std::optional<std::size_t> ItemMatcher::FindConfirmed(const std::string& line, bool directories) const {
  return directories ? FindDirectoryOrFile(line) : FirstOf(FindConfirming(line, ""));
}

// The items that an item line names with `separator` after the name.
ItemMatcher::Rows ItemMatcher::FindConfirming(const std::string& line, std::string_view separator) const {
  const std::optional<std::string> path = ReportedPath(line);
  if (path && path->ends_with(separator)) {
    const Positions exact =
        systemNames_.Find(std::string_view(*path).substr(0, path->size() - separator.size()));
    if (!exact.empty()) {
      return {exact};
    }
  }
  Rows found = checkTails_.FindFirstTails(CheckFormOfLine(line), separator);
  if (!path) {
    const Rows more = systemNames_.FindFirstTails(UpToLastBracket(line), separator);
    found.insert(found.end(), more.begin(), more.end());
  }
  return found;
}

// Only for items that the line could confirm, the system is asked whether they are directories.
std::optional<std::size_t> ItemMatcher::FindDirectoryOrFile(const std::string& line) const {
  std::optional<std::size_t> first;
  const auto search = [&](const Rows& rows, bool wantsDirectory) {
    for (const Positions row : rows) {
      for (const std::size_t position : row) {
        if ((!first || position < *first) &&
            IsDirectory(RelocatedName(*names_.Get(position + 1), destination_)) == wantsDirectory) {
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
  const Positions exact = systemNames_.Find(path);
  return exact.empty() ? Rows() : Rows{exact};
}

// The first candidate after `last` that has not the name to skip.
std::optional<std::size_t> ItemMatcher::NextMatch(Positions candidates, std::optional<std::size_t> last,
                                                  const std::string* nameToSkip) const {
  auto next = last ? std::upper_bound(candidates.begin(), candidates.end(), *last) : candidates.begin();
  if (next != candidates.end() && nameToSkip != nullptr && ListForm(*next) == *nameToSkip) {
    next = std::partition_point(
        next, candidates.end(),
        [this, same = repetitions_[*next]](std::size_t position) { return repetitions_[position] == same; });
  }
  return next == candidates.end() ? std::nullopt : std::optional(*next);
}

std::vector<ItemMatcher::Match> ItemMatcher::MatchPath(const std::string& path, bool all) const {
  const bool systemPath = !systemNames_.Find(path).empty();
  std::vector<Match> matches;
  std::string current = path;
  for (std::optional<std::size_t> last;;) {
    std::optional<std::size_t> next;
    for (const Positions candidates : FindCandidates(current, systemPath)) {
      const std::optional<std::size_t> found =
          NextMatch(candidates, last, all || matches.empty() ? nullptr : &current);
      next = found && (!next || *found < *next) ? found : next;
    }
    if (!next) {
      return matches;
    }
    last = next;
    current = ListForm(*next);
    matches.push_back({*next, current});
  }
}
