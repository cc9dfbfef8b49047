// The data of one saveset: blocks in one file, one behind the other. The blocks of an item follow each other.
//
//   file    "KORVOSET", version (4 bytes), 4 bytes of 0, number of the saveset (8)
//   block   "KBLK", kind (4), size of the bytes (4), size as stored (4), hash of these 16 and of what is
//           stored (16), what is stored
//
// Numbers have their lowest byte first. Kinds: 0 as it is, 1 compressed with zstd, 2 zeros, nothing stored.
// What lies behind the last item that the catalog knows is the rest of an interrupted run.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/data_file.h"
#include "store/digest.h"
#include "store/status.h"

namespace store {

// Most bytes of an item in one block.
inline constexpr std::size_t kBlockSize = 1024 * 1024;

class Container {
 public:
  Container(const Container&) = delete;
  Container& operator=(const Container&) = delete;
  ~Container();

  // A new container for writing. Level 0 stores as it is, 1 to 19 compress.
  static Status Create(const std::string& path, std::int64_t saveset, int compression,
                       std::unique_ptr<Container>& container);
  // An existing one for reading, which must be that of the saveset.
  static Status Open(const std::string& path, std::int64_t saveset, std::unique_ptr<Container>& container);

  // Where the next block will stand.
  [[nodiscard]] std::uint64_t End() const { return end_; }
  // Fails, like `ReadBlock`, once the process was told to end.
  Status WriteBlock(std::string_view bytes);
  // Takes off again what was written from there on.
  Status CutBack(std::uint64_t end);
  // All blocks, and the file's name itself, are on the disk.
  Status Sync();

  // The bytes of the block at the position, which moves on to the next one. An empty `bytes` with a `zeros`
  // above 0 stands for so many zeros.
  Status ReadBlock(std::uint64_t& position, std::string& bytes, std::size_t& zeros);

 private:
  struct Codec;
  explicit Container(std::string path);
  Status Damaged(std::uint64_t position) const;
  Status Failed(const char* what, const std::string& why) const;

  std::string path_;
  std::unique_ptr<platform::DataFile> file_;
  std::unique_ptr<Codec> codec_;
  Digest digest_;
  std::string stored_;
  std::uint64_t end_ = 0;
  int compression_ = 0;
  bool nameSynced_ = false;
};

}  // namespace store
