// The items of a job after the run of the mover, each with its status.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "backint/base/item_list.h"
#include "backint/caller/result_line.h"

struct ItemEntry {
  const std::string& name;  // valid until the iterator moves on
  ItemStatus status = ItemStatus::kDone;
};

// Entries in the order in which they were added. Reading gives a copy, as with an ItemList.
class ItemEntries {
 public:
  ItemEntries() = default;
  ItemEntries(ItemList names, ItemStatus ofAll)
      : names_(std::move(names)), statuses_(names_.Count(), ofAll) {}

  void Push(std::string_view name, ItemStatus status) {
    names_.Push(name);
    statuses_.push_back(status);
  }
  [[nodiscard]] std::size_t Count() const { return statuses_.size(); }

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = ItemEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = ItemEntry;

    Iterator(ItemList::Iterator name, std::vector<ItemStatus>::const_iterator status)
        : name_(std::move(name)), status_(status) {}
    ItemEntry operator*() const { return {*name_, *status_}; }
    Iterator& operator++() {
      ++name_;
      ++status_;
      return *this;
    }
    bool operator==(const Iterator& other) const { return status_ == other.status_; }

   private:
    ItemList::Iterator name_;
    std::vector<ItemStatus>::const_iterator status_;
  };
  [[nodiscard]] Iterator begin() const { return {names_.begin(), statuses_.begin()}; }
  [[nodiscard]] Iterator end() const { return {names_.end(), statuses_.end()}; }

 private:
  ItemList names_;
  std::vector<ItemStatus> statuses_;
};

// An entry as the trace shows it: the name, directly followed by the digit of the status.
[[nodiscard]] std::string EntryText(const ItemEntry& entry);

// The entries, separated by one blank, as far as a trace line shows them.
[[nodiscard]] std::string ShownEntries(const ItemEntries& entries);
