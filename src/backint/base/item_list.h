// The program's working list: records in the order of their pushing, read in passes that do not consume.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Records are opaque text of any length, blanks included; doubles are kept. Positions count from 1. Position
// operations and plain walks (`for (const std::string& item : list)`) do not move the read cursor.
class ItemList {
 public:
  ItemList() = default;
  ItemList(std::initializer_list<std::string> records) : records_(records) {}

  void Push(std::string record) { records_.push_back(std::move(record)); }

  // Pushes a copy of each record of `source`, another list.
  void AppendAll(const ItemList& source);

  // Copies out the record at the cursor and moves on. Behind the last record it gives false once, and the
  // next call begins a new pass; an empty list gives false at every call. Callers run a pass to its false.
  [[nodiscard]] bool Next(std::string& record);

  // The record at a position; null if there is none. Valid until the list changes.
  [[nodiscard]] const std::string* Get(std::size_t position) const;

  // Takes out the record at a position, and those behind it move up; false if there is none. Between passes
  // only.
  bool Remove(std::size_t position);

  // Whether some record is this text, letter for letter.
  [[nodiscard]] bool Contains(std::string_view text) const;

  // The number of records from the cursor to the end: all of them between passes.
  [[nodiscard]] std::size_t Count() const { return records_.size() - cursor_; }

  [[nodiscard]] bool Empty() const { return records_.empty(); }
  [[nodiscard]] std::vector<std::string>::const_iterator begin() const { return records_.begin(); }
  [[nodiscard]] std::vector<std::string>::const_iterator end() const { return records_.end(); }

 private:
  std::vector<std::string> records_;
  std::size_t cursor_ = 0;  // index of the record that the next read delivers
};

// The joined list: all records as one text with one blank between any two.
[[nodiscard]] std::string JoinItems(const ItemList& list);

// The first `limit` characters of the joined list, built only as far as that. True if the joined list is
// shorter than `limit`, so that `text` is all of it.
bool JoinUpTo(const ItemList& list, std::size_t limit, std::string& text);
