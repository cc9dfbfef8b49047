// A table for people. Its columns are as wide as their contents. On a terminal, long texts are shortened so
// that the table fits.
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
  // Adds a row, with as many cells as there are columns.
  void Add(std::vector<std::string> row);
  // Prints the rows that were added since the last call; the first call prints the titles too. A long table
  // is printed in portions, and its columns may grow from one to the next.
  void Print();
  // The same once 500 rows wait, so that a table of any length takes little memory. Call it after each row.
  void PrintWhenLong();

 private:
  std::vector<Column> columns_;
  std::vector<std::size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
};

// The lines of a table whose columns have these widths. If the lines would be longer than `most` characters,
// the widest columns of text are shortened, but not below eight characters; 0 means any length. `utf8`: a
// character may have several bytes.
[[nodiscard]] std::vector<std::string> TableLines(const std::vector<Column>& columns,
                                                  const std::vector<std::vector<std::string>>& rows,
                                                  std::vector<std::size_t> widths, std::size_t most,
                                                  bool utf8);

}  // namespace korvo
