#include "korvo/table.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "korvo/output.h"
#include "platform/terminal.h"

namespace korvo {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kLeastWidth = 8;  // of a column that is shortened

bool Continues(char byte) {
  constexpr unsigned char kMask = 0xC0;
  constexpr unsigned char kContinuation = 0x80;
  return (static_cast<unsigned char>(byte) & kMask) == kContinuation;
}

std::size_t WidthOf(std::string_view text, bool utf8) {
  return utf8 ? static_cast<std::size_t>(
                    std::count_if(text.begin(), text.end(), [](char byte) { return !Continues(byte); }))
              : text.size();
}

// The position after so many characters.
std::size_t PositionOf(std::string_view text, std::size_t characters, bool utf8) {
  std::size_t position = 0;
  while (characters > 0 && position < text.size()) {
    ++position;
    while (utf8 && position < text.size() && Continues(text[position])) {
      ++position;
    }
    --characters;
  }
  return position;
}

// Keeps both ends of a long text, because they tell more than its beginning alone. Of a path, the end tells
// most.
std::string Shortened(const std::string& text, std::size_t width, bool utf8) {
  const std::size_t length = WidthOf(text, utf8);
  if (length <= width) {
    return text;
  }
  const std::string gap = utf8 ? "…" : "...";
  const std::size_t kept = width - WidthOf(gap, utf8);
  const std::size_t head = kept / 3;
  return text.substr(0, PositionOf(text, head, utf8)) + gap +
         text.substr(PositionOf(text, length - (kept - head), utf8));
}

// Shortens the widest column of text as far as necessary and possible, then the next one.
void FitInto(const std::vector<Column>& columns, std::vector<std::size_t>& widths, std::size_t most) {
  std::size_t whole = std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
  std::vector<std::size_t> order(widths.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&widths](std::size_t a, std::size_t b) { return widths[a] > widths[b]; });
  for (const std::size_t column : order) {
    if (whole > most && columns[column].align == Align::kLeft && widths[column] > kLeastWidth) {
      const std::size_t less = std::min(whole - most, widths[column] - kLeastWidth);
      widths[column] -= less;
      whole -= less;
    }
  }
}

std::string LineOf(const std::vector<Column>& columns, const std::vector<std::string>& row,
                   const std::vector<std::size_t>& widths, bool utf8) {
  std::string line;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const bool text = columns[i].align == Align::kLeft;
    const std::string cell = text ? Shortened(row[i], widths[i], utf8) : row[i];
    const std::size_t width = WidthOf(cell, utf8);
    const std::string blanks(widths[i] > width ? widths[i] - width : 0, ' ');
    line += (i == 0 ? "" : std::string(kGap, ' ')) + (text ? cell + blanks : blanks + cell);
  }
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

std::vector<std::string> TableLines(const std::vector<Column>& columns,
                                    const std::vector<std::vector<std::string>>& rows,
                                    std::vector<std::size_t> widths, std::size_t most, bool utf8) {
  if (most != 0) {
    FitInto(columns, widths, most);
  }
  std::vector<std::string> lines;
  lines.reserve(rows.size());
  for (const std::vector<std::string>& row : rows) {
    lines.push_back(LineOf(columns, row, widths, utf8));
  }
  return lines;
}

Table::Table(std::vector<Column> columns) : columns_(std::move(columns)), widths_(columns_.size(), 0) {
  std::vector<std::string> titles;
  std::transform(columns_.begin(), columns_.end(), std::back_inserter(titles),
                 [](const Column& column) { return column.title; });
  Add(std::move(titles));
}

void Table::Add(std::vector<std::string> row) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    widths_[i] = std::max(widths_[i], WidthOf(row[i], platform::TextIsUtf8()));
  }
  rows_.push_back(std::move(row));
}

void Table::PrintWhenLong() {
  constexpr std::size_t kMostRows = 500;
  if (rows_.size() >= kMostRows) {
    Print();
  }
}

void Table::Print() {
  for (const std::string& line :
       TableLines(columns_, rows_, widths_, platform::ColumnsOf(platform::Standard::kOutput),
                  platform::TextIsUtf8())) {
    korvo::Print(line);
  }
  rows_.clear();
}

}  // namespace korvo
