// A table for people: columns as wide as what is in them, on a terminal no wider than that.
#pragma once

#include <string>
#include <vector>

namespace korvo {

enum class Align { kLeft, kRight };  // text, numbers

struct Column {
  std::string title;
  Align align = Align::kLeft;
};

class Table {
 public:
  explicit Table(std::vector<Column> columns);
  // As many cells as there are columns.
  void Add(std::vector<std::string> row);
  // Prints the rows that were added since the last call, the titles before the first of them. A long table is
  // printed in portions; its columns may grow from one to the next.
  void Print();
  // The same once there are so many rows that they are worth it, so that a table of any length takes little
  // memory.
  void PrintWhenLong();

 private:
  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
};

// The lines of a table. Where they would be longer than `most` characters, the widest columns of text are
// shortened, as far as that makes sense; 0 stands for any length. `utf8` says how text is made of characters.
[[nodiscard]] std::vector<std::string> TableLines(const std::vector<Column>& columns,
                                                  const std::vector<std::vector<std::string>>& rows,
                                                  std::vector<std::size_t> widths, std::size_t most,
                                                  bool utf8);

}  // namespace korvo
