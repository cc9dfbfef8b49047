// Reads a file piece by piece, with its holes. What the system keeps of it in memory stays as it was.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "store/pack/map.h"
#include "store/save/piece.h"

namespace store {

// Why a file cannot be saved as it was.
inline constexpr const char* kBecameShorter = "it became shorter while it was read";

class SourceReader {
 public:
  // `facts` of the file at the start.
  SourceReader(platform::DataFile& file, const platform::FileFacts& facts);

  [[nodiscard]] bool AtEnd() const { return offset_ == size_; }
  // Reads the next piece; `holes` gets those in it, by their offsets in the file. False if that fails; `why`
  // says why.
  bool Read(std::uint32_t chunkSize, Piece& piece, std::vector<Hole>& holes, std::string& why);

 private:
  bool ReadData(std::uint64_t begin, std::uint64_t end, char* bytes, std::string& why);
  bool ReadSparse(std::uint64_t end, Piece& piece, std::vector<Hole>& holes, std::string& why);
  void FindExtent(std::uint64_t offset);
  bool TakeWasCached();

  platform::DataFile& file_;
  std::uint64_t size_;
  bool sparse_;
  std::uint64_t offset_ = 0;
  // What is known of the place that was asked for last: data, or a hole, up to `extentEnd_`.
  std::uint64_t extentEnd_ = 0;
  bool inHole_ = false;
  std::uint64_t asked_ = 0;     // up to where the system was asked what is in memory
  std::deque<bool> wasCached_;  // for the pieces from `offset_` on
};

}  // namespace store
