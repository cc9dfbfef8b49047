// The format of the write-ahead log, as far as it is needed to find damage. It is described in SQLite's
// documentation; all numbers have their highest byte first.
//
// When the engine starts anew, it reads the log up to the first frame that is not right, and takes that for
// the end. So a flipped bit would make it forget everything that was committed behind it. Therefore a mark is
// written behind the last frame of each commit, once that frame is on the disk. A log that does not reach its
// mark is damaged.
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

// The offset of frame `index` (from 0), and of the mark of a log with so many frames.
constexpr std::int64_t FrameOffset(std::int64_t index) {
  return static_cast<std::int64_t>(kLogHeaderSize) + index * static_cast<std::int64_t>(kFrameSize);
}

// Reads from the log; false for bytes that are not there.
using ReadLog = std::function<bool(std::int64_t offset, std::size_t size, char* bytes)>;

// Whether the frame holds the page that was written with it. Only for frames that are committed.
[[nodiscard]] bool IsFrameGood(const ReadLog& read, std::int64_t index, std::string_view page);
// Whether everything that was ever confirmed of this log is in it and good. `size`: bytes of the log's file.
[[nodiscard]] bool IsLogWhole(const ReadLog& read, std::int64_t size);
// Whether the frame with this header is the last one of a commit.
[[nodiscard]] bool EndsCommit(std::string_view frameHeader);
// The mark to write behind so many frames; empty if the log's header cannot be read.
[[nodiscard]] std::string MakeMark(const ReadLog& read, std::int64_t frames);

}  // namespace store
