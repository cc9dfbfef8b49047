#include "backint/backup/saveset_packing.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "backint/base/trace.h"

namespace {

constexpr const char* kTraceSource = "backint_util";

// By the rules, each saveset needs a walk over all files that wait. Two facts make this cheap. The total
// never falls, so the files of one size (a class) are taken or passed over from the front of the class on.
// And a file that does not fit matters only as the candidate for the tolerance. So a pass jumps from each
// class that fits to the next one, and looks at only one class between them.
class Packer {
 public:
  Packer(std::vector<FileRecord> files, std::int32_t maximumMb)
      : files_(std::move(files)), maximum_(maximumMb), toleranceBound_(maximum_ + maximum_ * 10 / 100) {}

  std::vector<ItemList> Pack();

 private:
  // The files of one size that have no place yet: from order_[next] up to, but not including, order_[end].
  struct SizeClass {
    std::size_t next = 0;
    std::size_t end = 0;
  };
  using Classes = std::map<std::int64_t, SizeClass, std::greater<>>;

  void SortBySize();
  void AddClass(std::size_t begin, std::size_t end);

  void PackOneSaveset();
  [[nodiscard]] bool FirstFileOpens() const;
  void OpenSaveset();
  void FirstFit();
  void FillFrom(Classes::iterator sizeClass);
  void RememberCandidate(Classes::iterator fitting, std::int64_t lastTried);
  void Put(Classes::iterator sizeClass);
  void Close();

  std::vector<FileRecord> files_;
  std::int64_t maximum_;
  std::int64_t toleranceBound_;

  std::vector<FileRecord*> order_;  // largest first, without doubles
  Classes waiting_;
  std::size_t filesBeforeDouble_ = std::numeric_limits<std::size_t>::max();  // before the first double

  // Of the saveset being packed.
  ItemList saveset_;
  std::int64_t total_ = 0;
  bool closed_ = false;
  Classes::iterator candidate_;  // the class whose next file is the candidate
  std::int64_t candidateTotal_ = 0;
};

std::vector<ItemList> Packer::Pack() {
  TRACE(3, "INFO: Maximum Saveset size: %d Mb.", static_cast<std::int32_t>(maximum_));
  SortBySize();
  std::vector<ItemList> savesets;
  while (!waiting_.empty()) {
    PackOneSaveset();
    savesets.push_back(std::exchange(saveset_, {}));
  }
  return savesets;
}

void Packer::SortBySize() {
  std::stable_sort(files_.begin(), files_.end(),
                   [](const FileRecord& a, const FileRecord& b) { return a.sizeMb > b.sizeMb; });
  for (std::size_t begin = 0, end = 0; begin < files_.size(); begin = end) {
    while (end < files_.size() && files_[end].sizeMb == files_[begin].sizeMb) {
      ++end;
    }
    AddClass(begin, end);
  }
}

// A double is never packed: if its twin finds no place in a pass, the double finds none either, and once the
// twin has a place, the double is passed over. But it never leaves the list. If it comes before all files
// that wait, a saveset is opened in another way.
void Packer::AddClass(std::size_t begin, std::size_t end) {
  const std::size_t first = order_.size();
  std::unordered_set<std::string_view> names;
  for (std::size_t i = begin; i < end; ++i) {
    if (end - begin == 1 || names.insert(files_[i].name).second) {
      order_.push_back(&files_[i]);
    } else {
      filesBeforeDouble_ = std::min(filesBeforeDouble_, order_.size());
    }
  }
  waiting_.emplace_hint(waiting_.end(), files_[begin].sizeMb, SizeClass{first, order_.size()});
}

void Packer::PackOneSaveset() {
  total_ = 0;
  closed_ = false;
  candidate_ = waiting_.end();
  if (FirstFileOpens()) {
    OpenSaveset();
  }
  FirstFit();
  if (closed_) {
    return;
  }
  if (candidate_ != waiting_.end()) {
    total_ = candidateTotal_;
    Put(candidate_);
  }
  Close();
}

// The first file opens the saveset, however large it is. If a double comes first, files are taken only if
// they fit. But if not even the smallest one fits, this pass would place nothing, nor would the next one;
// then the first file opens the saveset after all.
bool Packer::FirstFileOpens() const {
  const bool doubleInFront = waiting_.begin()->second.next >= filesBeforeDouble_;
  const std::int64_t smallest = waiting_.rbegin()->first;
  return !doubleInFront || (smallest > maximum_ && smallest >= toleranceBound_);
}

void Packer::OpenSaveset() {
  TRACE(3, "INFO: ... Opening saveset list ...");
  total_ = waiting_.begin()->first;
  Put(waiting_.begin());
  if (total_ >= maximum_) {
    Close();
  }
}

void Packer::FirstFit() {
  // The size that was tried last: the walk never comes back to larger ones.
  std::int64_t lastTried = std::numeric_limits<std::int64_t>::max();
  while (!closed_) {
    const auto fitting = waiting_.lower_bound(maximum_ - total_);
    RememberCandidate(fitting, lastTried);
    if (fitting == waiting_.end()) {
      return;
    }
    lastTried = fitting->first;
    FillFrom(fitting);
  }
}

// The smallest of the classes that were passed over on the way to `fitting` becomes the candidate, if it
// stays within the tolerance: each smaller file takes the place of a larger one. The total counts as it is
// now, without files that are placed later.
void Packer::RememberCandidate(Classes::iterator fitting, std::int64_t lastTried) {
  if (fitting == waiting_.begin()) {
    return;
  }
  const auto passedOver = std::prev(fitting);
  if (passedOver->first <= lastTried && total_ + passedOver->first < toleranceBound_) {
    candidate_ = passedOver;
    candidateTotal_ = total_ + passedOver->first;
  }
}

void Packer::FillFrom(Classes::iterator sizeClass) {
  const std::int64_t size = sizeClass->first;
  std::size_t files = sizeClass->second.end - sizeClass->second.next;
  for (; files > 0 && !closed_ && total_ + size <= maximum_; --files) {
    total_ += size;
    Put(sizeClass);
    if (total_ == maximum_) {
      Close();
    }
  }
}

// Moves the next file of the class into the saveset. A class without files is removed.
void Packer::Put(Classes::iterator sizeClass) {
  FileRecord& file = *order_[sizeClass->second.next++];
  TRACE(3, "INFO: Putting file [%s] into saveset (~%dMb).", file.name.c_str(), file.sizeMb);
  saveset_.Push(std::move(file.name));
  if (sizeClass->second.next == sizeClass->second.end) {
    waiting_.erase(sizeClass);
  }
}

void Packer::Close() {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
  TRACE(3, "INFO: ... Closing saveset list ...");
  TRACE(3, "INFO: Saveset size: ~%d Mb.", static_cast<std::int32_t>(std::min(total_, kLargest)));
  closed_ = true;
}

}  // namespace

std::vector<ItemList> PackSavesets(std::vector<FileRecord> files, std::int32_t maximumMb) {
  if (files.empty()) {
    return {};
  }
  return Packer(std::move(files), maximumMb).Pack();
}
