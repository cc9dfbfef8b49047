#include "store/catalog/write_ahead_log.h"

#include <xxhash.h>

#include <array>
#include <cstring>
#include <vector>

namespace store {
namespace {

constexpr std::string_view kMarkStart = "KORVLOG1";
constexpr std::uint32_t kMagic =
    0x377f0682;  // plus 1 where the checksums' words have their highest byte first
constexpr std::size_t kSaltOffset = 16;
constexpr std::size_t kSaltSize = 8;
constexpr std::size_t kSumSize = 8;
constexpr std::size_t kHeaderSumOffset = 24;
constexpr std::size_t kFrameSaltOffset = 8;
constexpr std::size_t kFrameSumOffset = 16;

std::uint32_t Word(const char* bytes, bool highestFirst) {
  std::array<unsigned char, 4> b{};
  std::memcpy(b.data(), bytes, b.size());
  return highestFirst ? static_cast<std::uint32_t>(b[0]) << 24 | static_cast<std::uint32_t>(b[1]) << 16 |
                            static_cast<std::uint32_t>(b[2]) << 8 | b[3]
                      : static_cast<std::uint32_t>(b[3]) << 24 | static_cast<std::uint32_t>(b[2]) << 16 |
                            static_cast<std::uint32_t>(b[1]) << 8 | b[0];
}

// The running checksum: two words, in turn.
struct Sum {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  bool operator==(const Sum&) const = default;

  static Sum At(const char* bytes) { return {Word(bytes, true), Word(bytes + 4, true)}; }
  void Add(std::string_view bytes, bool highestFirst) {
    for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
      first += Word(bytes.data() + i, highestFirst) + second;
      second += Word(bytes.data() + i + 4, highestFirst) + first;
    }
  }
};

struct LogHeader {
  std::array<char, kLogHeaderSize> bytes{};
  bool highestFirst = false;
  [[nodiscard]] std::string_view Salt() const { return {bytes.data() + kSaltOffset, kSaltSize}; }
  [[nodiscard]] Sum End() const { return Sum::At(bytes.data() + kHeaderSumOffset); }
};

bool ReadHeader(const ReadLog& read, LogHeader& header) {
  if (!read(0, header.bytes.size(), header.bytes.data())) {
    return false;
  }
  const std::uint32_t magic = Word(header.bytes.data(), true);
  header.highestFirst = (magic & 1) != 0;
  Sum sum;
  sum.Add({header.bytes.data(), kHeaderSumOffset}, header.highestFirst);
  return (magic & ~1U) == kMagic && Word(header.bytes.data() + 8, true) == kPageSize && sum == header.End();
}

bool IsFrameGood(const LogHeader& header, std::string_view frameHeader, std::string_view page, Sum& sum) {
  if (frameHeader.substr(kFrameSaltOffset, kSaltSize) != header.Salt() ||
      Word(frameHeader.data(), true) == 0) {
    return false;
  }
  sum.Add(frameHeader.substr(0, 8), header.highestFirst);
  sum.Add(page, header.highestFirst);
  return sum == Sum::At(frameHeader.data() + kFrameSumOffset);
}

// The number of frames up to the last commit that the engine will find.
std::int64_t CommittedFrames(const ReadLog& read, const LogHeader& header) {
  std::vector<char> frame(kFrameSize);
  std::int64_t committed = 0;
  Sum sum = header.End();
  for (std::int64_t index = 0; read(FrameOffset(index), frame.size(), frame.data()); ++index) {
    const std::string_view frameHeader(frame.data(), kFrameHeaderSize);
    if (!IsFrameGood(header, frameHeader, {frame.data() + kFrameHeaderSize, kPageSize}, sum)) {
      break;
    }
    committed = EndsCommit(frameHeader) ? index + 1 : committed;
  }
  return committed;
}

std::string MarkOf(std::string_view salt, std::int64_t frames) {
  std::string mark(kMarkStart);
  mark += salt;
  mark.append(reinterpret_cast<const char*>(&frames), sizeof frames);
  const XXH64_hash_t hash = XXH3_64bits(mark.data(), mark.size());
  return mark.append(reinterpret_cast<const char*>(&hash), sizeof hash);
}

// Whether there is a mark behind so many frames: with this salt, or with any salt if it is empty.
bool HasMark(const ReadLog& read, std::int64_t frames, std::string_view salt) {
  std::array<char, kMarkSize> mark{};
  if (!read(FrameOffset(frames), mark.size(), mark.data())) {
    return false;
  }
  const std::string_view found(mark.data(), mark.size());
  return found == MarkOf(salt.empty() ? found.substr(kMarkStart.size(), kSaltSize) : salt, frames);
}

}  // namespace

bool EndsCommit(std::string_view frameHeader) { return Word(frameHeader.data() + 4, true) != 0; }

bool IsFrameGood(const ReadLog& read, std::int64_t index, std::string_view page) {
  LogHeader header;
  std::array<char, kFrameHeaderSize> frameHeader{};
  std::array<char, kSumSize> before{};
  const std::int64_t sumOffset = index == 0
                                     ? static_cast<std::int64_t>(kHeaderSumOffset)
                                     : FrameOffset(index - 1) + static_cast<std::int64_t>(kFrameSumOffset);
  if (!ReadHeader(read, header) || !read(FrameOffset(index), frameHeader.size(), frameHeader.data()) ||
      !read(sumOffset, before.size(), before.data())) {
    return false;
  }
  Sum sum = Sum::At(before.data());
  return IsFrameGood(header, {frameHeader.data(), frameHeader.size()}, page, sum);
}

bool IsLogWhole(const ReadLog& read, std::int64_t size) {
  if (size <= static_cast<std::int64_t>(kLogHeaderSize)) {
    return true;
  }
  LogHeader header;
  const bool readable = ReadHeader(read, header);
  const std::int64_t committed = readable ? CommittedFrames(read, header) : 0;
  const std::int64_t last =
      (size - static_cast<std::int64_t>(kLogHeaderSize)) / static_cast<std::int64_t>(kFrameSize);
  for (std::int64_t frames = committed + 1; frames <= last; ++frames) {
    if (HasMark(read, frames, readable ? header.Salt() : std::string_view())) {
      return false;
    }
  }
  return true;
}

std::string MakeMark(const ReadLog& read, std::int64_t frames) {
  LogHeader header;
  return ReadHeader(read, header) ? MarkOf(header.Salt(), frames) : std::string();
}

}  // namespace store
