// The program's working list: records in the order of their pushing.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Records are opaque text of any length, blanks included; doubles are kept. Positions count from 1.
//
// A record takes its own bytes and one number, so that a run may have millions; what is read is a copy, of
// which an iterator has one.
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

  // The record at a position; none if there is none.
  [[nodiscard]] std::optional<std::string> Get(std::size_t position) const;

  // Whether some record is this text, letter for letter.
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
    mutable std::string record_;  // one for all of them: a run may have millions
  };
  [[nodiscard]] Iterator begin() const { return {*this, 0}; }
  [[nodiscard]] Iterator end() const { return {*this, ends_.size()}; }

 private:
  [[nodiscard]] std::size_t BeginOf(std::size_t index) const { return index == 0 ? 0 : ends_[index - 1]; }
  [[nodiscard]] std::string_view At(std::size_t index) const {
    return std::string_view(text_).substr(BeginOf(index), ends_[index] - BeginOf(index));
  }

  std::string text_;               // all records, one after the other
  std::vector<std::size_t> ends_;  // of each record in the text
};

// The joined list: all records as one text with one blank between any two.
[[nodiscard]] std::string JoinItems(const ItemList& list);

// The first `limit` characters of the joined list, built only as far as that. True if the joined list is
// shorter than `limit`, so that `text` is all of it.
bool JoinUpTo(const ItemList& list, std::size_t limit, std::string& text);
