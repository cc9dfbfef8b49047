// The write-ahead log's own form, as far as it has to be understood to find damage in it. All numbers in it
// have their highest byte first; the format is that of SQLite's documentation.
//
// When the engine starts anew it reads the log up to the first frame that is not right, and takes that for
// the end: a flipped bit would make it forget what was committed behind. So a mark is written behind the last
// frame of each commit, once it is on the disk; a log that does not reach its mark is damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace store {

inline constexpr std::size_t kPageSize = 4096;
inline constexpr std::size_t kLogHeaderSize = 32;
inline constexpr std::size_t kFrameHeaderSize = 24;
inline constexpr std::size_t kFrameSize = kFrameHeaderSize + kPageSize;
inline constexpr std::size_t kMarkSize = 32;

// Where frame `index`, from 0, begins, and with it the mark of so many frames.
constexpr std::int64_t FrameOffset(std::int64_t index) {
  return static_cast<std::int64_t>(kLogHeaderSize) + index * static_cast<std::int64_t>(kFrameSize);
}

// Reads from the log; false for bytes that are not there.
using ReadLog = std::function<bool(std::int64_t offset, std::size_t size, char* bytes)>;

// Whether the frame holds the page that was written with it. Only for frames that are committed.
[[nodiscard]] bool IsFrameGood(const ReadLog& read, std::int64_t index, std::string_view page);
// Whether everything that was ever confirmed of this log is in it and good.
[[nodiscard]] bool IsLogWhole(const ReadLog& read, std::int64_t size);
// Whether the header of a frame is the last one of a commit.
[[nodiscard]] bool EndsCommit(std::string_view frameHeader);
// What to write behind so many frames; empty if the header cannot be read.
[[nodiscard]] std::string MakeMark(const ReadLog& read, std::int64_t frames);

}  // namespace store
