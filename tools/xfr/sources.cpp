#include "xfr/sources.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/platform.h"
#include "store/names.h"
#include "xfr/report.h"

namespace {

// At most twice so many files are open.
constexpr std::size_t kAtOnce = 32;
// What is known of a file dates from its opening. If it waited longer than this, it is opened again.
constexpr std::chrono::milliseconds kLongest(500);

bool TakesLong(const Source& source) {
  constexpr std::uint64_t kLarge = 1024 * 1024;
  return source.kind == platform::EntryKind::kDirectory ||
         (source.file != nullptr && source.file->FactsAtOpening().size > kLarge);
}

// Why the item cannot be saved because of its name; empty if it can.
std::string RefusalOf(const std::string& item) {
  if (platform::IsSystemName(item) && item.find('\\') != std::string::npos) {
    return "a name with a backslash could not be told from another file";
  }
  if (store::HasDots(item)) {
    return "its name has . or .. in it: name it by the way that leads to it";
  }
  return CanBeReported(item) ? "" : "its name holds a line break or a text that this program reports with";
}

}  // namespace

Source Sources::Take(std::size_t index) {
  bool any = true;
  while (any && index >= first_ + opened_.size()) {
    TakeOver();
    any = !opened_.empty();
  }
  Source source;
  if (any && Clock::now() - opened_[index - first_].when <= kLongest) {
    source = std::move(opened_[index - first_].source);
  } else {
    opening_.Wait();
    source = Open(std::string(items_[index]));
  }
  if (TakesLong(source)) {
    CloseAhead();
  }
  return source;
}

// No file stays open for hours, while another one is saved.
void Sources::CloseAhead() {
  opening_.Wait();
  for (std::vector<Opened>* const ahead : {&opened_, &next_}) {
    std::generate(ahead->begin(), ahead->end(), [] { return Opened(); });
  }
}

// Takes what the other thread has opened, and lets it open the next ones.
void Sources::TakeOver() {
  if (opened_.empty() && next_.empty()) {
    OpenNext();
  }
  opening_.Wait();
  first_ += opened_.size();
  opened_ = std::exchange(next_, {});
  OpenNext();
}

void Sources::OpenNext() {
  std::vector<std::string> names = items_.Names(first_ + opened_.size(), kAtOnce);
  if (names.empty()) {
    return;
  }
  opening_.Add();
  thread_.Do([this, names = std::move(names)] {
    try {
      for (const std::string& name : names) {
        next_.push_back({Open(name), Clock::now()});
      }
    } catch (const std::bad_alloc&) {
      next_.clear();  // `Take` then finds that there is no memory
    }
    opening_.Done();
  });
}

Source Sources::Open(const std::string& item) {
  Source source;
  source.refusal = RefusalOf(item);
  if (source.refusal.empty() && own_.ContainsPath(item, source.kind)) {
    source.refusal = "it belongs to the repository itself";
  }
  if (source.refusal.empty() && source.kind != platform::EntryKind::kDirectory) {
    source.file = platform::DataFile::OpenForReading(item, source.why);
  }
  return source;
}
