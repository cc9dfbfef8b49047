// Opens the files of a request a few items ahead. Opening is a third of all the work on a small file, and
// another core can do it.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "platform/tree.h"
#include "store/load/work_queue.h"
#include "xfr/name_list.h"
#include "xfr/own_files.h"

// What an item is found to be.
struct Source {
  std::string refusal;  // why it is not saved, whatever it is; empty for most
  platform::EntryKind kind = platform::EntryKind::kOther;  // behind all links
  std::unique_ptr<platform::DataFile> file;                // null for a directory, or if it was not opened
  std::string why;                                         // why it was not opened
};

class Sources {
 public:
  // Both must outlive this object. Meanwhile nobody else may call `own.ContainsPath`.
  Sources(const NameList& items, OwnFiles& own) : items_(items), own_(own) {}
  Sources(const Sources&) = delete;
  Sources& operator=(const Sources&) = delete;
  ~Sources() { opening_.Wait(); }

  // At most once for each index, in rising order.
  [[nodiscard]] Source Take(std::size_t index);

 private:
  using Clock = std::chrono::steady_clock;
  struct Opened {
    Source source;
    Clock::time_point when;
  };

  void OpenNext();
  void TakeOver();
  void CloseAhead();
  [[nodiscard]] Source Open(const std::string& item);

  const NameList& items_;
  OwnFiles& own_;
  std::size_t first_ = 0;       // index of the first one in `opened_`
  std::vector<Opened> opened_;  // in their order
  std::vector<Opened> next_;    // the ones after them, opened by the other thread
  store::Pending opening_;
  store::WorkQueue thread_{1};
};
