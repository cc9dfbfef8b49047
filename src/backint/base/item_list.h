// The program's working list: records in the order in which they were added.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A record is text of any length and content. Equal records are all kept. Positions count from 1.
//
// A record takes its own bytes and one number, because a run may have millions of records. Reading gives a
// copy; an iterator has one copy, which it uses again for each record.
class ItemList {
 public:
  ItemList() = default;
  ItemList(std::initializer_list<std::string_view> records) {
    for (const std::string_view record : records) {
      Push(record);
    }
  }

  void Push(std::string_view record) {
    text_ += record;
    ends_.push_back(text_.size());
  }

  // The record at a position; nothing if there is no such position.
  [[nodiscard]] std::optional<std::string> Get(std::size_t position) const;

  // Whether a record is equal to this text, letter for letter. Compares with one record after the other.
  [[nodiscard]] bool Contains(std::string_view text) const;

  [[nodiscard]] std::size_t Count() const { return ends_.size(); }
  [[nodiscard]] bool Empty() const { return ends_.empty(); }

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = std::string;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = const std::string&;

    Iterator(const ItemList& list, std::size_t index) : list_(&list), index_(index) {}
    // Valid until the iterator moves on.
    const std::string& operator*() const { return record_.assign(list_->At(index_)); }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    const ItemList* list_;
    std::size_t index_;
    mutable std::string record_;  // used again for each record: a run may have millions
  };
  [[nodiscard]] Iterator begin() const { return {*this, 0}; }
  [[nodiscard]] Iterator end() const { return {*this, ends_.size()}; }

 private:
  [[nodiscard]] std::size_t BeginOf(std::size_t index) const { return index == 0 ? 0 : ends_[index - 1]; }
  [[nodiscard]] std::string_view At(std::size_t index) const {
    return std::string_view(text_).substr(BeginOf(index), ends_[index] - BeginOf(index));
  }

  std::string text_;               // all records, one after the other
  std::vector<std::size_t> ends_;  // where each record ends in `text_`
};

// All records as one text, with one blank between two records.
[[nodiscard]] std::string JoinItems(const ItemList& list);

// The first `limit` characters of the joined list. Records after them are not read. True if the joined list
// is shorter than `limit`, so that `text` contains all of it.
bool JoinUpTo(const ItemList& list, std::size_t limit, std::string& text);
